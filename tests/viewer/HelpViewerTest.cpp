#include "tests/viewer/ViewerFixture.h"

#include <osg/Image>

#include <gmock/gmock.h>

#include <algorithm>

namespace {

using namespace QuorTests;
using testing::HasSubstr;
using testing::Not;

/// The help in windows of several sizes, with a real wheel and keyboard.
class HelpViewerTest : public ViewerFixture {
 protected:
  void showHelp(int width, int height) {
    showGrid();
    _viewer->resizeWindow(width, height);
    _width = width;
    _height = height;
    _viewer->movePointer(width / 2, height / 3);
    _viewer->settle();
    _viewer->key("h");
    _viewer->settle();
  }

  std::string newLinesAfterWheel(int button) {
    const std::size_t before = _viewer->output().size();
    _viewer->click(button);
    _viewer->settle();
    return _viewer->output().substr(before);
  }

  /// The rows of the image, from the top, in which the inputs of the help are written.
  std::pair<int, int> rowsOfInputs(const osg::Image& image) const {
    const osg::Vec4 accent(1.0f, 0.72f, 0.16f, 1.0f);
    constexpr float kTolerance = 0.12f;
    std::pair<int, int> rows(image.t(), -1);
    for (int y = 0; y < image.t(); ++y) {
      for (int x = 0; x < image.s(); ++x) {
        const osg::Vec4 colour =
            image.getColor(static_cast<unsigned int>(x), static_cast<unsigned int>(image.t() - 1 - y));
        if ((colour - accent).length() < kTolerance) {
          rows = {std::min(rows.first, y), std::max(rows.second, y)};
        }
      }
    }
    return rows;
  }

  static bool areEqual(const osg::Image& a, const osg::Image& b) {
    return a.getTotalSizeInBytes() == b.getTotalSizeInBytes() &&
           std::equal(a.data(), a.data() + a.getTotalSizeInBytes(), b.data());
  }
};

TEST_F(HelpViewerTest, inASmallWindowTheWheelScrollsTheHelpAndDoesNotZoom) {
  showHelp(600, 300);
  const osg::ref_ptr<osg::Image> top = picture("shift+p");
  EXPECT_THAT(newLinesAfterWheel(kWheelDown), Not(HasSubstr("view ")));
  const osg::ref_ptr<osg::Image> scrolled = picture("shift+p");
  EXPECT_FALSE(areEqual(*top, *scrolled));
  EXPECT_THAT(newLinesAfterWheel(kWheelUp), Not(HasSubstr("view ")));
  const auto [firstRow, lastRow] = rowsOfInputs(*picture("shift+p"));
  EXPECT_EQ(std::pair(firstRow, lastRow), rowsOfInputs(*top));
  EXPECT_GT(firstRow, 8);
  EXPECT_LT(lastRow, 300 - 56) << "over the status bar";
  _viewer->key("h");
  _viewer->settle();
  EXPECT_THAT(newLinesAfterWheel(kWheelDown), HasSubstr("view "));
}

TEST_F(HelpViewerTest, inTheDefaultSizeItFitsAndTheWheelZooms) {
  showHelp(1280, 720);
  const auto [firstRow, lastRow] = rowsOfInputs(*picture("shift+p"));
  EXPECT_GT(firstRow, 40) << "the title needs room above";
  EXPECT_LT(lastRow, 720 - 56) << "over the status bar";
  EXPECT_THAT(newLinesAfterWheel(kWheelDown), HasSubstr("view "));
}

}  // namespace
