#include "support/ManipulatorFixture.h"

#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/MatrixTransform>
#include <osg/Notify>
#include <osg/Shape>
#include <osg/ShapeDrawable>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace QuorTests;

using Path = std::vector<osg::ref_ptr<osg::Node>>;

struct OrthoBox {
  double left, right, bottom, top, zNear, zFar;
};

struct Perspective {
  double degrees = 0.0;
  double aspectRatio = 0.0;
  double zNear = 0.0;
  double zFar = 0.0;
};

/// An action adapter without a view.
class Viewless : public osgGA::GUIActionAdapter {
 public:
  void requestRedraw() override {}
  void requestContinuousUpdate(bool) override {}
  void requestWarpPointer(float, float) override {}
};

class PointCloudNavigationTest : public ManipulatorFixture {
 protected:
  OrthoBox orthoBox() {
    OrthoBox box{};
    EXPECT_TRUE(camera().getProjectionMatrixAsOrtho(box.left, box.right, box.bottom, box.top, box.zNear, box.zFar));
    return box;
  }

  Perspective perspective() {
    Perspective view;
    EXPECT_TRUE(camera().getProjectionMatrixAsPerspective(view.degrees, view.aspectRatio, view.zNear, view.zFar));
    return view;
  }

  bool sendTo(osgGA::GUIActionAdapter& aa, Event::EventType type, int buttons, double x, double y) {
    return _manipulator->handle(*makeEvent(type, buttons, x, y), aa);
  }

  static std::vector<osg::ref_ptr<osg::Viewport>> missingAndEmptyViewports() {
    return {nullptr, new osg::Viewport(0.0, 0.0, 0.0, 0.0), new osg::Viewport(0.0, 0.0, kWidth, 0.0),
            new osg::Viewport(0.0, 0.0, 0.0, kHeight), new osg::Viewport(0.0, 0.0, std::nan(""), kHeight)};
  }

  Viewless viewless;
};

/// A right drag that shows the marker, with the manipulator installed on the viewer.
class MarkerTest : public PointCloudNavigationTest {
 protected:
  MarkerTest() {
    _viewer->setCameraManipulator(_manipulator, false);
    startRightDrag();
  }

  void startRightDrag() {
    push(kRight, 400.0, 300.0);
    drag(kRight, 410.0, 300.0);
  }

  osg::AutoTransform* marker = _manipulator->_pivotIndicator;
};

// Dispatch

TEST_F(PointCloudNavigationTest, handledEventsAreRefused) {
  const osg::Matrixd before = _manipulator->getMatrix();
  for (const Event::EventType type : {Event::PUSH, Event::DOUBLECLICK, Event::DRAG, Event::RELEASE, Event::SCROLL,
                                      Event::MOVE, Event::KEYDOWN, Event::KEYUP}) {
    const osg::ref_ptr<Event> event = makeEvent(type, kRight, 100.0, 100.0);
    event->setScrollingMotion(Event::SCROLL_UP);
    event->setKey(Event::KEY_Space);
    event->setHandled(true);
    EXPECT_FALSE(send(*event)) << type;
  }
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(PointCloudNavigationTest, frameAndResizeAreTakenEvenWhenHandled) {
  class Recorder : public OpenManipulator {
   public:
    using OpenManipulator::OpenManipulator;
    int frames = 0;
    int resizes = 0;

   protected:
    bool handleFrame(const Event&, osgGA::GUIActionAdapter&) override { return ++frames > 0; }
    bool handleResize(const Event&, osgGA::GUIActionAdapter&) override { return ++resizes > 0; }
  };
  const osg::ref_ptr<Recorder> recorder = new Recorder(_viewer);
  for (const Event::EventType type : {Event::FRAME, Event::RESIZE}) {
    const osg::ref_ptr<Event> event = makeEvent(type, 0, 0.0, 0.0);
    event->setHandled(true);
    EXPECT_TRUE(recorder->handle(*event, *_viewer));
  }
  EXPECT_EQ(recorder->frames, 1);
  EXPECT_EQ(recorder->resizes, 1);
}

TEST_F(PointCloudNavigationTest, otherEventsAreRefused) {
  for (const Event::EventType type : {Event::NONE, Event::PEN_PRESSURE, Event::QUIT_APPLICATION, Event::USER}) {
    EXPECT_FALSE(send(*makeEvent(type, kRight, 10.0, 10.0))) << type;
  }
}

TEST_F(PointCloudNavigationTest, theWheelIsRefusedWithoutItsFlag) {
  class Flagless : public OpenManipulator {
   public:
    explicit Flagless(osgViewer::Viewer* viewer) : OpenManipulator(viewer) { _flags &= ~PROCESS_MOUSE_WHEEL; }
  };
  _manipulator = new Flagless(_viewer);
  lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_FALSE(scroll(Event::SCROLL_UP, 400.0, 300.0));
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(PointCloudNavigationTest, theSpaceKeyGoesHome) {
  _manipulator->setHomePosition(osg::Vec3d(1.0, 2.0, 3.0), osg::Vec3d(1.0, 5.0, 3.0), osg::Vec3d(0.0, 0.0, 1.0));
  EXPECT_TRUE(key(Event::KEY_Space));
  expectNear(eye(), osg::Vec3d(1.0, 2.0, 3.0), 1e-12);
  expectNear(viewDirection(), osg::Vec3d(0.0, 1.0, 0.0), 1e-12);
}

// Drag, release and the marker

TEST_F(PointCloudNavigationTest, aRightDragShowsTheMarkerOnceAndTheReleaseHidesIt) {
  push(kRight, 400.0, 300.0);
  EXPECT_FALSE(isMarkerShown());
  EXPECT_TRUE(drag(kRight, 410.0, 300.0));
  EXPECT_TRUE(drag(kRight, 420.0, 300.0));
  EXPECT_TRUE(isMarkerShown());
  EXPECT_EQ(_scene->getNumChildren(), 1U);
  EXPECT_FALSE(release(0, 420.0, 300.0));
  EXPECT_FALSE(isMarkerShown());
}

TEST_F(PointCloudNavigationTest, theReleaseStaysUnhandledWithoutAMarkerToo) {
  EXPECT_FALSE(release(0, 420.0, 300.0));
  EXPECT_FALSE(sendTo(viewless, Event::RELEASE, 0, 420.0, 300.0));
}

TEST_F(PointCloudNavigationTest, aReleaseWithoutAViewLeavesTheMarker) {
  push(kRight, 400.0, 300.0);
  drag(kRight, 410.0, 300.0);
  sendTo(viewless, Event::RELEASE, 0, 420.0, 300.0);
  EXPECT_TRUE(isMarkerShown());
}

TEST_F(MarkerTest, theReleaseRemovesTheMarkerFromASceneThatWasReplacedDuringTheDrag) {
  const osg::ref_ptr<osg::Group> next = new osg::Group;
  _viewer->setSceneData(next);
  drag(kRight, 420.0, 300.0);
  EXPECT_TRUE(_scene->containsNode(marker)) << "a marker that is shown is not added to another scene";
  EXPECT_FALSE(release(0, 420.0, 300.0));
  EXPECT_FALSE(_scene->containsNode(marker));
  startRightDrag();
  EXPECT_TRUE(next->containsNode(marker));
  release(0, 410.0, 300.0);
  EXPECT_FALSE(isMarkerShown());
}

TEST_F(MarkerTest, theReleaseRemovesTheMarkerWhenTheViewerHasNoSceneAnyMore) {
  _viewer->setSceneData(nullptr);
  EXPECT_FALSE(release(0, 410.0, 300.0));
  EXPECT_FALSE(_scene->containsNode(marker));
}

TEST_F(MarkerTest, theReleaseRemovesTheMarkerFromAllItsParents) {
  const osg::ref_ptr<osg::Group> other = new osg::Group;
  other->addChild(marker);
  _scene->addChild(marker);
  ASSERT_EQ(marker->getNumParents(), 3U);
  release(0, 410.0, 300.0);
  EXPECT_EQ(_scene->getNumChildren(), 0U);
  EXPECT_EQ(other->getNumChildren(), 0U);
}

TEST_F(MarkerTest, theNextReleaseRemovesTheMarkerOfADragThatLostItsRelease) {
  const osg::ref_ptr<OpenManipulator> other = new OpenManipulator(_viewer);
  _viewer->setCameraManipulator(other, false);
  EXPECT_FALSE(other->handle(*makeEvent(Event::RELEASE, 0, 410.0, 300.0), *_viewer));
  EXPECT_TRUE(_scene->containsNode(marker));
  _viewer->setCameraManipulator(_manipulator, false);
  startRightDrag();
  EXPECT_FALSE(release(0, 410.0, 300.0));
  EXPECT_FALSE(_scene->containsNode(marker));
}

TEST_F(MarkerTest, aPressLeavesTheMarkerThatIsShown) {
  for (const int buttons : {kLeft, kMiddle, kRight, kRight | kMiddle}) {
    push(buttons, 410.0, 300.0);
    EXPECT_TRUE(_scene->containsNode(marker)) << buttons;
  }
}

TEST_F(MarkerTest, destroyingTheManipulatorDuringADragRemovesItsMarker) {
  _viewer->setCameraManipulator(nullptr);
  _manipulator = nullptr;
  EXPECT_EQ(_scene->getNumChildren(), 0U);
}

TEST_F(MarkerTest, aCopyThatIsDestroyedLeavesTheMarkerItShares) {
  osg::ref_ptr<OpenManipulator> copy = new OpenManipulator(*_manipulator);
  copy = nullptr;
  EXPECT_TRUE(_scene->containsNode(marker));
}

TEST_F(PointCloudNavigationTest, theReleaseKeepsTheRecordedEvents) {
  push(kRight, 400.0, 300.0);
  drag(kRight, 410.0, 300.0);
  release(0, 410.0, 300.0);
  const osg::Quat before = _manipulator->getRotation();
  drag(kRight, 430.0, 300.0);
  // The next drag continues the rotation of the last one: nothing was flushed.
  EXPECT_NE(_manipulator->getRotation(), before);
}

TEST_F(PointCloudNavigationTest, aMiddleDragShowsNoMarker) {
  push(kMiddle, 400.0, 300.0);
  drag(kMiddle, 410.0, 300.0);
  EXPECT_FALSE(isMarkerShown());
}

TEST_F(PointCloudNavigationTest, aSceneThatIsNoGroupReceivesNoMarker) {
  _viewer->setSceneData(new osg::ShapeDrawable(new osg::Sphere));
  push(kRight, 400.0, 300.0);
  EXPECT_TRUE(drag(kRight, 410.0, 300.0));
  EXPECT_EQ(_manipulator->_pivotIndicator->getNumParents(), 0U);
  EXPECT_FALSE(release(0, 410.0, 300.0));
}

TEST_F(PointCloudNavigationTest, aRightDragWithThePerspectiveLockedIsRefusedAndShowsNoMarker) {
  _manipulator->setLockPerspective(true);
  push(kRight, 400.0, 300.0);
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_FALSE(drag(kRight, 450.0, 320.0));
  EXPECT_FALSE(isMarkerShown());
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(PointCloudNavigationTest, dragsAndWheelStepsResetTheViewCentre) {
  _manipulator->setViewCenter(osg::Vec3d(1.0, 2.0, 3.0));
  drag(kRight, 450.0, 320.0);
  EXPECT_EQ(_manipulator->getViewCenter(), osg::Vec3d());
  _manipulator->setViewCenter(osg::Vec3d(1.0, 2.0, 3.0));
  scroll(Event::SCROLL_LEFT, 400.0, 300.0);
  EXPECT_EQ(_manipulator->getViewCenter(), osg::Vec3d());
}

TEST_F(PointCloudNavigationTest, whatADragDoesFollowsTheEarlierEventsButtons) {
  push(kMiddle, 400.0, 300.0);
  const osg::Quat before = _manipulator->getRotation();
  drag(kRight, 450.0, 320.0);
  EXPECT_EQ(_manipulator->getRotation(), before);
  drag(kRight, 460.0, 320.0);
  EXPECT_NE(_manipulator->getRotation(), before);
}

TEST_F(PointCloudNavigationTest, modifierKeysChangeNothing) {
  push(kRight, 400.0, 300.0);
  const osg::ref_ptr<Event> event = makeEvent(Event::DRAG, kRight, 440.0, 300.0);
  event->setModKeyMask(Event::MODKEY_SHIFT | Event::MODKEY_CTRL | Event::MODKEY_ALT);
  EXPECT_TRUE(send(*event));
  EXPECT_TRUE(isMarkerShown());
  EXPECT_NEAR(_manipulator->_yawQuat.asVec3().length(), std::sin(0.5 * std::asin(0.1 / 1.6)), 1e-6);
}

TEST_F(PointCloudNavigationTest, anEventOlderThanItsPredecessorIsReportedAndHasNoDuration) {
  class Collector : public osg::NotifyHandler {
   public:
    void notify(osg::NotifySeverity severity, const char* message) override {
      if (severity == osg::WARN) {
        warnings += message;
      }
    }
    std::string warnings;
  };
  const osg::ref_ptr<osg::NotifyHandler> previous = osg::getNotifyHandler();
  const osg::ref_ptr<Collector> collector = new Collector;
  osg::setNotifyHandler(collector);
  const osg::ref_ptr<Event> first = makeEvent(Event::PUSH, kRight, 400.0, 300.0);
  const osg::ref_ptr<Event> second = makeEvent(Event::DRAG, kRight, 440.0, 300.0);
  first->setTime(10.0);
  second->setTime(9.5);
  const osg::Quat before = _manipulator->getRotation();
  send(*first);
  send(*second);
  osg::setNotifyHandler(previous);
  EXPECT_EQ(collector->warnings, "Manipulator warning: eventTimeDelta = -0.5\n");
  EXPECT_NE(_manipulator->getRotation(), before);
}

// Pan without a capture tool

TEST_F(PointCloudNavigationTest, withoutACaptureToolAPerspectivePanMovesByTheNearPlanesWindow) {
  push(kMiddle, 400.0, 300.0);
  const osg::Vec3d before = _manipulator->getCenter();
  EXPECT_TRUE(drag(kMiddle, 430.0, 320.0));
  // 60 degrees at a near plane of 1 are 2 tan 30° world units over 600 pixels.
  const double unitsPerPixel = 2.0 * std::tan(osg::DegreesToRadians(30.0)) / kHeight;
  expectNear(_manipulator->getCenter() - before, osg::Vec3d(-30.0, 0.0, -20.0) * unitsPerPixel, 1e-6);
}

TEST_F(PointCloudNavigationTest, anOrthographicPanMovesByTheBoxPerPixel) {
  useOrthographic(60.0);
  push(kMiddle, 400.0, 300.0);
  const osg::Vec3d before = _manipulator->getCenter();
  EXPECT_TRUE(drag(kMiddle, 430.0, 320.0));
  expectNear(_manipulator->getCenter() - before, osg::Vec3d(-3.0, 0.0, -2.0), 1e-6);
}

TEST_F(PointCloudNavigationTest, aPanWithoutAnEventBeforeItReturnsFalse) {
  const osg::Vec3d before = _manipulator->getCenter();
  EXPECT_FALSE(drag(kMiddle, 430.0, 320.0));
  EXPECT_EQ(_manipulator->getCenter(), before);
}

TEST_F(PointCloudNavigationTest, aPanWithACaptureToolThatHasCapturedNothingMovesAtDepthZero) {
  camera().setPostDrawCallback(new QuorOsgUtils::ScreenCaptureTool);
  push(kMiddle, 400.0, 300.0);
  const osg::Vec3d before = _manipulator->getCenter();
  EXPECT_TRUE(drag(kMiddle, 430.0, 320.0));
  const double unitsPerPixel = 2.0 * std::tan(osg::DegreesToRadians(30.0)) / kHeight;
  expectNear(_manipulator->getCenter() - before, osg::Vec3d(-30.0, 0.0, -20.0) * unitsPerPixel, 1e-6);
}

TEST_F(PointCloudNavigationTest, aPressWithACaptureToolThatHasCapturedNothingPicksNothing) {
  camera().setPostDrawCallback(new QuorOsgUtils::ScreenCaptureTool);
  lookAt(osg::Vec3d(-40.0, 0.0, 7.0), osg::Vec3d(-30.0, 0.0, 7.0));
  EXPECT_TRUE(push(kRight, 17.0, 23.0));
  expectNear(_manipulator->getCenter(), osg::Vec3d(0.0, 0.0, 7.0), 1e-9);
}

// Missing objects

TEST_F(PointCloudNavigationTest, withoutAViewNothingMovesExceptByTheOrbitManipulatorsWheel) {
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_TRUE(sendTo(viewless, Event::PUSH, kRight, 100.0, 100.0));
  EXPECT_EQ(_manipulator->getMatrix(), before);
  sendTo(viewless, Event::PUSH, kMiddle, 100.0, 100.0);
  EXPECT_FALSE(sendTo(viewless, Event::DRAG, kMiddle, 150.0, 120.0));
  EXPECT_EQ(_manipulator->getMatrix(), before);
  const osg::ref_ptr<Event> wheel = makeEvent(Event::SCROLL, 0, 100.0, 100.0);
  wheel->setScrollingMotion(Event::SCROLL_UP);
  EXPECT_TRUE(_manipulator->handle(*wheel, viewless));
  // The orbit manipulator's own factor of 0.1 changes the distance to the centre by a tenth.
  EXPECT_NEAR(std::abs(_manipulator->getDistance() - 100.0), 10.0, 1e-5);
}

TEST_F(PointCloudNavigationTest, withoutAViewStationWheelAndBothWheelStepsDoNothing) {
  const osg::Matrixd before = _manipulator->getMatrix();
  const osg::ref_ptr<Event> wheel = makeEvent(Event::SCROLL, 0, 100.0, 100.0);
  wheel->setScrollingMotion(Event::SCROLL_UP);
  EXPECT_TRUE(_manipulator->handleMouseWheelPerspective(*wheel, viewless));
  EXPECT_FALSE(_manipulator->handleMouseWheelOrthographic(*wheel, viewless));
  _manipulator->setStationModel(true);
  EXPECT_FALSE(_manipulator->handle(*wheel, viewless));
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(PointCloudNavigationTest, aViewThatIsNoViewerPansButPicksNothing) {
  const osg::ref_ptr<osgViewer::View> view = new osgViewer::View;
  view->getCamera()->setViewport(0, 0, kWidth, kHeight);
  view->getCamera()->setViewMatrix(camera().getViewMatrix());
  view->getCamera()->setProjectionMatrix(osg::Matrixd::ortho(-40.0, 40.0, -30.0, 30.0, kNear, kFar));
  const osg::Vec3d before(0.0, -50.0, 0.0);
  _manipulator->setCenter(before);
  EXPECT_TRUE(sendTo(*view, Event::PUSH, kMiddle, 400.0, 300.0));
  EXPECT_EQ(_manipulator->getCenter(), before);
  EXPECT_TRUE(sendTo(*view, Event::DRAG, kMiddle, 430.0, 320.0));
  expectNear(_manipulator->getCenter() - before, osg::Vec3d(-3.0, 0.0, -2.0), 1e-6);
}

TEST_F(PointCloudNavigationTest, thePerspectiveWheelNeedsNoViewport) {
  for (const auto& viewport : missingAndEmptyViewports()) {
    camera().setViewport(viewport);
    // Without a capture tool the ray goes to the origin: 100 ahead and 20 to the left of the eye.
    lookAt(osg::Vec3d(20.0, -100.0, 0.0), osg::Vec3d(20.0, -90.0, 0.0));
    EXPECT_TRUE(scroll(Event::SCROLL_UP, 1.0, 1.0));
    expectNear(eye(), osg::Vec3d(), 1e-6);
  }
}

TEST_F(PointCloudNavigationTest, aPanOverAMissingOrEmptyViewportMovesNothing) {
  for (const bool isPerspective : {true, false}) {
    isPerspective ? usePerspective() : useOrthographic(50.0);
    for (const auto& viewport : missingAndEmptyViewports()) {
      camera().setViewport(viewport);
      push(kMiddle, 100.0, 100.0);
      const osg::Matrixd before = _manipulator->getMatrix();
      EXPECT_FALSE(drag(kMiddle, 150.0, 120.0));
      EXPECT_EQ(_manipulator->getMatrix(), before);
    }
  }
}

TEST_F(PointCloudNavigationTest, anOrthographicNotchOverAMissingOrEmptyViewportChangesNothing) {
  useOrthographic(50.0);
  const osg::Matrixd before = _manipulator->getMatrix();
  const osg::Matrixd projection = camera().getProjectionMatrix();
  for (const auto& viewport : missingAndEmptyViewports()) {
    camera().setViewport(viewport);
    EXPECT_FALSE(scroll(Event::SCROLL_UP, 100.0, 100.0));
    EXPECT_EQ(_manipulator->getMatrix(), before);
    EXPECT_EQ(camera().getProjectionMatrix(), projection);
  }
}

TEST_F(PointCloudNavigationTest, aViewerWithoutACameraLeavesTheManipulator) {
  _viewer->setCamera(nullptr);
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_TRUE(push(kMiddle, 100.0, 100.0));
  EXPECT_FALSE(drag(kMiddle, 150.0, 120.0));
  EXPECT_FALSE(scroll(Event::SCROLL_UP, 100.0, 100.0));
  _manipulator->setStationModel(true);
  EXPECT_FALSE(scroll(Event::SCROLL_UP, 100.0, 100.0));
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(PointCloudNavigationTest, eventsOfAWindowWithoutASizeTurnNothing) {
  const osg::Quat before = _manipulator->getRotation();
  for (const bool isStation : {false, true}) {
    _manipulator->setStationModel(isStation);
    for (const double x : {0.0, 10.0, 20.0}) {
      const osg::ref_ptr<Event> event = makeEvent(x == 0.0 ? Event::PUSH : Event::DRAG, kRight, x, x);
      event->setInputRange(0.0f, 0.0f, 0.0f, 0.0f);
      EXPECT_TRUE(send(*event));
    }
    EXPECT_EQ(_manipulator->getRotation(), before);
    EXPECT_TRUE(_manipulator->getCenter().valid());
  }
}

TEST_F(PointCloudNavigationTest, nanPositionsMoveNothing) {
  const float notANumber = std::numeric_limits<float>::quiet_NaN();
  for (const bool isPerspective : {true, false}) {
    isPerspective ? usePerspective() : useOrthographic(50.0);
    push(kMiddle, 400.0, 300.0);
    const osg::Matrixd before = _manipulator->getMatrix();
    const osg::Matrixd projection = camera().getProjectionMatrix();
    EXPECT_FALSE(drag(kMiddle, notANumber, 300.0));
    EXPECT_EQ(_manipulator->getMatrix(), before);
    if (isPerspective) {
      continue;
    }
    scroll(Event::SCROLL_UP, notANumber, 300.0);
    EXPECT_EQ(_manipulator->getMatrix(), before);
    EXPECT_EQ(camera().getProjectionMatrix(), projection);
  }
}

TEST_F(PointCloudNavigationTest, aProjectionThatIsNeitherFrustumNorBoxMovesNothing) {
  camera().setProjectionMatrix(osg::Matrixd(1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1, 1, 0, 0, 0, 0));
  push(kMiddle, 400.0, 300.0);
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_FALSE(drag(kMiddle, 430.0, 320.0));
  EXPECT_FALSE(scroll(Event::SCROLL_UP, 400.0, 300.0));
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

// Wheel

TEST_F(PointCloudNavigationTest, aNotchUpMovesTheCameraTenPercentOfTheFarPlaneForwardAlongTheRay) {
  // Without a capture tool the ray goes to the origin: 100 ahead and 20 to the left of the eye at (20, -100, 0).
  lookAt(osg::Vec3d(20.0, -100.0, 0.0), osg::Vec3d(20.0, -90.0, 0.0));
  const double distance = _manipulator->getDistance();
  EXPECT_TRUE(scroll(Event::SCROLL_UP, 1.0, 1.0));
  expectNear(eye(), osg::Vec3d(0.0, 0.0, 0.0), 1e-6);
  EXPECT_EQ(_manipulator->getDistance(), distance);
  EXPECT_TRUE(scroll(Event::SCROLL_DOWN, 1.0, 1.0));
  expectNear(eye(), osg::Vec3d(20.0, -100.0, 0.0), 1e-6);
}

TEST_F(PointCloudNavigationTest, scrollingMotionsOtherThanUpAndDownChangeNothing) {
  for (const Event::ScrollingMotion motion :
       {Event::SCROLL_NONE, Event::SCROLL_LEFT, Event::SCROLL_RIGHT, Event::SCROLL_2D}) {
    usePerspective();
    const osg::Matrixd before = _manipulator->getMatrix();
    EXPECT_TRUE(scroll(motion, 100.0, 100.0));
    camera().setProjectionMatrixAsOrtho(0.0, 40.0, 0.0, 30.0, kNear, kFar);
    const osg::Matrixd projection = camera().getProjectionMatrix();
    EXPECT_FALSE(scroll(motion, 100.0, 100.0));
    EXPECT_EQ(camera().getProjectionMatrix(), projection);
    EXPECT_EQ(_manipulator->getMatrix(), before);
  }
}

TEST_F(PointCloudNavigationTest, aRayAtRightAnglesToTheViewMovesNothing) {
  lookAt(osg::Vec3d(20.0, 0.0, 0.0), osg::Vec3d(20.0, 10.0, 0.0));
  const osg::Vec3d before = _manipulator->getCenter();
  EXPECT_TRUE(scroll(Event::SCROLL_UP, 100.0, 100.0));
  EXPECT_EQ(_manipulator->getCenter(), before);
}

TEST_F(PointCloudNavigationTest, anOrthographicNotchUpThenDownScalesByNinetyNinePercent) {
  useOrthographic(60.0);
  EXPECT_FALSE(scroll(Event::SCROLL_UP, 400.0, 300.0));
  EXPECT_NEAR(orthoBox().top - orthoBox().bottom, 54.0, 1e-9);
  EXPECT_FALSE(scroll(Event::SCROLL_DOWN, 400.0, 300.0));
  EXPECT_NEAR(orthoBox().top - orthoBox().bottom, 60.0 * 0.99, 1e-9);
  EXPECT_NEAR(orthoBox().right - orthoBox().left, 80.0 * 0.99, 1e-9);
  EXPECT_NEAR(orthoBox().zFar, kFar, 1e-9);
}

TEST_F(PointCloudNavigationTest, whatIsUnderThePointerStaysUnderItInAnOrthographicStepFarFromTheOrigin) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (int i = 0; i < 500; ++i) {
    useOrthographic(1.0 + 200.0 * unit(random));
    const osg::Vec3d from(1e7 * unit(random), -1e7 * unit(random), 1e3 * unit(random));
    lookAt(from, from + osg::Vec3d(unit(random) - 0.5, unit(random) - 0.5, -unit(random)) * 100.0);
    const double x = std::floor(unit(random) * kWidth);
    const double y = std::floor(unit(random) * kHeight);
    const osg::Vec3d grabbed = worldAtDistance(x, y, kNear + unit(random) * (kFar - kNear));
    scroll(i % 2 == 0 ? Event::SCROLL_UP : Event::SCROLL_DOWN, x, y);
    updateCamera();
    const osg::Vec3d window = toWindow(grabbed);
    ASSERT_NEAR(window.x(), x, 1e-4);
    ASSERT_NEAR(window.y(), y, 1e-4);
  }
}

TEST_F(PointCloudNavigationTest, anOrthographicNotchThatWouldEmptyTheBoxChangesNothing) {
  useOrthographic(60.0);
  _manipulator->setWheelZoomFactor(100.0);
  const osg::Matrixd projection = camera().getProjectionMatrix();
  EXPECT_FALSE(scroll(Event::SCROLL_UP, 100.0, 100.0));
  EXPECT_EQ(camera().getProjectionMatrix(), projection);
}

TEST_F(PointCloudNavigationTest, theWheelFactorLeavesTheOrbitManipulatorsOwnAlone) {
  const double before = _manipulator->orbitWheelZoomFactor();
  _manipulator->setWheelZoomFactor(25.0);
  EXPECT_EQ(_manipulator->getWheelZoomFactor(), 25.0);
  EXPECT_EQ(_manipulator->orbitWheelZoomFactor(), before);
  useOrthographic(60.0);
  scroll(Event::SCROLL_UP, 400.0, 300.0);
  EXPECT_NEAR(orthoBox().top - orthoBox().bottom, 45.0, 1e-9);
}

// Home position and world bounds

TEST_F(PointCloudNavigationTest, withoutANodeTheHomePositionStays) {
  _manipulator->setHomePosition(osg::Vec3d(1.0, 2.0, 3.0), osg::Vec3d(4.0, 5.0, 6.0), osg::Vec3d(0.0, 1.0, 0.0));
  _manipulator->computeHomePosition(&camera(), true);
  osg::Vec3d homeEye, homeCenter, homeUp;
  _manipulator->getHomePosition(homeEye, homeCenter, homeUp);
  EXPECT_EQ(homeEye, osg::Vec3d(1.0, 2.0, 3.0));
}

class HomePositionTest : public PointCloudNavigationTest {
 protected:
  void useScene(osg::Node* node) {
    _manipulator->setNode(node);
    _manipulator->setAutoComputeHomePosition(true);
  }

  osg::Vec3d homeEyeFor(const osg::Camera* homeCamera, bool useBoundingBox) {
    _manipulator->computeHomePosition(homeCamera, useBoundingBox);
    osg::Vec3d homeEye;
    _manipulator->getHomePosition(homeEye, homeCenter, homeUp);
    return homeEye;
  }

  osg::Vec3d homeCenter;
  osg::Vec3d homeUp;
};

TEST_F(HomePositionTest, framesTheBoundingSphereInTheManipulatorsOwnFieldOfView) {
  useScene(new osg::ShapeDrawable(new osg::Sphere(osg::Vec3f(10.0f, 20.0f, 30.0f), 4.0f)));
  const double radius = _manipulator->getNode()->getBound().radius();
  const osg::Vec3d center = _manipulator->getNode()->getBound().center();
  const osg::Vec3d homeEye = homeEyeFor(&camera(), false);
  const double distance = radius / std::sin(osg::DegreesToRadians(15.0));
  expectNear(homeEye, center - osg::Vec3d(0.0, distance, 0.0), 1e-5);
  expectNear(homeCenter, center, 1e-6);
  EXPECT_EQ(homeUp, osg::Vec3d(0.0, 0.0, 1.0));
  EXPECT_TRUE(_manipulator->getAutoComputeHomePosition());
}

TEST_F(HomePositionTest, withoutACameraTheDistanceIsThreeAndAHalfRadii) {
  useScene(new osg::ShapeDrawable(new osg::Sphere(osg::Vec3f(0.0f, 0.0f, 0.0f), 4.0f)));
  const double radius = _manipulator->getNode()->getBound().radius();
  EXPECT_NEAR(homeEyeFor(nullptr, false).y(), -3.5 * radius, 1e-5);
}

TEST_F(HomePositionTest, byTheBoundingBoxFramesTheSphereAroundTheBox) {
  const osg::ref_ptr<osg::Group> group = new osg::Group;
  group->addChild(new osg::ShapeDrawable(new osg::Box(osg::Vec3f(), 2.0f, 4.0f, 4.0f)));
  useScene(group);
  // Half the diagonal of 2 × 4 × 4 is 3.
  EXPECT_NEAR(homeEyeFor(&camera(), true).y(), -3.0 / std::sin(osg::DegreesToRadians(15.0)), 1e-5);
}

TEST_F(HomePositionTest, aSceneOfZeroRadiusIsFramedAtASmallDistance) {
  useScene(new osg::Group);
  EXPECT_NEAR(homeEyeFor(&camera(), false).y(), -1e-6 / std::sin(osg::DegreesToRadians(15.0)), 1e-12);
  EXPECT_NEAR(homeEyeFor(&camera(), true).y(), -1e-6 / std::sin(osg::DegreesToRadians(15.0)), 1e-12);
  EXPECT_NEAR(homeEyeFor(nullptr, false).y(), -3.5e-6, 1e-12);
}

TEST_F(HomePositionTest, anOverriddenGetFovDoesNotChangeTheHomePosition) {
  class Wide : public OpenManipulator {
   public:
    using OpenManipulator::OpenManipulator;
    double getFov() override { return 90.0; }
  };
  _manipulator = new Wide(_viewer);
  useScene(new osg::ShapeDrawable(new osg::Sphere(osg::Vec3f(), 4.0f)));
  const double radius = _manipulator->getNode()->getBound().radius();
  EXPECT_NEAR(homeEyeFor(&camera(), false).y(), -radius / std::sin(osg::DegreesToRadians(15.0)), 1e-5);
  _manipulator->_fov = 60.0;
  EXPECT_NEAR(homeEyeFor(&camera(), false).y(), -radius / std::sin(osg::DegreesToRadians(30.0)), 1e-5);
}

class WorldBoundsTest : public PointCloudNavigationTest {
 protected:
  WorldBoundsTest() {
    root->addChild(outer);
    outer->addChild(inner);
    inner->addChild(leaf);
    _manipulator->setNode(root);
  }

  osg::ref_ptr<osg::Group> root = new osg::Group;
  osg::ref_ptr<osg::MatrixTransform> outer = new osg::MatrixTransform(osg::Matrixd::translate(100.0, 0.0, 0.0));
  osg::ref_ptr<osg::MatrixTransform> inner = new osg::MatrixTransform(osg::Matrixd::scale(2.0, 2.0, 2.0));
  osg::ref_ptr<osg::Node> leaf = new osg::ShapeDrawable(new osg::Box(osg::Vec3f(1.0f, 2.0f, 3.0f), 2.0f));
};

TEST_F(WorldBoundsTest, collectsThePathFromTheNodeToTheRoot) {
  Path path;
  EXPECT_TRUE(_manipulator->collectParent(path, leaf));
  EXPECT_EQ(path, (Path{leaf, inner, outer, root}));
}

TEST_F(WorldBoundsTest, theRootIsItsOwnPath) {
  Path path;
  EXPECT_TRUE(_manipulator->collectParent(path, root));
  EXPECT_EQ(path, Path{root});
}

TEST_F(WorldBoundsTest, followsTheFirstParentsThatReachTheRoot) {
  const osg::ref_ptr<osg::Group> stranger = new osg::Group;
  const osg::ref_ptr<osg::Group> strangersChild = new osg::Group;
  const osg::ref_ptr<osg::Node> node = new osg::Node;
  stranger->addChild(strangersChild);
  strangersChild->addChild(node);
  outer->addChild(node);
  root->addChild(node);
  Path path;
  EXPECT_TRUE(_manipulator->collectParent(path, node));
  EXPECT_EQ(path, (Path{node, outer, root}));
}

TEST_F(WorldBoundsTest, aNodeThatIsNotUnderTheRootLeavesThePathAsItWas) {
  const osg::ref_ptr<osg::Group> stranger = new osg::Group;
  const osg::ref_ptr<osg::Node> strangersChild = new osg::Node;
  stranger->addChild(strangersChild);
  Path path{leaf};
  EXPECT_FALSE(_manipulator->collectParent(path, strangersChild));
  EXPECT_FALSE(_manipulator->collectParent(path, nullptr));
  EXPECT_EQ(path, Path{leaf});
}

TEST_F(WorldBoundsTest, carriesTheCentreToTheWorldAndKeepsTheRadius) {
  Path path;
  _manipulator->collectParent(path, leaf);
  const osg::BoundingSphere bounds = _manipulator->getWorldBoundingBox(path, leaf);
  expectNear(bounds.center(), osg::Vec3d(102.0, 4.0, 6.0), 1e-5);
  EXPECT_NEAR(bounds.radius(), std::sqrt(3.0), 1e-5);
}

TEST_F(WorldBoundsTest, anAbsoluteTransformIgnoresTheTransformsAboveIt) {
  const osg::ref_ptr<osg::MatrixTransform> absolute = new osg::MatrixTransform(osg::Matrixd::translate(7.0, 8.0, 9.0));
  const osg::ref_ptr<osg::Node> node = new osg::ShapeDrawable(new osg::Sphere(osg::Vec3f(1.0f, 1.0f, 1.0f), 2.0f));
  absolute->setReferenceFrame(osg::Transform::ABSOLUTE_RF);
  absolute->addChild(node);
  outer->addChild(absolute);
  Path path;
  ASSERT_TRUE(_manipulator->collectParent(path, node));
  expectNear(_manipulator->getWorldBoundingBox(path, node).center(), osg::Vec3d(8.0, 9.0, 10.0), 1e-5);
}

TEST_F(WorldBoundsTest, reversesTheCallersPath) {
  Path path;
  _manipulator->collectParent(path, leaf);
  _manipulator->getWorldBoundingBox(path, leaf);
  EXPECT_EQ(path, (Path{root, outer, inner, leaf}));
}

TEST_F(WorldBoundsTest, leavesOutTheNodesOwnTransformAndStopsThere) {
  Path path{leaf, inner, outer, root};
  const osg::BoundingSphere bounds = _manipulator->getWorldBoundingBox(path, inner);
  // The inner transform's bound includes its own scale already.
  expectNear(bounds.center(), osg::Vec3d(102.0, 4.0, 6.0), 1e-5);
  EXPECT_NEAR(bounds.radius(), inner->getBound().radius(), 1e-5);
}

TEST_F(WorldBoundsTest, aNodeThatIsNotOnThePathIsCarriedByAllItsTransforms) {
  Path path{leaf, inner, outer, root};
  const osg::ref_ptr<osg::Node> other = new osg::ShapeDrawable(new osg::Box(osg::Vec3f(5.0f, 0.0f, 0.0f), 2.0f));
  const osg::BoundingSphere bounds = _manipulator->getWorldBoundingBox(path, other);
  expectNear(bounds.center(), osg::Vec3d(110.0, 0.0, 0.0), 1e-5);
}

TEST_F(WorldBoundsTest, withoutTransformsItIsTheNodesBound) {
  Path path{leaf, root};
  const osg::BoundingSphere bounds = _manipulator->getWorldBoundingBox(path, leaf);
  expectNear(bounds.center(), osg::Vec3d(1.0, 2.0, 3.0), 1e-6);
  Path empty;
  EXPECT_FALSE(_manipulator->getWorldBoundingBox(empty, nullptr).valid());
}

// Station mode

class StationModeTest : public PointCloudNavigationTest {
 protected:
  StationModeTest() {
    _manipulator->setStationCenter(osg::Vec3f(1.5f, 2.5f, 3.5f));
    _manipulator->setStationModel(true);
  }

  const osg::Vec3d station{1.5, 2.5, 3.5};
};

TEST_F(StationModeTest, theStationsCentreIsConvertedToDoublePrecisionExactly) {
  EXPECT_TRUE(_manipulator->isStationModel());
  EXPECT_EQ(_manipulator->_stationCenter, station);
}

TEST_F(StationModeTest, aPressMakesTheStationThePivotAndKeepsTheOrbitCentre) {
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_TRUE(push(kRight, 400.0, 300.0));
  EXPECT_EQ(_manipulator->_pivotPoint, station);
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(StationModeTest, theLeftButtonAloneIsLeftToTheApplication) {
  EXPECT_FALSE(push(kLeft, 400.0, 300.0));
  EXPECT_FALSE(drag(kLeft, 420.0, 300.0));
  EXPECT_FALSE(release(kLeft, 420.0, 300.0));
  EXPECT_EQ(_manipulator->_pivotPoint, osg::Vec3d());
}

TEST_F(StationModeTest, aRightDragTurnsTheViewAndLeavesTheStationWhereItIsInTheView) {
  push(kRight, 400.0, 300.0);
  const osg::Vec3d before = station * _manipulator->getInverseMatrix();
  const osg::Quat rotation = _manipulator->getRotation();
  EXPECT_TRUE(drag(kRight, 470.0, 340.0));
  EXPECT_GT((_manipulator->getRotation().asVec4() - rotation.asVec4()).length(), 0.01);
  expectNear(station * _manipulator->getInverseMatrix(), before, 1e-4);
  EXPECT_NEAR(_manipulator->getDistance(), 100.0, 1e-9);
  EXPECT_FALSE(isMarkerShown());
}

TEST_F(StationModeTest, theRotationFactorMultipliesTheSwingButNotTheTurnOfTheView) {
  _manipulator->setRotationFactor(2.0);
  push(kRight, 400.0, 300.0);
  const osg::Vec3d before = _manipulator->getCenter() - station;
  const osg::Quat rotation = _manipulator->getRotation();
  drag(kRight, 410.0, 300.0);
  const osg::Vec3d after = _manipulator->getCenter() - station;
  double turned = 0.0;
  osg::Vec3d axis;
  (rotation.inverse() * _manipulator->getRotation()).getRotate(turned, axis);
  turned = std::min(turned, 2.0 * osg::PI - turned);
  EXPECT_NEAR(after.length(), before.length(), 1e-4);
  // About the same axis by twice the view's angle, measured perpendicular to the axis.
  const osg::Vec3d from = before - axis * (before * axis);
  const osg::Vec3d to = after - axis * (after * axis);
  EXPECT_NEAR(std::acos(from * to / (from.length() * to.length())), 2.0 * turned, 1e-4);
}

TEST_F(StationModeTest, aRightDragThatDoesNotMoveChangesNothing) {
  push(kRight, 400.0, 300.0);
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_TRUE(drag(kRight, 400.0, 300.0));
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(StationModeTest, pitchAndYawAreNotTouched) {
  const osg::Quat pitch = _manipulator->_pitchQuat;
  push(kRight, 400.0, 300.0);
  drag(kRight, 470.0, 340.0);
  EXPECT_EQ(_manipulator->_pitchQuat, pitch);
  EXPECT_EQ(_manipulator->_yawQuat, osg::Quat());
}

TEST_F(StationModeTest, aLockedPerspectiveDoesNotStopTheStationsRotation) {
  _manipulator->setLockPerspective(true);
  push(kRight, 400.0, 300.0);
  const osg::Quat before = _manipulator->getRotation();
  EXPECT_TRUE(drag(kRight, 470.0, 340.0));
  EXPECT_NE(_manipulator->getRotation(), before);
}

TEST_F(StationModeTest, aMiddleDragIsTheOrbitManipulatorsPan) {
  push(kMiddle, 400.0, 300.0);
  const osg::Vec3d before = _manipulator->getCenter();
  EXPECT_TRUE(drag(kMiddle, 440.0, 330.0));
  // The orbit manipulator pans by 0.3 of its distance per normalised unit; both moves are 0.1 units. Right is +X.
  expectNear(_manipulator->getCenter() - before, osg::Vec3d(-3.0, 0.0, -3.0), 1e-4);
}

TEST_F(StationModeTest, theWheelNarrowsAndWidensTheFieldOfViewAndStaysUnhandled) {
  camera().setProjectionMatrixAsPerspective(40.0, 1.5, kNear, kFar);
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_FALSE(scroll(Event::SCROLL_UP, 400.0, 300.0));
  EXPECT_NEAR(perspective().degrees, 30.0, 1e-9);
  EXPECT_FALSE(scroll(Event::SCROLL_DOWN, 400.0, 300.0));
  EXPECT_NEAR(perspective().degrees, 40.0, 1e-9);
  EXPECT_NEAR(perspective().aspectRatio, 1.5, 1e-9);
  EXPECT_NEAR(perspective().zNear, kNear, 1e-9);
  EXPECT_NEAR(perspective().zFar, kFar, 1e-6);
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(StationModeTest, aFieldOfViewOfEightyNineDegreesWidensPastNinetyAndThenNoMore) {
  camera().setProjectionMatrixAsPerspective(89.0, 1.5, kNear, kFar);
  scroll(Event::SCROLL_DOWN, 400.0, 300.0);
  EXPECT_NEAR(perspective().degrees, 89.0 * 4.0 / 3.0, 1e-9);
  scroll(Event::SCROLL_DOWN, 400.0, 300.0);
  EXPECT_NEAR(perspective().degrees, 89.0 * 4.0 / 3.0, 1e-9);
}

TEST_F(StationModeTest, otherScrollingMotionsChangeNothing) {
  const osg::Matrixd before = camera().getProjectionMatrix();
  for (const Event::ScrollingMotion motion :
       {Event::SCROLL_NONE, Event::SCROLL_LEFT, Event::SCROLL_RIGHT, Event::SCROLL_2D}) {
    EXPECT_FALSE(scroll(motion, 100.0, 100.0));
  }
  EXPECT_EQ(camera().getProjectionMatrix(), before);
}

TEST_F(StationModeTest, theWheelOnAnOrthographicCameraDoesNothing) {
  useOrthographic(60.0);
  const osg::Matrixd projection = camera().getProjectionMatrix();
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_FALSE(scroll(Event::SCROLL_UP, 400.0, 300.0));
  EXPECT_EQ(camera().getProjectionMatrix(), projection);
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(StationModeTest, switchingItOffRestoresNormalNavigationAtTheNextPress) {
  push(kRight, 400.0, 300.0);
  _manipulator->setStationModel(false);
  EXPECT_EQ(_manipulator->_pivotPoint, station);
  lookAt(osg::Vec3d(-40.0, 0.0, 7.0), osg::Vec3d(-30.0, 0.0, 7.0));
  push(kRight, 400.0, 300.0);
  expectNear(_manipulator->_pivotPoint, osg::Vec3d(0.0, 0.0, 7.0), 1e-9);
}

TEST_F(StationModeTest, switchingInTheMiddleOfADragHarmsNothingAndCountsFromTheNextEvent) {
  push(kRight, 400.0, 300.0);
  double x = 400.0;
  for (const bool on : {false, true, false}) {
    _manipulator->setStationModel(on);
    const osg::Quat before = _manipulator->getRotation();
    EXPECT_TRUE(drag(kRight, x += 30.0, 320.0));
    EXPECT_NE(_manipulator->getRotation(), before);
    EXPECT_EQ(_manipulator->_pivotPoint, station);
    EXPECT_TRUE(std::isfinite(eye().length2()));
  }
  _manipulator->setStationModel(true);
  EXPECT_FALSE(release(0, x, 320.0));
  EXPECT_FALSE(isMarkerShown());
}

TEST_F(StationModeTest, theStationDragAndTheFixedPointAreInert) {
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_FALSE(_manipulator->handleStationMouseDrag(*makeEvent(Event::DRAG, kRight, 1.0, 1.0), *_viewer));
  _manipulator->setFixPrivotPoint(true);
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

}  // namespace
