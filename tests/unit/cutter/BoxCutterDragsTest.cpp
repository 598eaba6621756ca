#include "support/BoxCutterFixture.h"

#include <osg/Geode>
#include <osg/ShapeDrawable>
#include <osgGA/GUIEventHandler>
#include <osgGA/OrbitManipulator>
#include <osgViewer/GraphicsWindow>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace QuorTests {
namespace {

constexpr double kDegree = 3.14159265358979323846 / 180.0;

// Presses and drags in general, independent of the handle: tested on the right face's cone.
class BoxCutterDrags : public BoxCutterFixture {
 protected:
  bool sendAs(Event::EventType type, int button, int buttonMask, const osg::Vec2d& at) {
    settleHandles();
    return send(*makeEvent(type, button, buttonMask, at));
  }

  // Expects a drag in progress that moves a face.
  void expectDragGoesOn() {
    EXPECT_TRUE(_box->_draggerActive);
    const std::array<float, 6> before = extents();
    EXPECT_TRUE(drag(beyond() + osg::Vec2d(15.0, 5.0)));
    EXPECT_NE(extents(), before);
  }

  osg::ref_ptr<osg::Geode> ballAt(const osg::Vec3d& world, float radius) const {
    osg::ref_ptr<osg::Geode> geode = new osg::Geode;
    geode->addDrawable(new osg::ShapeDrawable(new osg::Sphere(osg::Vec3f(world), radius)));
    return geode;
  }
};

TEST_F(BoxCutterDrags, aPressWithTheMiddleOrRightButtonIsLeftToOthersAndChangesNothing) {
  for (const int button : {kMiddle, kRight}) {
    EXPECT_FALSE(sendAs(Event::PUSH, button, button, cone()));
    expectIdle();
    EXPECT_EQ(_box->_pointer._pushX, 0.0f);
    EXPECT_FALSE(sendAs(Event::DRAG, 0, button, beyond()));
    EXPECT_EQ(extents(), (std::array<float, 6>{-1.0f, 3.0f, -2.0f, 4.0f, -0.5f, 5.0f}));
  }
}

TEST_F(BoxCutterDrags, aPressBesideTheHandlesIsLeftToOthersAndOnlyRemembersThePlace) {
  EXPECT_FALSE(push(osg::Vec2d(12.0, 34.0)));
  expectIdle();
  EXPECT_EQ(_box->_pointer._pushX, 12.0f);
  EXPECT_EQ(_box->_pointer._pushY, 34.0f);
  EXPECT_FALSE(drag(osg::Vec2d(40.0, 34.0)));
  EXPECT_FALSE(release(osg::Vec2d(40.0, 34.0)));
}

TEST_F(BoxCutterDrags, aDragWithoutAnAcceptedPressIsLeftToOthers) {
  const std::array<float, 6> before = extents();
  EXPECT_FALSE(drag(cone()));
  EXPECT_FALSE(release(cone()));
  EXPECT_EQ(extents(), before);
  EXPECT_EQ(_viewer->redraws, 0);
}

TEST_F(BoxCutterDrags, aHandleBehindSomethingElseIsStillGrabbed) {
  const osg::Vec3d face = faceInWorld(kRightFace);
  _scene->insertChild(0, ballAt(face + towardsEye() * 5.0, 1.0f));
  EXPECT_TRUE(push(cone()));
  expectDragGoesOn();
}

TEST_F(BoxCutterDrags, ofTwoHandlesTheNearerOneIsGrabbed) {
  useOrthographic();
  lookAt(osg::Vec3d(30.0, 1.0, 2.25), osg::Vec3d(1.0, 1.0, 2.25));
  ASSERT_EQ(toWindow(faceInWorld(kRightFace)), toWindow(faceInWorld(0)));
  ASSERT_TRUE(push(cone() + osg::Vec2d(2.0, 2.0)));
  EXPECT_TRUE(_box->_pointer.contains(_box->_faces[kRightFace].transform));
  EXPECT_FALSE(_box->_pointer.contains(_box->_faces[0].transform));
}

TEST_F(BoxCutterDrags, onlyTheNearestHitOfTheBoxIsKept) {
  ASSERT_TRUE(push(cone()));
  ASSERT_EQ(_box->_pointer._hitList.size(), 1U);
  const osg::NodePath& path = _box->_pointer._hitList.front().first;
  EXPECT_NE(std::find(path.begin(), path.end(), _box.get()), path.end());
  EXPECT_TRUE(_box->_pointer.contains(_box->_faces[kRightFace].transform));
}

TEST_F(BoxCutterDrags, theHandleOfAnotherBoxIsNotGrabbed) {
  osg::ref_ptr<ExposedBoxCutter> other =
      new ExposedBoxCutter(osg::BoundingBoxf(-1.0f, -2.0f, -0.5f, 3.0f, 4.0f, 5.0f), nullptr);
  other->setType(Cutter::CUTTER_SCALE, kAllAxes);
  _box->setType(Cutter::CUTTER_SCALE, 0);
  _scene->addChild(other);
  EXPECT_FALSE(push(cone()));
  EXPECT_TRUE(other->handle(*makeEvent(Event::PUSH, kLeft, kLeft, cone()), *_viewer));
}

TEST_F(BoxCutterDrags, hiddenHandlesAreNotHit) {
  for (const int mask : {0, 2, 4, 6}) {
    _box->setType(Cutter::CUTTER_SCALE, mask);
    EXPECT_FALSE(push(cone()));
  }
  // The arrows of Y and Z are elsewhere.
  _box->setType(Cutter::CUTTER_TRANSLATE, 6);
  EXPECT_FALSE(push(cone()));
  _box->setType(Cutter::CUTTER_SCALE, 1);
  EXPECT_TRUE(push(cone()));
}

TEST_F(BoxCutterDrags, whatTheIntersectionMaskExcludesIsNotHit) {
  _box->setNodeMask(0x1);
  _box->_intersectionMask = 0x2;
  EXPECT_FALSE(push(cone()));
  _box->_intersectionMask = 0x3;
  EXPECT_TRUE(push(cone()));
}

TEST_F(BoxCutterDrags, withAnInvalidTypePressesAreIgnored) {
  _box->setType(static_cast<Cutter::CutterType>(3), kAllAxes);
  EXPECT_FALSE(push(cone()));
  EXPECT_FALSE(_box->_draggerActive);
}

TEST_F(BoxCutterDrags, aDoubleClickIsIgnored) {
  EXPECT_FALSE(sendAs(Event::DOUBLECLICK, kLeft, kLeft, cone()));
  expectIdle();
}

TEST_F(BoxCutterDrags, movesKeysAndScrollsAreLeftToOthersAlsoDuringADrag) {
  for (const bool isDragged : {false, true}) {
    if (isDragged) {
      ASSERT_TRUE(push(cone()));
    }
    for (const Event::EventType type : {Event::MOVE, Event::KEYDOWN, Event::KEYUP, Event::SCROLL, Event::FRAME}) {
      EXPECT_FALSE(sendAs(type, 0, 0, beyond()));
    }
    EXPECT_EQ(_box->_draggerActive, isDragged);
  }
  expectDragGoesOn();
}

TEST_F(BoxCutterDrags, aDragWithAnotherButtonHeldTooIsLeftToOthers) {
  ASSERT_TRUE(push(cone()));
  const std::array<float, 6> before = extents();
  for (const int mask : {kLeft | kRight, kLeft | kMiddle, kRight, 0}) {
    EXPECT_FALSE(sendAs(Event::DRAG, 0, mask, beyond()));
    EXPECT_EQ(extents(), before);
  }
  expectDragGoesOn();
}

TEST_F(BoxCutterDrags, theReleaseOfAnotherButtonEndsNothing) {
  ASSERT_TRUE(push(cone()));
  for (const int button : {kMiddle, kRight}) {
    EXPECT_FALSE(sendAs(Event::RELEASE, button, kLeft, beyond()));
  }
  expectDragGoesOn();
}

TEST_F(BoxCutterDrags, theReleaseEndsTheDragAlsoWithAnotherButtonHeld) {
  ASSERT_TRUE(push(cone()));
  EXPECT_TRUE(sendAs(Event::RELEASE, kLeft, kRight, beyond()));
  expectIdle();
}

TEST_F(BoxCutterDrags, theReleaseEndsTheDragEvenIfNoHandleAcceptsIt) {
  ASSERT_TRUE(push(cone()));
  _box->setType(Cutter::CUTTER_TRANSLATE, kAllAxes);
  EXPECT_FALSE(drag(beyond()));
  EXPECT_TRUE(_box->_draggerActive);
  EXPECT_FALSE(release(beyond()));
  expectIdle();
}

TEST_F(BoxCutterDrags, anEventAlreadyHandledIsIgnored) {
  const auto sendHandled = [this](Event::EventType type, int button, int mask) {
    const osg::ref_ptr<Event> event = makeEvent(type, button, mask, cone());
    event->setHandled(true);
    return send(*event);
  };
  const double scale = _box->_screenScale = 7.0;
  settleHandles();
  EXPECT_FALSE(sendHandled(Event::PUSH, kLeft, kLeft));
  expectIdle();
  EXPECT_EQ(_box->_screenScale, scale);
  ASSERT_TRUE(push(cone()));
  EXPECT_FALSE(sendHandled(Event::RELEASE, kLeft, 0));
  expectDragGoesOn();
}

struct NoView : osgGA::GUIActionAdapter {
  void requestRedraw() override {}
  void requestContinuousUpdate(bool) override {}
  void requestWarpPointer(float, float) override {}
};

TEST_F(BoxCutterDrags, anActionAdapterThatIsNoViewIsIgnored) {
  NoView noView;
  settleHandles();
  EXPECT_FALSE(_box->handle(*makeEvent(Event::PUSH, kLeft, kLeft, cone()), noView));
  expectIdle();
  EXPECT_EQ(_box->_screenScale, 100.0);
}

TEST_F(BoxCutterDrags, everyEventTakesAThirdOfTheViewportsHeightForTheScreenScale) {
  viewCamera().setViewport(10, 20, 640, 360);
  EXPECT_FALSE(sendAs(Event::MOVE, 0, 0, osg::Vec2d()));
  EXPECT_EQ(_box->_screenScale, 120.0);
  viewCamera().setViewport(0, 0, 640, 100);
  EXPECT_FALSE(sendAs(Event::PUSH, kRight, kRight, osg::Vec2d()));
  EXPECT_EQ(_box->_screenScale, 100.0 / 3.0);
}

TEST_F(BoxCutterDrags, thePlacesOfPressAndDragAreKeptUntilTheRelease) {
  const osg::Vec2d at = cone();
  ASSERT_TRUE(push(at));
  const auto place = [](float x, float y) { return osg::Vec2d(x, y); };
  EXPECT_EQ(place(_box->_pointer._pushX, _box->_pointer._pushY), at);
  EXPECT_EQ(place(_box->_pointer._dragX, _box->_pointer._dragY), osg::Vec2d());
  const osg::Vec2d to = beyond();
  EXPECT_TRUE(drag(to));
  EXPECT_EQ(place(_box->_pointer._pushX, _box->_pointer._pushY), at);
  EXPECT_EQ(place(_box->_pointer._dragX, _box->_pointer._dragY), to);
  EXPECT_TRUE(release(to));
  EXPECT_EQ(place(_box->_pointer._pushX, _box->_pointer._pushY), osg::Vec2d());
  EXPECT_EQ(place(_box->_pointer._dragX, _box->_pointer._dragY), osg::Vec2d());
  EXPECT_EQ(_box->_pointer._pixelSize, 1.0);
  EXPECT_EQ(_box->_pointer._cameraToWorld, osg::Matrixd());
  expectIdle();
}

TEST_F(BoxCutterDrags, aPressKeepsWhereThePickCameraStands) {
  const osg::Vec3d eye(20.0, -18.0, 9.0);
  const osg::Vec3d aim(1.0, 2.0, 3.0);
  lookAt(eye, aim);
  ASSERT_TRUE(push(cone()));
  const osg::Matrixd& toWorld = _box->_pointer._cameraToWorld;
  osg::Vec3d forwards = aim - eye;
  forwards.normalize();
  EXPECT_LT((osg::Vec3d() * toWorld - eye).length(), 1e-9);
  EXPECT_LT((osg::Vec3d(0.0, 0.0, -1.0) * toWorld - eye - forwards).length(), 1e-9);
}

class BoxCutterPixelSize : public BoxCutterDrags {
 protected:
  static constexpr double kDistance = 42.0;

  // A manipulator at a distance of 42 from its centre; it moves no camera here.
  void useManipulator() {
    osg::ref_ptr<osgGA::OrbitManipulator> manipulator = new osgGA::OrbitManipulator;
    manipulator->setTransformation(osg::Vec3d(), osg::Vec3d(0.0, kDistance, 0.0), osg::Vec3d(0.0, 0.0, 1.0));
    _viewer->setCameraManipulator(manipulator, false);
  }

  double pixelSize() {
    EXPECT_TRUE(push(cone()));
    return _box->_pointer._pixelSize;
  }
};

TEST_F(BoxCutterPixelSize, inPerspectiveGoesByTheWholeFieldOfView) {
  useManipulator();
  usePerspective(50.0);
  EXPECT_NEAR(pixelSize(), std::tan(50.0 * kDegree) * kDistance / kHeight, 1e-9);
}

TEST_F(BoxCutterPixelSize, countsNoMoreThanSeventyFiveDegrees) {
  useManipulator();
  usePerspective(90.0);
  EXPECT_NEAR(pixelSize(), std::tan(75.0 * kDegree) * kDistance / kHeight, 1e-9);
}

TEST_F(BoxCutterPixelSize, inOrthographicProjectionIsTheDistanceOverThePixels) {
  useManipulator();
  useOrthographic();
  EXPECT_NEAR(pixelSize(), kDistance / kHeight, 1e-12);
}

TEST_F(BoxCutterPixelSize, usesTheSmallerSideOfThePickCamerasViewportInWholePixels) {
  useManipulator();
  osg::Camera& nested = putBelowNestedCamera();
  nested.setViewport(new osg::Viewport(0.0, 0.0, 500.75, 555.0));
  usePerspective(50.0);
  lookAtBoxFrom(osg::Vec3d(-15.0, -11.0, 7.0));
  EXPECT_NEAR(pixelSize(), std::tan(50.0 * kDegree) * kDistance / 500.0, 1e-9);
}

TEST_F(BoxCutterPixelSize, isOneWithoutAManipulatorThatHasACentre) {
  EXPECT_EQ(pixelSize(), 1.0);
  struct PlainManipulator : osgGA::CameraManipulator {
    void setByMatrix(const osg::Matrixd&) override {}
    void setByInverseMatrix(const osg::Matrixd&) override {}
    osg::Matrixd getMatrix() const override { return osg::Matrixd(); }
    osg::Matrixd getInverseMatrix() const override { return osg::Matrixd(); }
  };
  _viewer->setCameraManipulator(new PlainManipulator, false);
  EXPECT_EQ(pixelSize(), 1.0);
}

TEST_F(BoxCutterPixelSize, isOneWithoutAViewportOrWithAnEmptyOne) {
  useManipulator();
  settleHandles();
  const osg::Vec2d at = cone();
  for (osg::Viewport* viewport : {new osg::Viewport(0, 0, 0, kHeight), static_cast<osg::Viewport*>(nullptr)}) {
    viewCamera().setViewport(viewport);
    EXPECT_TRUE(send(*makeEvent(Event::PUSH, kLeft, kLeft, at)));
    EXPECT_EQ(_box->_pointer._pixelSize, 1.0);
  }
}

// Receives each mouse event after the scene.
class Witness : public osgGA::GUIEventHandler {
 public:
  using osgGA::GUIEventHandler::handle;
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter&) override {
    if (ea.getEventType() != osgGA::GUIEventAdapter::FRAME) {
      handled.push_back(ea.getHandled());
    }
    return false;
  }

  std::vector<bool> handled;
};

// Events reach the box as they do in a window: through its queue and the viewer's event traversal, which finds the
// camera below the pointer.
class BoxCutterDelivery : public BoxCutterDrags {
 protected:
  BoxCutterDelivery() {
    _window = _viewer->setUpViewerAsEmbeddedInWindow(0, 0, kWidth, kHeight);
    _window->getEventQueue()->getCurrentEventState()->setWindowRectangle(0, 0, kWidth, kHeight);
    _viewer->setKeyEventSetsDone(0);
    _viewer->addEventHandler(_witness);
    usePerspective();
    lookAtBoxFrom(osg::Vec3d(8.0, -20.0, 9.0));
  }

  osgGA::EventQueue& queue() { return *_window->getEventQueue(); }

  // The window's rows count down from the top.
  static float x(const osg::Vec2d& at) { return static_cast<float>(at.x()); }
  static float y(const osg::Vec2d& at) { return static_cast<float>(kHeight - 1 - at.y()); }

  std::vector<bool> deliver() {
    settleHandles();
    _witness->handled.clear();
    _viewer->advance();
    _viewer->eventTraversal();
    return _witness->handled;
  }

  osg::ref_ptr<osgViewer::GraphicsWindowEmbedded> _window;
  osg::ref_ptr<Witness> _witness = new Witness;
};

using Handled = std::vector<bool>;

TEST_F(BoxCutterDelivery, aWholeDragIsMarkedHandledAndMovesTheFace) {
  const Line line = outwards(kRightFace);
  const osg::Vec2d from = cone();
  const osg::Vec2d to = beyond();
  queue().mouseButtonPress(x(from), y(from), 1);
  EXPECT_EQ(deliver(), Handled({true}));
  queue().mouseMotion(x(to), y(to));
  EXPECT_EQ(deliver(), Handled({true}));
  queue().mouseButtonRelease(x(to), y(to), 1);
  EXPECT_EQ(deliver(), Handled({true}));
  queue().mouseMotion(x(from), y(from));
  EXPECT_EQ(deliver(), Handled({false}));
  const double dragged = nearestAlong(line, sightLine(to)) - nearestAlong(line, sightLine(from));
  EXPECT_NEAR(extents()[kRightFace], 3.0 + dragged, 2e-5);
}

TEST_F(BoxCutterDelivery, theEventsOfOneTraversalAreHandledInOrder) {
  queue().mouseButtonPress(x(cone()), y(cone()), 1);
  queue().mouseMotion(x(beyond()), y(beyond()));
  queue().mouseButtonRelease(x(beyond()), y(beyond()), 1);
  EXPECT_EQ(deliver(), Handled({true, true, true}));
  EXPECT_GT(extents()[kRightFace], 3.0f);
  expectIdle();
}

TEST_F(BoxCutterDelivery, ignoredEventsStayUnhandled) {
  queue().mouseButtonPress(5.0f, 5.0f, 1);
  queue().mouseMotion(60.0f, 5.0f);
  queue().mouseButtonRelease(60.0f, 5.0f, 1);
  queue().mouseButtonPress(x(cone()), y(cone()), 3);
  queue().mouseButtonRelease(x(cone()), y(cone()), 3);
  EXPECT_EQ(deliver(), Handled(5, false));
}

TEST_F(BoxCutterDelivery, aBoxThatHandlesNoEventsLeavesThemUnhandled) {
  for (const bool isOn : {false, true}) {
    _box->setHandleEvents(isOn);
    queue().mouseButtonPress(x(cone()), y(cone()), 1);
    queue().mouseButtonRelease(x(cone()), y(cone()), 1);
    EXPECT_EQ(deliver(), Handled(2, isOn));
  }
}

}  // namespace
}  // namespace QuorTests
