#include "support/FilesFixture.h"
#include "support/IdentifiedScene.h"
#include "support/platform/ChildProgram.h"
#include "support/platform/Desktop.h"

#include <osgDB/ReadFile>
#include <osgDB/WriteFile>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>

namespace {

using namespace QuorTests;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using testing::HasSubstr;

constexpr auto kLimit = 120s;  // much more than a busy machine needs

/// An example as a separate program, with the real pointer and keyboard.
class CaptureExamplesTest : public FilesFixture {
 protected:
  void SetUp() override {
    if (!holdDisplay()) {
      GTEST_SKIP() << "there is no display";
    }
    // A square of 2 units in the plane y = 0, whose viewer looks along +Y.
    const IdentifiedQuad square{{-1.0f, 0.0f, -1.0f}, {2.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 2.0f}};
    const osg::ref_ptr<osg::Geometry> geometry = createOverlay(square);
    const osg::ref_ptr<osg::Vec3Array> normals = new osg::Vec3Array(1);
    normals->front().set(0.0f, -1.0f, 0.0f);
    geometry->setNormalArray(normals, osg::Array::BIND_OVERALL);
    ASSERT_TRUE(osgDB::writeNodeFile(*geometry, _scene));
  }

  void start(const std::string& name, std::vector<std::string> arguments) {
    _program = std::make_unique<ChildProgram>(QUOR_EXAMPLES_FOLDER "/" + name, arguments);
  }

  bool findTitle(const std::string& title) {
    const auto end = Clock::now() + kLimit;
    bool found = _window.find(title);
    while (!found && Clock::now() < end) {
      std::this_thread::sleep_for(50ms);
      found = _window.find(title);
    }
    return found;
  }

  /// Whether the middle of the window shows something else than its background.
  bool showsScene() const {
    const ScreenRectangle place = _window.rectangle();
    return _window.colourAt(place.width / 2, place.height / 2) != _window.colourAt(5, 5);
  }

  /// Finds the window, and waits until its scene is drawn.
  bool findWindow() {
    if (!findTitle("")) {
      return false;
    }
    const auto end = Clock::now() + kLimit;
    while (!showsScene() && Clock::now() < end) {
      std::this_thread::sleep_for(50ms);
    }
    return showsScene();
  }

  /// Waits for output that contains the text. False if it does not come in time.
  bool waitFor(const std::string& text) {
    const auto end = Clock::now() + kLimit;
    while (_output.find(text) == std::string::npos && Clock::now() < end) {
      _program->readSome(_output, 100ms);
    }
    return _output.find(text) != std::string::npos;
  }

  int exitStatus() {
    const auto end = Clock::now() + kLimit;
    while (!_program->status() && Clock::now() < end) {
      _program->readSome(_output, 20ms);
    }
    return _program->status().value_or(-1);
  }

  const std::string _scene = path("scene.osgt");
  std::unique_ptr<ChildProgram> _program;
  RemoteWindow _window;
  std::string _output;
};

TEST_F(CaptureExamplesTest, minimalShowsAFileAndQuitsAtEscape) {
  start("quor_minimal", {_scene});
  ASSERT_TRUE(findWindow());
  _window.movePointer(640, 360);
  _window.press(3);
  _window.movePointer(700, 400);
  _window.release(3);
  _window.key("Escape");
  EXPECT_EQ(exitStatus(), 0) << _output;
  EXPECT_EQ(_output.find("error"), std::string::npos) << _output;
}

// The square is seen from a distance of its radius of √2 / sin 15°, in a view that is 0.52 of that high (the engine's
// default: 26 cm at 50 cm) on 720 rows.
TEST_F(CaptureExamplesTest, pickAndMeasureMeasuresBetweenTwoClicks) {
  constexpr int kApart = 200;
  const double unitsPerPixel = std::sqrt(2.0) / std::sin(osg::DegreesToRadians(15.0)) * 0.52 / 720.0;
  start("quor_pick_and_measure", {_scene});
  ASSERT_TRUE(findWindow());
  _window.movePointer(540, 360);
  _window.click(1);
  ASSERT_TRUE(waitFor("picked vertex ")) << _output;
  _window.movePointer(540 + kApart, 360);
  _window.click(1);
  ASSERT_TRUE(waitFor("distance ")) << _output;
  const double distance = std::stod(_output.substr(_output.find("distance ") + 9));
  EXPECT_NEAR(distance, kApart * unitsPerPixel, 1.5 * unitsPerPixel);
  _window.key("Escape");
  EXPECT_EQ(exitStatus(), 0) << _output;
}

TEST_F(CaptureExamplesTest, imageSavesTheViewWhileNothingElseIsDrawn) {
  const std::string picture = path("picture.png");
  start("quor_image", {_scene, picture});
  ASSERT_TRUE(waitFor("saved to " + picture)) << _output;
  const osg::ref_ptr<osg::Image> image = osgDB::readRefImageFile(picture);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->s(), 640);
  EXPECT_EQ(image->t(), 480);
  EXPECT_EQ(image->getColor(320U, 240U), osg::Vec4(1.0f, 0.0f, 0.0f, 1.0f));
  ASSERT_TRUE(findWindow());
  _window.movePointer(320, 240);

  _output.clear();
  _window.key("i");
  ASSERT_TRUE(waitFor("saved to " + picture)) << "the key saves it again; " << _output;
  _window.key("Escape");
  EXPECT_EQ(exitStatus(), 0) << _output;
}

TEST_F(CaptureExamplesTest, examplesThatNeedAFilePrintTheirUsageWithoutOne) {
  for (const std::string name : {"quor_minimal", "quor_pick_and_measure", "quor_image"}) {
    _output.clear();
    start(name, {});
    EXPECT_TRUE(waitFor("usage: " + name + " SCENE")) << _output;
    EXPECT_EQ(exitStatus(), 1) << name;
  }
}

TEST_F(CaptureExamplesTest, minimalShowsTheSceneBesideTheExamples) {
  start("quor_minimal", {QUOR_EXAMPLES_SOURCES "/data/hills.ply"});
  ASSERT_TRUE(findWindow());
  _window.movePointer(640, 360);
  _window.key("Escape");
  EXPECT_EQ(exitStatus(), 0) << _output;
}

TEST_F(CaptureExamplesTest, clipBoxSetsTypedExtentsAndUndoesThem) {
  start("quor_clip_box", {});
  ASSERT_TRUE(waitFor("start: box from -6 -11 -8 to 6 11 4")) << _output;
  ASSERT_TRUE(findTitle("x .-6 to 6 y -11 to 11 z -8 to 4"));  // a mark at the selected field
  _window.movePointer(500, 350);
  _window.key("Tab");
  _window.type("2.5");
  _window.key("Return");
  ASSERT_TRUE(waitFor("typed: box from -6 -11 -8 to 2.5 11 4")) << _output;
  EXPECT_TRUE(findTitle("x -6 to .2.5 y -11 to 11 z -8 to 4"));
  _window.key("minus");
  _window.type("7");  // lower than the lowest x
  _window.key("Return");
  ASSERT_TRUE(waitFor("refused: box from -6 -11 -8 to 2.5 11 4")) << _output;
  _window.key("u");
  EXPECT_TRUE(waitFor("undone: box from -6 -11 -8 to 6 11 4")) << _output;
}

}  // namespace
