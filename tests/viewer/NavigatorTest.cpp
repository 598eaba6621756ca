#include "support/Near.h"
#include "viewer/navigate/Navigator.h"

#include <osg/Group>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using namespace QuorViewer;
using QuorTests::expectNear;

const osg::Vec3d kXAxis(1.0, 0.0, 0.0);
const osg::Vec3d kZAxis(0.0, 0.0, 1.0);
const osg::Quat kLevel(1.57079632679489662, kXAxis);  // along +Y

void expectSameView(const osg::Matrixd& actual, const osg::Matrixd& expected) {
  for (int element = 0; element < 16; ++element) {
    EXPECT_NEAR(actual.ptr()[element], expected.ptr()[element], 1e-9) << "element " << element;
  }
}

class NavigatorTest : public testing::Test {
 protected:
  NavigatorTest() : _navigator(*_viewer) {
    _viewer->getCamera()->setViewport(0, 0, 800, 600);
    _viewer->getCamera()->setProjectionMatrixAsPerspective(30.0, 4.0 / 3.0, 1.0, 1000.0);
    _navigator.setPose({osg::Vec3d(10.0, 20.0, 5.0), 60.0, osg::Quat(1.0, kXAxis) * osg::Quat(0.7, kZAxis)});
  }

  osg::Matrixd view() { return _navigator.manipulator().getInverseMatrix(); }

  void send(osgGA::GUIEventAdapter::EventType type, int buttons, float x, float y,
            osgGA::GUIEventAdapter::ScrollingMotion motion = osgGA::GUIEventAdapter::SCROLL_NONE) {
    osg::ref_ptr<osgGA::GUIEventAdapter> event = new osgGA::GUIEventAdapter;
    event->setEventType(type);
    event->setButtonMask(buttons);
    event->setInputRange(0.0f, 0.0f, 800.0f, 600.0f);
    event->setMouseYOrientation(osgGA::GUIEventAdapter::Y_INCREASING_UPWARDS);
    event->setX(x);
    event->setY(y);
    event->setScrollingMotion(motion);
    event->setTime(_time += 0.01);
    _viewer->getCameraManipulator()->handle(*event, *_viewer);
    _viewer->getCameraManipulator()->updateCamera(*_viewer->getCamera());
  }

  void rightDrag(float x, float y) {
    constexpr int kRight = osgGA::GUIEventAdapter::RIGHT_MOUSE_BUTTON;
    send(osgGA::GUIEventAdapter::PUSH, kRight, 400.0f, 300.0f);
    send(osgGA::GUIEventAdapter::DRAG, kRight, x, y);
    send(osgGA::GUIEventAdapter::RELEASE, 0, x, y);
  }

  osg::ref_ptr<osg::Group> _scene = new osg::Group;
  osg::ref_ptr<osgViewer::Viewer> _viewer = new osgViewer::Viewer;
  Navigator _navigator;
  double _time = 1.0;
};

TEST_F(NavigatorTest, swappingTheManipulatorDuringADragRemovesThePivotMarker) {
  constexpr int kRight = osgGA::GUIEventAdapter::RIGHT_MOUSE_BUTTON;
  _viewer->setSceneData(_scene);
  send(osgGA::GUIEventAdapter::PUSH, kRight, 400.0f, 300.0f);
  send(osgGA::GUIEventAdapter::DRAG, kRight, 410.0f, 300.0f);
  ASSERT_EQ(_scene->getNumChildren(), 1U) << "the marker shows";
  _navigator.swap();
  send(osgGA::GUIEventAdapter::RELEASE, 0, 410.0f, 300.0f);
  EXPECT_EQ(_scene->getNumChildren(), 0U);
}

TEST_F(NavigatorTest, swappingTheManipulatorDuringAPanKeepsTheView) {
  constexpr int kMiddle = osgGA::GUIEventAdapter::MIDDLE_MOUSE_BUTTON;
  const osg::Matrixd start = view();
  send(osgGA::GUIEventAdapter::PUSH, kMiddle, 400.0f, 300.0f);
  send(osgGA::GUIEventAdapter::DRAG, kMiddle, 450.0f, 320.0f);
  const osg::Matrixd panned = view();
  ASSERT_GT((panned.getTrans() - start.getTrans()).length(), 1.0);
  _navigator.swap();
  expectSameView(view(), panned);
}

TEST_F(NavigatorTest, startsAboutTheMiddleWithItsManipulatorInstalled) {
  EXPECT_FALSE(_navigator.rotatesAboutPointer());
  EXPECT_FALSE(_navigator.isAtStation());
  EXPECT_EQ(_viewer->getCameraManipulator(), &_navigator.manipulator());
}

TEST_F(NavigatorTest, swappingInstallsTheOtherManipulatorAndKeepsTheView) {
  const osgGA::CameraManipulator* first = _viewer->getCameraManipulator();
  const osg::Matrixd before = view();
  _navigator.swap();
  EXPECT_TRUE(_navigator.rotatesAboutPointer());
  EXPECT_NE(_viewer->getCameraManipulator(), first);
  EXPECT_EQ(_viewer->getCameraManipulator(), &_navigator.manipulator());
  expectSameView(view(), before);
  _navigator.swap();
  EXPECT_EQ(_viewer->getCameraManipulator(), first);
  expectSameView(view(), before);
}

TEST_F(NavigatorTest, swappingKeepsAnyViewAndTheNextSmallRotationIsSmall) {
  constexpr unsigned int kSeed = 3;
  std::mt19937 random(kSeed);
  std::uniform_real_distribution<double> angle(-3.0, 3.0);
  for (int round = 0; round < 200; ++round) {
    _navigator.setPose(
        {osg::Vec3d(angle(random), angle(random), angle(random)), 50.0,
         osg::Quat(angle(random), kXAxis, angle(random), osg::Vec3d(0.0, 1.0, 0.0), angle(random), kZAxis)});
    const osg::Matrixd before = view();
    _navigator.swap();
    expectSameView(view(), before);
    const osg::Vec3d ahead = _navigator.pose().direction();
    send(osgGA::GUIEventAdapter::PUSH, osgGA::GUIEventAdapter::RIGHT_MOUSE_BUTTON, 400.0f, 300.0f);
    send(osgGA::GUIEventAdapter::DRAG, osgGA::GUIEventAdapter::RIGHT_MOUSE_BUTTON, 402.0f, 302.0f);
    EXPECT_GT(_navigator.pose().direction() * ahead, 0.99) << "the view jumped in round " << round;
  }
}

TEST_F(NavigatorTest, swappingKeepsViewsStraightDownAndStraightUp) {
  for (const double pitch : {0.0, 3.14159265358979323846}) {
    _navigator.setPose({osg::Vec3d(), 50.0, osg::Quat(pitch, kXAxis) * osg::Quat(0.4, kZAxis)});
    const osg::Matrixd before = view();
    _navigator.swap();
    expectSameView(view(), before);
  }
}

TEST_F(NavigatorTest, enteringAStationMovesTheEyeAndTurnsTheView) {
  const osg::Vec3d station(-4.0, 7.0, 1.5);
  _navigator.enterStation(station, kLevel);
  EXPECT_TRUE(_navigator.isAtStation());
  expectNear(_navigator.pose().eye(), station, 1e-9);
  expectNear(_navigator.pose().direction(), osg::Vec3d(0.0, 1.0, 0.0), 1e-9);
}

TEST_F(NavigatorTest, atAStationTheViewRotatesAndTheEyeStaysForBothManipulators) {
  const osg::Vec3d station(-4.0, 7.0, 1.5);
  for (int round = 0; round < 2; ++round) {
    _navigator.enterStation(station, kLevel);
    const osg::Vec3d ahead = _navigator.pose().direction();
    rightDrag(520.0f, 340.0f);
    expectNear(_navigator.pose().eye(), station, 1e-4);
    EXPECT_LT(_navigator.pose().direction() * ahead, 0.999);
    _navigator.leaveStation();
    _navigator.swap();
  }
}

TEST_F(NavigatorTest, leavingAStationKeepsTheRotatedView) {
  _navigator.enterStation(osg::Vec3d(-4.0, 7.0, 1.5), kLevel);
  rightDrag(520.0f, 440.0f);
  const osg::Matrixd before = view();
  _navigator.leaveStation();
  EXPECT_FALSE(_navigator.isAtStation());
  expectSameView(view(), before);
}

TEST_F(NavigatorTest, swappingAtAStationStaysThere) {
  const osg::Vec3d station(-4.0, 7.0, 1.5);
  _navigator.enterStation(station, kLevel);
  _navigator.swap();
  EXPECT_TRUE(_navigator.isAtStation());
  rightDrag(520.0f, 340.0f);
  expectNear(_navigator.pose().eye(), station, 1e-4);
}

TEST_F(NavigatorTest, atAStationTheWheelChangesTheFieldOfViewOnly) {
  _navigator.enterStation(osg::Vec3d(-4.0, 7.0, 1.5), kLevel);
  const osg::Matrixd before = view();
  send(osgGA::GUIEventAdapter::SCROLL, 0, 400.0f, 300.0f, osgGA::GUIEventAdapter::SCROLL_UP);
  double degrees = 0.0, aspectRatio = 0.0, nearPlane = 0.0, farPlane = 0.0;
  _viewer->getCamera()->getProjectionMatrixAsPerspective(degrees, aspectRatio, nearPlane, farPlane);
  EXPECT_NEAR(degrees, 22.5, 1e-9);
  expectSameView(view(), before);
}

}  // namespace
