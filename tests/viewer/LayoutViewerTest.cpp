#include "tests/viewer/ViewerFixture.h"

#include <osg/Image>
#include <osgDB/ReadFile>

#include <gmock/gmock.h>

#include <cstring>
#include <string>

namespace {

using namespace QuorTests;

// Keys by their position, named after the US keyboard.
constexpr int kA = 30;
constexpr int kB = 48;
constexpr int kQ = 16;
constexpr int kDigit2 = 3;
constexpr int kDigit3 = 4;

/// The keys of other keyboard layouts. The viewer runs already when the layout changes.
class LayoutViewerTest : public ViewerFixture {
 protected:
  void SetUp() override {
    ViewerFixture::SetUp();
    if (!IsSkipped() && !KeyboardLayout("us").isSet()) {
      GTEST_SKIP() << "a program cannot change the keyboard layout on this system";
    }
  }

  /// The image without the overlay.
  osg::ref_ptr<osg::Image> picture() {
    _viewer->settle();
    _viewer->key("p");
    const std::string line = _viewer->waitForLine("Screenshot");
    _viewer->settle();
    return osgDB::readRefImageFile(line.substr(line.find('/')));
  }
  static bool areEqual(const osg::Image& left, const osg::Image& right) {
    const std::size_t size = left.getTotalSizeInBytes();
    return size > 0 && size == right.getTotalSizeInBytes() && std::memcmp(left.data(), right.data(), size) == 0;
  }
};

TEST_F(LayoutViewerTest, withARussianLayoutKeysActByTheirPosition) {
  showGrid();
  const KeyboardLayout russian("ru");
  _viewer->keyAt(kB);
  EXPECT_EQ(_viewer->waitForLine("clip on", std::chrono::seconds(10)), "clip on");
  _viewer->keyAt(kB, "shift+");
  EXPECT_EQ(_viewer->waitForLine("clip off", std::chrono::seconds(10)), "clip off");
  _viewer->keyAt(kQ, "ctrl+");
  EXPECT_EQ(_viewer->exitStatus(std::chrono::seconds(10)), 0);
}

TEST_F(LayoutViewerTest, withAFrenchLayoutTheDigitsNeedNoShift) {
  showGrid();
  _viewer->key("3");
  const osg::ref_ptr<osg::Image> elevation = picture();
  _viewer->key("2");
  const osg::ref_ptr<osg::Image> intensity = picture();
  ASSERT_TRUE(elevation && intensity);
  ASSERT_FALSE(areEqual(*elevation, *intensity));
  const KeyboardLayout french("fr");
  _viewer->keyAt(kDigit3);
  EXPECT_TRUE(areEqual(*picture(), *elevation));
  _viewer->keyAt(kDigit2);
  EXPECT_TRUE(areEqual(*picture(), *intensity));
  _viewer->keyAt(kDigit3, "shift+");
  EXPECT_TRUE(areEqual(*picture(), *elevation));
}

TEST_F(LayoutViewerTest, withAFrenchLayoutALetterIsTheKeyThatShowsIt) {
  showGrid();
  const KeyboardLayout french("fr");
  _viewer->keyAt(kA);           // shows Q, which has no effect
  _viewer->keyAt(kQ, "ctrl+");  // shows A
  _viewer->keyAt(kB);
  EXPECT_EQ(_viewer->waitForLine("clip on", std::chrono::seconds(10)), "clip on");
  _viewer->keyAt(kQ);
  _viewer->type("none.las");
  _viewer->key("Return");
  EXPECT_EQ(_viewer->waitForLine("quor_viewer:", std::chrono::seconds(10)), "quor_viewer: none.las: no such file");
  _viewer->keyAt(kA, "ctrl+");
  EXPECT_EQ(_viewer->exitStatus(std::chrono::seconds(10)), 0);
}

TEST_F(LayoutViewerTest, aPathMayBeTypedInRussian) {
  showGrid();
  {
    const KeyboardLayout russian("ru");
    _viewer->keyAt(kA);
    for (const int position : {34, 35, 48, 32, 20, 49}) {  // привет
      _viewer->keyAt(position);
    }
    _viewer->keyAt(50, "shift+");  // Ь
    _viewer->settle();
  }
  _viewer->type(".las");
  _viewer->key("Return");
  EXPECT_EQ(_viewer->waitForLine("quor_viewer:", std::chrono::seconds(10)), "quor_viewer: приветЬ.las: no such file");
}

}  // namespace
