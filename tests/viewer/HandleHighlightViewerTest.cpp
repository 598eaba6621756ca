#include "tests/viewer/SceneFixture.h"
#include "viewer/clip/HandleHighlighter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace QuorTests;
using namespace QuorViewer;

const osg::BoundingBoxf kBox(-6.0f, -6.0f, -6.0f, 76.0f, 56.0f, 18.0f);

/// The viewer's scene with a clip box, in this program's own window, with the display's real pointer.
class HandleHighlightViewerTest : public SceneFixture {
 protected:
  void SetUp() override {
    SceneFixture::SetUp();
    if (IsSkipped()) {
      return;
    }
    _viewer->addEventHandler(new HandleHighlighter(_scene->clip));
    _scene->cloud.node()->setNodeMask(0U);
    _scene->clip.place(kBox);
    // The whole box, with its rings, is in view.
    _navigator->manipulator().setDistance(_navigator->manipulator().getDistance() * 1.9);
    settle();
    leave();
  }

  /// Moves the pointer to a corner of the window, where no handle is.
  void leave() {
    ASSERT_TRUE(_window.find("scene test"));
    _window.movePointer(10, 10);
    settle();
  }

  void showHandles(ClipMode mode) {
    _scene->clip.showHandles(mode, 7);
    settle();
  }

  struct Place {
    std::string name;
    osg::Vec3d place;
  };
  /// A point on each handle of a mode.
  std::vector<Place> handlesOf(ClipMode mode) {
    const ClipBoxControl& handles = _scene->clip.control();
    std::vector<Place> places;
    for (std::size_t face = 0; mode == ClipBoxControl::CUTTER_SCALE && face < 6; ++face) {
      places.push_back({"face " + std::to_string(face), handles.pathOfFace(face, 0.0).from});
    }
    for (std::size_t axis = 0; mode == ClipBoxControl::CUTTER_TRANSLATE && axis < 3; ++axis) {
      places.push_back({"arrow " + std::to_string(axis), handles.pathOfAxis(axis, 0.0).from});
    }
    osg::Vec3d eye, centre, up;
    frame().viewMatrix.getLookAt(eye, centre, up);
    for (std::size_t axis = 0; mode == ClipBoxControl::CUTTER_ROTATE && axis < 3; ++axis) {
      places.push_back({"ring " + std::to_string(axis), handles.pathOfRing(axis, 20.0, eye).from});
    }
    return places;
  }

  /// The sum over all pixels near a place: larger if the handle there is brighter.
  double brightnessAround(osg::Image& image, const osg::Vec3d& place) {
    constexpr int kReachPixels = 6;
    const osg::Vec2d middle = windowPlaceOf(place);
    double sum = 0.0;
    for (int y = -kReachPixels; y <= kReachPixels; ++y) {
      for (int x = -kReachPixels; x <= kReachPixels; ++x) {
        const osg::Vec4 colour =
            image.getColor(static_cast<unsigned int>(middle.x() + x), static_cast<unsigned int>(middle.y() + y));
        sum += colour.r() + colour.g() + colour.b();
      }
    }
    return sum;
  }
  double brightnessAround(const osg::Vec3d& place) { return brightnessAround(*picture(), place); }
};

TEST_F(HandleHighlightViewerTest, eachHandleIsBrighterWhileThePointerIsOverItAndNoOtherIs) {
  for (const ClipMode mode :
       {ClipBoxControl::CUTTER_SCALE, ClipBoxControl::CUTTER_TRANSLATE, ClipBoxControl::CUTTER_ROTATE}) {
    showHandles(mode);
    const osg::ref_ptr<osg::Image> before = picture();
    for (const Place& over : handlesOf(mode)) {
      movePointer(over.place);
      const osg::ref_ptr<osg::Image> highlighted = picture();
      for (const Place& other : handlesOf(mode)) {
        SCOPED_TRACE(over.name + ", " + other.name);
        const double change = brightnessAround(*highlighted, other.place) / brightnessAround(*before, other.place);
        if (other.name == over.name) {
          EXPECT_GT(change, 1.15);
        } else if (mode == ClipBoxControl::CUTTER_SCALE) {  // arrows and rings cross
          EXPECT_EQ(change, 1.0);
        }
      }
      leave();
      EXPECT_EQ(brightnessAround(over.place), brightnessAround(*before, over.place)) << over.name;
    }
  }
}

TEST_F(HandleHighlightViewerTest, aRedrawIsRequestedOnlyWhenTheHighlightChanges) {
  const osg::Vec3d cone = handlesOf(ClipBoxControl::CUTTER_SCALE)[1].place;
  const osg::Vec3d beside = cone + osg::Vec3d(0.0, 0.0, 15.0);
  _viewer->redraws = 0;
  movePointer(beside);
  movePointer(beside + osg::Vec3d(2.0, 0.0, 0.0));
  EXPECT_EQ(_viewer->redraws, 0);
  movePointer(cone);
  EXPECT_EQ(_viewer->redraws, 1);
  movePointer(cone + osg::Vec3d(0.0, 0.3, 0.0));
  EXPECT_EQ(_viewer->redraws, 1);
  leave();
  EXPECT_EQ(_viewer->redraws, 2);
}

TEST_F(HandleHighlightViewerTest, theDraggedHandleStaysBrightAwayFromThePointer) {
  const osg::Vec3d cone = handlesOf(ClipBoxControl::CUTTER_SCALE)[1].place;
  const double plain = brightnessAround(cone);
  movePointer(cone);
  _window.press(1);
  settle();
  movePointer(cone - osg::Vec3d(20.0, 0.0, 0.0));
  // A face moves only along its normal, so the pointer can leave its handle.
  const osg::Vec3d moved = handlesOf(ClipBoxControl::CUTTER_SCALE)[1].place;
  EXPECT_LT(moved.x(), cone.x() - 10.0);
  movePointer(moved + osg::Vec3d(0.0, 0.0, 40.0));
  const osg::Vec3d held = handlesOf(ClipBoxControl::CUTTER_SCALE)[1].place;
  EXPECT_GT((windowPlaceOf(held) - windowPlaceOf(moved + osg::Vec3d(0.0, 0.0, 40.0))).length(), 30.0);
  EXPECT_GT(brightnessAround(held), plain * 1.15);
  _window.release(1);
  settle();
  leave();
  const double released = brightnessAround(handlesOf(ClipBoxControl::CUTTER_SCALE)[1].place);
  EXPECT_LT(released, plain * 1.1);
}

TEST_F(HandleHighlightViewerTest, switchingTheModeOrTheBoxOffRemovesTheHighlight) {
  const osg::Vec3d cone = handlesOf(ClipBoxControl::CUTTER_SCALE)[1].place;
  const double plain = brightnessAround(cone);
  movePointer(cone);
  EXPECT_GT(brightnessAround(cone), plain * 1.15);
  showHandles(ClipBoxControl::CUTTER_ROTATE);
  showHandles(ClipBoxControl::CUTTER_SCALE);
  EXPECT_EQ(brightnessAround(cone), plain);
  leave();
  movePointer(cone);
  EXPECT_GT(brightnessAround(cone), plain * 1.15);
  _scene->clip.setOn(false);
  settle();
  _scene->clip.setOn(true);
  settle();
  EXPECT_EQ(brightnessAround(cone), plain);
}

}  // namespace
