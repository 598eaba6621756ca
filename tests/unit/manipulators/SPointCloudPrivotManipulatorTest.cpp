#include "support/ManipulatorFixture.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace {

using namespace QuorTests;

/// Without a capture tool a press picks the world's origin. The camera looks past it, so that the pivot differs from
/// the orbit centre.
class SPointCloudPrivotManipulatorTest : public PivotManipulatorFixture {
 protected:
  SPointCloudPrivotManipulatorTest() { lookAt(osg::Vec3d(30.0, -100.0, 40.0), osg::Vec3d(5.0, 10.0, 15.0)); }

  double distanceToPivot() { return (eye() - _manipulator->_pivotPoint).length(); }

  /// The angle of the smallest rotation between two orientations.
  static double angleBetween(const osg::Quat& from, const osg::Quat& to) {
    return 2.0 * std::acos(std::min(std::abs(from.asVec4() * to.asVec4()), 1.0));
  }
};

TEST_F(SPointCloudPrivotManipulatorTest, isBuiltWithItsDefaults) {
  const osg::ref_ptr<OpenPivotManipulator> fresh = new OpenPivotManipulator(_viewer);
  expectSharedDefaults(*fresh);
  EXPECT_EQ(fresh->_pivotIndicator->getNumChildren(), 3U);
}

TEST_F(SPointCloudPrivotManipulatorTest, aCopyTakesEveryFieldAndSharesMarkerAndViewer) {
  changeEveryField();
  const osg::ref_ptr<OpenPivotManipulator> copy = new OpenPivotManipulator(*_manipulator);
  expectCopyOfEveryField(*copy);
}

TEST_F(SPointCloudPrivotManipulatorTest, setTransformationIsTheOrbitManipulatorsOwnAndLeavesPitchAndYaw) {
  const osg::Quat pitch(0.4, osg::X_AXIS);
  const osg::Quat yaw(0.3, osg::Z_AXIS);
  _manipulator->setPitchWithYawQuat(pitch, yaw);
  lookAt(osg::Vec3d(0.0, -50.0, 0.0), osg::Vec3d());
  EXPECT_EQ(_manipulator->_pitchQuat, pitch);
  EXPECT_EQ(_manipulator->_yawQuat, yaw);
  _manipulator->setTransformation(osg::Vec3d(0.0, 0.0, 9.0), osg::Quat(0.7, osg::Z_AXIS));
  EXPECT_EQ(_manipulator->_pitchQuat, pitch);
  EXPECT_EQ(_manipulator->_yawQuat, yaw);
  expectSameRotation(_manipulator->getRotation(), osg::Quat(0.7, osg::Z_AXIS), 1e-12);
}

TEST_F(SPointCloudPrivotManipulatorTest, aPressMovesPivotAndMarkerButNotTheOrbitCentre) {
  _manipulator->_pivotPoint = osg::Vec3d(1.0, 2.0, 3.0);
  _manipulator->_pivotIndicator->setPosition(osg::Vec3d(1.0, 2.0, 3.0));
  const osg::Matrixd view = _manipulator->getMatrix();
  const osg::Vec3d centre = _manipulator->getCenter();
  EXPECT_TRUE(push(kRight, 400.0, 300.0));
  EXPECT_EQ(_manipulator->_pivotPoint, osg::Vec3d());
  EXPECT_EQ(_manipulator->_pivotIndicator->getPosition(), osg::Vec3d());
  EXPECT_EQ(_manipulator->getCenter(), centre);
  EXPECT_EQ(_manipulator->getMatrix(), view);
}

TEST_F(SPointCloudPrivotManipulatorTest, aDoubleClickPicksAsAPressDoes) {
  _manipulator->_pivotPoint = osg::Vec3d(1.0, 2.0, 3.0);
  EXPECT_TRUE(doubleClick(kRight, 400.0, 300.0));
  EXPECT_EQ(_manipulator->_pivotPoint, osg::Vec3d());
}

TEST_F(SPointCloudPrivotManipulatorTest, aPressOnAViewerWithoutACameraLeavesThePivot) {
  _manipulator->_pivotPoint = osg::Vec3d(1.0, 2.0, 3.0);
  const osg::ref_ptr<osg::Camera> camera = _viewer->getCamera();
  _viewer->setCamera(nullptr);
  push(kRight, 400.0, 300.0);
  EXPECT_EQ(_manipulator->_pivotPoint, osg::Vec3d(1.0, 2.0, 3.0));
  _viewer->setCamera(camera);
}

TEST_F(SPointCloudPrivotManipulatorTest, aPressNeedsNoViewport) {
  _manipulator->_pivotPoint = osg::Vec3d(1.0, 2.0, 3.0);
  camera().setViewport(nullptr);
  EXPECT_TRUE(push(kRight, 400.0, 300.0));
  EXPECT_EQ(_manipulator->_pivotPoint, osg::Vec3d());
}

TEST_F(SPointCloudPrivotManipulatorTest, aPressOnAViewThatIsNoViewerLeavesThePivot) {
  _manipulator->_pivotPoint = osg::Vec3d(1.0, 2.0, 3.0);
  const osg::ref_ptr<osgViewer::View> view = new osgViewer::View;
  _manipulator->handle(*makeEvent(Event::PUSH, kRight, 400.0, 300.0), *view);
  EXPECT_EQ(_manipulator->_pivotPoint, osg::Vec3d(1.0, 2.0, 3.0));
}

TEST_F(SPointCloudPrivotManipulatorTest, theLeftButtonAloneIsLeftToTheApplication) {
  _manipulator->_pivotPoint = osg::Vec3d(1.0, 2.0, 3.0);
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_FALSE(push(kLeft, 400.0, 300.0));
  EXPECT_FALSE(drag(kLeft, 470.0, 340.0));
  EXPECT_FALSE(release(kLeft, 470.0, 340.0));
  EXPECT_EQ(_manipulator->_pivotPoint, osg::Vec3d(1.0, 2.0, 3.0));
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(SPointCloudPrivotManipulatorTest, aRightDragShowsTheMarkerAtThePivotAndTheReleaseHidesIt) {
  push(kRight, 400.0, 300.0);
  EXPECT_FALSE(isMarkerShown());
  EXPECT_TRUE(drag(kRight, 470.0, 340.0));
  EXPECT_TRUE(isMarkerShown());
  EXPECT_FALSE(release(kRight, 470.0, 340.0));
  EXPECT_FALSE(isMarkerShown());
}

TEST_F(SPointCloudPrivotManipulatorTest, anyDragKeepsTheEyesDistanceAndThePivotsPlaceInTheWindow) {
  constexpr unsigned int kSeed = 7;
  std::mt19937 random(kSeed);
  std::uniform_real_distribution<double> x(0.0, kWidth), y(0.0, kHeight);
  push(kRight, 400.0, 300.0);
  const double distance = distanceToPivot();
  const osg::Vec3d place = toWindow(_manipulator->_pivotPoint);
  for (int move = 0; move < 200; ++move) {
    const osg::Quat before = _manipulator->getRotation();
    EXPECT_TRUE(drag(kRight, x(random), y(random)));
    EXPECT_GT(angleBetween(before, _manipulator->getRotation()), 1e-3);
    // The trackball's axis and angle have single precision; the errors add up over the moves.
    EXPECT_NEAR(distanceToPivot(), distance, 1e-3 * distance);
    EXPECT_NEAR((toWindow(_manipulator->_pivotPoint) - place).length(), 0.0, 1.0) << "after move " << move;
  }
}

TEST_F(SPointCloudPrivotManipulatorTest, viewAndOrbitCentreTurnByTheTrackballsAngle) {
  constexpr double kBall = 0.8;
  _manipulator->setTrackballSize(kBall);
  lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d(0.0, -20.0, 0.0));
  const osg::Quat before = _manipulator->getRotation();
  push(kRight, 400.0, 300.0);
  drag(kRight, 440.0, 300.0);
  // From the middle to a tenth of the half window, both projected onto the ball; the sine of the angle is half their
  // distance over the ball's radius.
  const osg::Vec2d from(0.0, kBall);
  const osg::Vec2d to(0.1, std::sqrt(kBall * kBall - 0.1 * 0.1));
  const double angle = std::asin((to - from).length() / (2.0 * kBall));
  EXPECT_NEAR(angleBetween(before, _manipulator->getRotation()), angle, 1e-4);
  // The scene follows the pointer to the right: eye and orbit centre move left about the pivot, the origin.
  const osg::Vec3d left(-std::sin(angle), -std::cos(angle), 0.0);
  expectNear(_manipulator->getCenter(), left * 20.0, 1e-3);
  expectNear(eye(), left * 100.0, 1e-2);
}

TEST_F(SPointCloudPrivotManipulatorTest, pitchAndYawAreNotTouched) {
  _manipulator->setPitchWithYawQuat(osg::Quat(1.2, osg::X_AXIS), osg::Quat(0.5, osg::Z_AXIS));
  push(kRight, 400.0, 300.0);
  EXPECT_TRUE(drag(kRight, 470.0, 340.0));
  EXPECT_EQ(_manipulator->_pitchQuat, osg::Quat(1.2, osg::X_AXIS));
  EXPECT_EQ(_manipulator->_yawQuat, osg::Quat(0.5, osg::Z_AXIS));
  EXPECT_GT(angleBetween(osg::Quat(1.2, osg::X_AXIS) * osg::Quat(0.5, osg::Z_AXIS), _manipulator->getRotation()), 1e-3);
  _manipulator->setYawQuat(osg::Quat(0.5, osg::Z_AXIS));
  expectSameRotation(_manipulator->getRotation(), osg::Quat(1.2, osg::X_AXIS) * osg::Quat(0.5, osg::Z_AXIS), 1e-12);
}

TEST_F(SPointCloudPrivotManipulatorTest, thePitchIsNotLimited) {
  lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
  double lowestUp = 1.0;
  for (int move = 0; move < 60; ++move) {
    push(kRight, 400.0, 300.0);
    drag(kRight, 400.0, 240.0);
    lowestUp = std::min(lowestUp, (_manipulator->getRotation() * osg::Vec3d(0.0, 1.0, 0.0)).z());
  }
  EXPECT_LT(lowestUp, -0.5) << "the view never went over the top";
}

TEST_F(SPointCloudPrivotManipulatorTest, theRotationFactorActsThroughTheTrackballsSizeOnly) {
  _manipulator->setRotationFactor(2.0);
  EXPECT_DOUBLE_EQ(_manipulator->getTrackballSize(), 0.9);
  push(kRight, 400.0, 300.0);
  const osg::Quat rotation = _manipulator->getRotation();
  const osg::Vec3d view = _manipulator->_pivotPoint * _manipulator->getInverseMatrix();
  drag(kRight, 410.0, 300.0);
  EXPECT_GT(angleBetween(rotation, _manipulator->getRotation()), 1e-3);
  // The centre rotates by the same angle as the view, so the pivot keeps its position in the view.
  expectNear(_manipulator->_pivotPoint * _manipulator->getInverseMatrix(), view, 1e-3);
}

TEST_F(SPointCloudPrivotManipulatorTest, aNanRotationFactorRotatesNothing) {
  push(kRight, 400.0, 300.0);
  _manipulator->setRotationFactor(std::numeric_limits<double>::quiet_NaN());
  const osg::Matrixd before = _manipulator->getMatrix();
  drag(kRight, 470.0, 340.0);
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(SPointCloudPrivotManipulatorTest, theRotationStepWithoutRecordedEventsReturnsFalse) {
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_FALSE(_manipulator->performNormalMovementRightMouseButton(0.1, 0.1, 0.1));
  drag(kRight, 470.0, 340.0);
  EXPECT_FALSE(_manipulator->performNormalMovementRightMouseButton(0.1, 0.1, 0.1));
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(SPointCloudPrivotManipulatorTest, aDragThatDoesNotMoveChangesNothing) {
  push(kRight, 400.0, 300.0);
  const osg::Matrixd before = _manipulator->getMatrix();
  drag(kRight, 400.0, 300.0);
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(SPointCloudPrivotManipulatorTest, switchingStationModeInTheMiddleOfADragTurnsAboutThePickedPointToTheEnd) {
  _manipulator->setStationCenter(osg::Vec3f(200.0f, 0.0f, 0.0f));
  push(kRight, 400.0, 300.0);
  const double distance = distanceToPivot();
  for (const bool on : {true, false, true, false}) {
    _manipulator->setStationModel(on);
    EXPECT_TRUE(drag(kRight, on ? 470.0 : 400.0, 340.0));
    EXPECT_EQ(_manipulator->_pivotPoint, osg::Vec3d());
    EXPECT_NEAR(distanceToPivot(), distance, 1e-3);
  }
  _manipulator->setStationModel(true);
  EXPECT_FALSE(release(kRight, 470.0, 340.0));
  EXPECT_FALSE(isMarkerShown());
  push(kRight, 400.0, 300.0);
  EXPECT_EQ(_manipulator->_pivotPoint, osg::Vec3d(200.0, 0.0, 0.0));
}

/// The other manipulator on a viewer of its own, with the same camera, scene and events.
class SharedBehaviourTest : public SPointCloudPrivotManipulatorTest {
 protected:
  SharedBehaviourTest() {
    _otherViewer->setSceneData(new osg::Group);
    _otherViewer->getCamera()->setViewport(0, 0, kWidth, kHeight);
    _otherViewer->getCamera()->setComputeNearFarMode(osg::CullSettings::DO_NOT_COMPUTE_NEAR_FAR);
    _other = new OpenManipulator(_otherViewer);
    sameView();
  }

  void sameView() {
    _otherViewer->getCamera()->setProjectionMatrix(camera().getProjectionMatrix());
    osg::Vec3d centre, up, from;
    camera().getViewMatrixAsLookAt(from, centre, up);
    _other->setTransformation(eye(), _manipulator->getCenter(), up);
    _other->updateCamera(*_otherViewer->getCamera());
  }

  osg::Vec3d otherEye() const {
    return _other->getCenter() - _other->getRotation() * osg::Vec3d(0.0, 0.0, -1.0) * _other->getDistance();
  }

  void expectBothTake(Event& event) {
    const osg::ref_ptr<Event> copy = new Event(event);
    EXPECT_EQ(send(event), _other->handle(*copy, *_otherViewer));
    updateCamera();
    _other->updateCamera(*_otherViewer->getCamera());
    expectNear(otherEye(), eye(), 1e-6);
    expectSameRotation(_other->getRotation(), _manipulator->getRotation(), 1e-9);
    EXPECT_EQ(_other->_pivotIndicator->getNumParents(), _manipulator->_pivotIndicator->getNumParents());
    const osg::Matrixd& projection = camera().getProjectionMatrix();
    for (int element = 0; element < 16; ++element) {
      EXPECT_NEAR(_otherViewer->getCamera()->getProjectionMatrix().ptr()[element], projection.ptr()[element], 1e-9);
    }
  }

  void expectBothTake(Event::EventType type, int buttons, double x, double y) {
    expectBothTake(*makeEvent(type, buttons, x, y));
  }

  void expectBothScroll(Event::ScrollingMotion motion, double x, double y) {
    const osg::ref_ptr<Event> event = makeEvent(Event::SCROLL, 0, x, y);
    event->setScrollingMotion(motion);
    expectBothTake(*event);
  }

  void expectBothMove(int buttons) {
    const osg::Vec3d before = eye();
    const osg::Quat rotation = _manipulator->getRotation();
    expectBothDrag(buttons);
    EXPECT_GT((eye() - before).length() + angleBetween(rotation, _manipulator->getRotation()), 1e-3);
  }

  void expectBothDrag(int buttons) {
    expectBothTake(Event::PUSH, buttons, 400.0, 300.0);
    expectBothTake(Event::DRAG, buttons, 455.0, 330.0);
    expectBothTake(Event::DRAG, buttons, 340.0, 250.0);
    expectBothTake(Event::RELEASE, 0, 340.0, 250.0);
  }

  osg::ref_ptr<osgViewer::Viewer> _otherViewer = new osgViewer::Viewer;
  osg::ref_ptr<OpenManipulator> _other;
};

TEST_F(SharedBehaviourTest, bothZoomByTheWheelAlike) {
  expectBothScroll(Event::SCROLL_UP, 250.0, 420.0);
  expectBothScroll(Event::SCROLL_DOWN, 600.0, 100.0);
  useOrthographic(60.0);
  sameView();
  expectBothScroll(Event::SCROLL_UP, 250.0, 420.0);
  expectBothScroll(Event::SCROLL_DOWN, 600.0, 100.0);
  expectBothScroll(Event::SCROLL_LEFT, 600.0, 100.0);
}

TEST_F(SharedBehaviourTest, bothPanAlikeInBothProjections) {
  expectBothMove(kMiddle);
  useOrthographic(60.0);
  sameView();
  expectBothMove(kMiddle);
}

TEST_F(SharedBehaviourTest, bothLeaveTheLeftButtonAndRefuseALockedRightDrag) {
  expectBothDrag(kLeft);
  _manipulator->setLockPerspective(true);
  _other->setLockPerspective(true);
  expectBothDrag(kRight);
}

TEST_F(SharedBehaviourTest, bothGoHomeAlike) {
  for (osgViewer::Viewer* viewer : {_viewer.get(), _otherViewer.get()}) {
    osg::Group& scene = *viewer->getSceneData()->asGroup();
    scene.setInitialBound(osg::BoundingSphere(osg::Vec3(3.0f, 4.0f, 5.0f), 6.0f));
    scene.dirtyBound();
  }
  _manipulator->setNode(_viewer->getSceneData());
  _other->setNode(_otherViewer->getSceneData());
  const osg::ref_ptr<Event> event = makeEvent(Event::KEYDOWN, 0, 0.0, 0.0);
  event->setKey(Event::KEY_Space);
  const osg::Vec3d before = eye();
  expectBothTake(*event);
  EXPECT_GT((eye() - before).length(), 1.0);
}

TEST_F(SharedBehaviourTest, bothBehaveAlikeInStationMode) {
  for (QuorOsgUtils::PointCloudNavigation* manipulator :
       std::initializer_list<QuorOsgUtils::PointCloudNavigation*>{_manipulator, _other}) {
    manipulator->setStationCenter(osg::Vec3f(1.5f, 2.5f, 3.5f));
    manipulator->setStationModel(true);
    manipulator->setRotationFactor(2.0);
  }
  for (const int buttons : {kRight, kMiddle, kRight}) {
    expectBothMove(buttons);
    EXPECT_EQ(_manipulator->_pivotPoint, _other->_pivotPoint);
    expectNear(_manipulator->getCenter(), _other->getCenter(), 1e-9);
  }
  expectBothScroll(Event::SCROLL_UP, 250.0, 420.0);
  expectBothScroll(Event::SCROLL_DOWN, 250.0, 420.0);
  useOrthographic(60.0);
  sameView();
  expectBothScroll(Event::SCROLL_UP, 250.0, 420.0);
}

TEST_F(SharedBehaviourTest, withARotationFactorOfTwoAStationSwingsTwiceAsFarAsAPivot) {
  _other->setStationModel(true);
  const osg::Vec3d before = _manipulator->getCenter();
  ASSERT_LT((_other->getCenter() - before).length(), 1e-9);
  for (QuorOsgUtils::PointCloudNavigation* manipulator :
       std::initializer_list<QuorOsgUtils::PointCloudNavigation*>{_manipulator, _other}) {
    manipulator->setRotationFactor(2.0);
  }
  const osg::ref_ptr<Event> pushed = makeEvent(Event::PUSH, kRight, 400.0, 300.0);
  const osg::ref_ptr<Event> dragged = makeEvent(Event::DRAG, kRight, 420.0, 300.0);
  const osg::Quat rotation = _manipulator->getRotation();
  for (Event* event : {pushed.get(), dragged.get()}) {
    send(*event);
    _other->handle(*event, *_otherViewer);
  }
  // Both rotate about the origin and the axis of the view's rotation; the angle is measured perpendicular to that axis.
  osg::Vec3d axis;
  double turned = 0.0;
  (rotation.inverse() * _manipulator->getRotation()).getRotate(turned, axis);
  const auto swing = [&](const osg::Vec3d& after) {
    const osg::Vec3d from = before - axis * (before * axis);
    const osg::Vec3d to = after - axis * (after * axis);
    return std::acos(from * to / (from.length() * to.length()));
  };
  EXPECT_GT(swing(_manipulator->getCenter()), 1e-2);
  EXPECT_NEAR(swing(_other->getCenter()), 2.0 * swing(_manipulator->getCenter()), 1e-4);
}

TEST_F(SharedBehaviourTest, aRightDragTurnsThemDifferently) {
  const osg::ref_ptr<Event> pushed = makeEvent(Event::PUSH, kRight, 400.0, 300.0);
  const osg::ref_ptr<Event> dragged = makeEvent(Event::DRAG, kRight, 455.0, 380.0);
  for (Event* event : {pushed.get(), dragged.get()}) {
    EXPECT_TRUE(send(*event));
    EXPECT_TRUE(_other->handle(*event, *_otherViewer));
  }
  EXPECT_GT(angleBetween(_other->getRotation(), _manipulator->getRotation()), 1e-3);
}

}  // namespace
