#include "support/AllocationHook.h"
#include "support/CaptureContext.h"

#include <QuorOsgUtils/ClipBoxControl.h>

#include <osg/ClipNode>
#include <osgViewer/Viewer>

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <vector>

namespace QuorTests {
namespace {

using QuorOsgUtils::ClipBoxChange;
using QuorOsgUtils::ClipBoxControl;
using QuorOsgUtils::ClipBoxState;
using Event = osgGA::GUIEventAdapter;

constexpr int kWidth = 640;
constexpr int kHeight = 480;

/// Counts the allocations of the moves of a drag, with a listener and with steps.
class ClipBoxAllocationGLTest : public testing::TestWithParam<ClipBoxControl::CutterType> {
 protected:
  using Events = std::vector<osg::ref_ptr<Event>>;

  void SetUp() override {
    ASSERT_TRUE(_context.valid()) << "no off-screen context; is there a display?";
    osg::Camera& camera = _context.camera();
    camera.setComputeNearFarMode(osg::CullSettings::DO_NOT_COMPUTE_NEAR_FAR);
    camera.setProjectionMatrixAsPerspective(40.0, double(kWidth) / kHeight, 1.0, 100.0);
    camera.setViewMatrixAsLookAt(kEye, {}, {0.0, 0.0, 1.0});
    _context.scene().addChild(_clip);
    _context.scene().addChild(_control);
    const std::array<double, 16> tooLargeToBeStoredWithoutAnAllocation{};
    const auto count = [this, tooLargeToBeStoredWithoutAnAllocation](const ClipBoxChange& /*change*/) {
      _calls += tooLargeToBeStoredWithoutAnAllocation[0] == 0.0 ? 1 : 0;
    };
    _control->setListener({count, count, count});
    _control->showHandles(GetParam(), 7);
    _context.draw();
  }

  ClipBoxControl::DragPath path() const {
    switch (GetParam()) {
      case ClipBoxControl::CUTTER_SCALE:
        return _control->pathOfFace(1, -0.3);
      case ClipBoxControl::CUTTER_TRANSLATE:
        return _control->pathOfAxis(0, 0.3);
      case ClipBoxControl::CUTTER_ROTATE:
        break;
    }
    return _control->pathOfRing(2, 35.0, kEye);
  }

  osg::ref_ptr<Event> eventAt(Event::EventType type, const osg::Vec3d& world) {
    const osg::Vec3d clip = world * _context.camera().getViewMatrix() * _context.camera().getProjectionMatrix();
    const osg::ref_ptr<Event> event = new Event;
    event->setEventType(type);
    event->setButton(type == Event::DRAG ? 0 : Event::LEFT_MOUSE_BUTTON);
    event->setButtonMask(Event::LEFT_MOUSE_BUTTON);
    event->setInputRange(0.0f, 0.0f, kWidth, kHeight);
    event->setMouseYOrientation(Event::Y_INCREASING_UPWARDS);
    event->setX(static_cast<float>((clip.x() + 1.0) * 0.5 * kWidth));
    event->setY(static_cast<float>((clip.y() + 1.0) * 0.5 * kHeight));
    event->addPointerData(
        new osgGA::PointerData(&_context.camera(), event->getX(), 0.0f, kWidth, event->getY(), 0.0f, kHeight));
    return event;
  }

  /// Of the second half: the clip node gets its planes with the first moves at the latest.
  std::size_t allocationsOfDrag() {
    constexpr int kMoves = 20;
    const ClipBoxControl::DragPath way = path();
    Events moves;
    for (int i = 1; i <= kMoves; ++i) {
      moves.push_back(eventAt(Event::DRAG, way.from + (way.to - way.from) * (double(i) / kMoves)));
    }
    EXPECT_TRUE(_control->handle(*eventAt(Event::PUSH, way.from), _context.viewer()));
    const std::size_t half = moves.size() / 2;
    for (std::size_t i = 0; i < half; ++i) {
      EXPECT_TRUE(_control->handle(*moves[i], _context.viewer()));
    }
    const AllocationCount allocations;
    for (std::size_t i = half; i < moves.size(); ++i) {
      _control->handle(*moves[i], _context.viewer());
    }
    return allocations.value();
  }

  static inline const osg::Vec3d kEye = {-8.0, -24.0, 9.0};

  CaptureContext _context{kWidth, kHeight};
  osg::ref_ptr<osg::ClipNode> _clip = new osg::ClipNode;
  osg::ref_ptr<ClipBoxControl> _control = new ClipBoxControl(osg::BoundingBoxd(-4.0, -3.0, -2.0, 4.0, 3.0, 2.0), _clip);
  int _calls = 0;
};

TEST_P(ClipBoxAllocationGLTest, aDragAllocatesNothing) {
  const ClipBoxState before = _control->state();
  EXPECT_EQ(allocationsOfDrag(), 0U);
  EXPECT_NE(_control->state(), before);
  EXPECT_GT(_calls, 15);
}

TEST_P(ClipBoxAllocationGLTest, aDragInStepsAllocatesNothing) {
  _control->setSnap({0.1, 0.1, 1.0});
  const ClipBoxState before = _control->state();
  EXPECT_EQ(allocationsOfDrag(), 0U);
  EXPECT_NE(_control->state(), before);
}

INSTANTIATE_TEST_SUITE_P(Modes, ClipBoxAllocationGLTest,
                         testing::Values(ClipBoxControl::CUTTER_ROTATE, ClipBoxControl::CUTTER_TRANSLATE,
                                         ClipBoxControl::CUTTER_SCALE));

}  // namespace
}  // namespace QuorTests
