#include "support/ManipulatorFixture.h"

#include <osg/Math>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

using namespace QuorTests;

class SPointCloudManipulatorTest : public ManipulatorFixture {
 protected:
  /// Looks along +Y, level, with pitch and yaw as the setters give them.
  void pitchTo(double pitch, double yaw = 0.0) {
    _manipulator->setPitchWithYawQuat(osg::Quat(pitch, osg::X_AXIS), osg::Quat(yaw, osg::Z_AXIS));
    updateCamera();
  }

  void dragRightFrom(double x1, double y1, double x2, double y2) {
    push(kRight, x1, y1);
    drag(kRight, x2, y2);
  }

  /// The trackball's angle for a pointer distance over an extent, both in pixels, with the default ball size of 0.8.
  static double turnAngle(double pixels, double extent) { return std::asin(2.0 * pixels / extent / (2.0 * 0.8)); }

  /// Sets the orbit centre, with pivot and marker elsewhere.
  void expectAPressChangesNothingAt(const osg::Vec3d& center) {
    _manipulator->setCenter(center);
    _manipulator->_pivotPoint = osg::Vec3d(-1.0, -2.0, -3.0);
    _manipulator->_pivotIndicator->setPosition(osg::Vec3d(-4.0, -5.0, -6.0));
    const double distance = _manipulator->getDistance();
    EXPECT_TRUE(push(kRight, 100.0, 100.0));
    EXPECT_EQ(_manipulator->getCenter(), center);
    EXPECT_EQ(_manipulator->getDistance(), distance);
    EXPECT_EQ(_manipulator->_pivotPoint, osg::Vec3d(-1.0, -2.0, -3.0));
    EXPECT_EQ(_manipulator->_pivotIndicator->getPosition(), osg::Vec3d(-4.0, -5.0, -6.0));
  }

  void expectRotationIsPitchTimesYaw() {
    expectSameRotation(_manipulator->getRotation(), _manipulator->_pitchQuat * _manipulator->_yawQuat, 1e-12);
  }
};

TEST_F(SPointCloudManipulatorTest, isBuiltWithItsDefaults) {
  const osg::ref_ptr<OpenManipulator> fresh = new OpenManipulator(_viewer);
  expectSharedDefaults(*fresh);
  EXPECT_EQ(fresh->_initialRotation, osg::Quat());
}

TEST_F(SPointCloudManipulatorTest, theViewerIsObservedReplacedAndCleared) {
  osg::ref_ptr<osgViewer::Viewer> other = new osgViewer::Viewer;
  _manipulator->setOsgViewer(other);
  EXPECT_EQ(_manipulator->_osgViewer.get(), other.get());
  other = nullptr;
  EXPECT_FALSE(_manipulator->_osgViewer.valid());
  _manipulator->setOsgViewer(_viewer);
  _manipulator->setOsgViewer(nullptr);
  EXPECT_FALSE(_manipulator->_osgViewer.valid());
}

TEST_F(SPointCloudManipulatorTest, aCopyTakesEveryFieldAndSharesMarkerAndViewer) {
  lookAt(osg::Vec3d(1.0, 2.0, 3.0), osg::Vec3d(4.0, 5.0, 6.0));
  changeEveryField();
  _manipulator->setViewCenter(osg::Vec3d(7.0, 8.0, 9.0));
  const osg::ref_ptr<OpenManipulator> copy = new OpenManipulator(*_manipulator);
  expectCopyOfEveryField(*copy);
  EXPECT_EQ(copy->getViewCenter(), osg::Vec3d(7.0, 8.0, 9.0));
  EXPECT_EQ(copy->_initialRotation, _manipulator->_initialRotation);
  EXPECT_EQ(copy->_initialRotationAngle, _manipulator->_initialRotationAngle);
}

TEST_F(SPointCloudManipulatorTest, rotationFactorsOfOneAndTwoGiveTrackballSizesOfOneAndNineTenths) {
  _manipulator->setRotationFactor(1.0);
  EXPECT_DOUBLE_EQ(_manipulator->getTrackballSize(), 1.0);
  _manipulator->setRotationFactor(2.0);
  EXPECT_DOUBLE_EQ(_manipulator->getTrackballSize(), 0.9);
  EXPECT_EQ(_manipulator->getRotationFactor(), 2.0);
}

TEST_F(SPointCloudManipulatorTest, pitchAndYawSettersRecomputeTheRotationAtOnce) {
  const osg::Quat pitch(1.0, osg::X_AXIS);
  const osg::Quat yaw(0.5, osg::Z_AXIS);
  _manipulator->setPitchWithYawQuat(osg::Quat(), osg::Quat());
  _manipulator->setPitchQuat(pitch);
  expectSameRotation(_manipulator->getRotation(), pitch, 1e-12);
  _manipulator->setYawQuat(yaw);
  expectSameRotation(_manipulator->getRotation(), pitch * yaw, 1e-12);
  _manipulator->setPitchWithYawQuat(osg::Quat(0.25, osg::X_AXIS), osg::Quat(2.0, osg::Z_AXIS));
  expectSameRotation(_manipulator->getRotation(), osg::Quat(0.25, osg::X_AXIS) * osg::Quat(2.0, osg::Z_AXIS), 1e-12);
}

TEST_F(SPointCloudManipulatorTest, setTransformationByRotationLeavesPitchAndYawAtIdentity) {
  _manipulator->setPitchWithYawQuat(osg::Quat(1.0, osg::X_AXIS), osg::Quat(1.0, osg::Z_AXIS));
  const osg::Quat rotation(0.75, osg::X_AXIS);
  _manipulator->setTransformation(osg::Vec3d(1.0, 2.0, 3.0), rotation);
  EXPECT_EQ(_manipulator->getRotation(), rotation);
  EXPECT_EQ(_manipulator->_initialRotation, rotation);
  EXPECT_EQ(_manipulator->_pitchQuat, osg::Quat());
  EXPECT_EQ(_manipulator->_yawQuat, osg::Quat());
  EXPECT_NEAR(_manipulator->_initialRotationAngle, 0.75, 1e-12);
  expectNear(eye(), osg::Vec3d(1.0, 2.0, 3.0), 1e-12);
}

TEST_F(SPointCloudManipulatorTest, setTransformationByPointsPutsTheWholeRotationIntoThePitch) {
  _manipulator->setYawQuat(osg::Quat(1.0, osg::Z_AXIS));
  _manipulator->setTransformation(osg::Vec3d(0.0, -5.0, 0.0), osg::Vec3d(0.0, 0.0, 0.0), osg::Z_AXIS);
  const osg::Quat level(osg::PI / 2.0, osg::X_AXIS);
  expectSameRotation(_manipulator->getRotation(), level, 1e-12);
  expectSameRotation(_manipulator->_pitchQuat, level, 1e-12);
  expectSameRotation(_manipulator->_initialRotation, level, 1e-12);
  EXPECT_EQ(_manipulator->_yawQuat, osg::Quat());
  EXPECT_NEAR(_manipulator->_initialRotationAngle, osg::PI / 2.0, 1e-12);
  EXPECT_NEAR(_manipulator->getDistance(), 5.0, 1e-12);
}

TEST_F(SPointCloudManipulatorTest, withoutACaptureToolAPressMovesTheCentreToTheFootOfTheOriginsPerpendicular) {
  // Along +X past the origin at a height of 7: the foot is straight above the origin.
  lookAt(osg::Vec3d(-40.0, 0.0, 7.0), osg::Vec3d(-30.0, 0.0, 7.0));
  EXPECT_TRUE(push(kRight, 17.0, 23.0));
  expectNear(_manipulator->getCenter(), osg::Vec3d(0.0, 0.0, 7.0), 1e-9);
  expectNear(_manipulator->_pivotPoint, osg::Vec3d(0.0, 0.0, 7.0), 1e-9);
  EXPECT_NEAR(_manipulator->getDistance(), 40.0, 1e-9);
  expectNear(_manipulator->_pivotIndicator->getPosition(), osg::Vec3d(0.0, 0.0, 7.0), 1e-9);
  expectNear(eye(), osg::Vec3d(-40.0, 0.0, 7.0), 1e-9);
}

TEST_F(SPointCloudManipulatorTest, aDoubleClickMovesTheCentreAsAPressDoes) {
  lookAt(osg::Vec3d(-40.0, 0.0, 7.0), osg::Vec3d(-30.0, 0.0, 7.0));
  EXPECT_TRUE(doubleClick(kRight, 17.0, 23.0));
  expectNear(_manipulator->getCenter(), osg::Vec3d(0.0, 0.0, 7.0), 1e-9);
}

TEST_F(SPointCloudManipulatorTest, theLeftButtonAloneIsLeftToTheApplication) {
  const osg::Matrixd before = _manipulator->getMatrix();
  _manipulator->setViewCenter(osg::Vec3d(1.0, 2.0, 3.0));
  EXPECT_FALSE(push(kLeft, 100.0, 100.0));
  EXPECT_FALSE(doubleClick(kLeft, 100.0, 100.0));
  EXPECT_FALSE(drag(kLeft, 300.0, 200.0));
  EXPECT_FALSE(release(kLeft, 300.0, 200.0));
  EXPECT_EQ(_manipulator->getMatrix(), before);
  EXPECT_EQ(_manipulator->getViewCenter(), osg::Vec3d(1.0, 2.0, 3.0));
  EXPECT_FALSE(isMarkerShown());
}

TEST_F(SPointCloudManipulatorTest, theLeftButtonTogetherWithAnotherIsNotLeftToTheApplication) {
  EXPECT_TRUE(push(kLeft | kRight, 100.0, 100.0));
  EXPECT_TRUE(drag(kLeft | kRight, 110.0, 100.0));
}

TEST_F(SPointCloudManipulatorTest, aHorizontalDragYawsAboutTheVertical) {
  pitchTo(osg::PI / 2.0);
  push(kRight, 400.0, 300.0);
  drag(kRight, 440.0, 300.0);
  // A drag to the right: the scene rotates with the pointer, the eye moves to the left, clockwise seen from above.
  const double angle = turnAngle(40.0, kWidth);
  expectSameRotation(_manipulator->_yawQuat, osg::Quat(-angle, osg::Z_AXIS), 1e-6);
  expectSameRotation(_manipulator->_pitchQuat, osg::Quat(osg::PI / 2.0, osg::X_AXIS), 1e-6);
  expectRotationIsPitchTimesYaw();
}

TEST_F(SPointCloudManipulatorTest, anUpwardDragPitchesUp) {
  pitchTo(1.0);
  push(kRight, 400.0, 300.0);
  drag(kRight, 400.0, 330.0);
  EXPECT_NEAR(angleOf(_manipulator->_pitchQuat), 1.0 + turnAngle(30.0, kHeight), 1e-6);
  drag(kRight, 400.0, 300.0);
  EXPECT_NEAR(angleOf(_manipulator->_pitchQuat), 1.0, 1e-6);
  EXPECT_EQ(_manipulator->_yawQuat, osg::Quat());
}

TEST_F(SPointCloudManipulatorTest, theRotationFactorMultipliesTheAngles) {
  pitchTo(1.0);
  _manipulator->setRotationFactor(2.0);
  push(kRight, 400.0, 300.0);
  drag(kRight, 440.0, 330.0);
  // The ball size is now 0.9: the sine is half the distance over it.
  const double yaw = 2.0 * std::asin(0.1 / 1.8);
  const double pitch = 2.0 * std::asin(0.1 / 1.8);
  expectSameRotation(_manipulator->_yawQuat, osg::Quat(-yaw, osg::Z_AXIS), 1e-6);
  EXPECT_NEAR(angleOf(_manipulator->_pitchQuat), 1.0 + pitch, 1e-6);
}

TEST_F(SPointCloudManipulatorTest, aRotationKeepsCentreAndDistance) {
  push(kRight, 400.0, 300.0);
  const osg::Vec3d center = _manipulator->getCenter();
  const double distance = _manipulator->getDistance();
  drag(kRight, 500.0, 350.0);
  EXPECT_EQ(_manipulator->getCenter(), center);
  EXPECT_EQ(_manipulator->getDistance(), distance);
}

TEST_F(SPointCloudManipulatorTest, anUpwardDragNeverPitchesBeyondStraightUp) {
  pitchTo(3.1);
  dragRightFrom(400.0, 100.0, 400.0, 400.0);
  EXPECT_NEAR(angleOf(_manipulator->_pitchQuat), osg::PI, 1e-9);
}

TEST_F(SPointCloudManipulatorTest, pitchDropsToStraightDownWhenADragDownWouldIncreaseIt) {
  pitchTo(0.01);
  dragRightFrom(400.0, 400.0, 400.0, 300.0);
  EXPECT_EQ(angleOf(_manipulator->_pitchQuat), 0.0);
}

TEST_F(SPointCloudManipulatorTest, aDownwardDragNeverIncreasesThePitchAngle) {
  std::mt19937 random(12);
  std::uniform_real_distribution<double> pitch(0.0, osg::PI);
  std::uniform_real_distribution<double> y(1.0, kHeight - 1.0);
  for (int i = 0; i < 1000; ++i) {
    const double before = pitch(random);
    const double one = y(random);
    const double other = y(random);
    pitchTo(before);
    dragRightFrom(400.0, std::max(one, other), 400.0, std::min(one, other));
    ASSERT_LE(angleOf(_manipulator->_pitchQuat), before + 1e-9);
  }
}

TEST_F(SPointCloudManipulatorTest, aNanRotationFactorRotatesNothing) {
  pitchTo(1.0, 0.5);
  const osg::Quat before = _manipulator->getRotation();
  for (const double factor : {std::nan(""), HUGE_VAL}) {
    for (const bool isStation : {false, true}) {
      _manipulator->setRotationFactor(factor);
      _manipulator->setStationModel(isStation);
      push(kRight, 300.0, 200.0);
      const osg::Vec3d centre = _manipulator->getCenter();
      drag(kRight, 400.0, 220.0);
      drag(kRight, 500.0, 250.0);
      EXPECT_EQ(_manipulator->getRotation(), before);
      EXPECT_EQ(_manipulator->getCenter(), centre);
    }
  }
}

TEST_F(SPointCloudManipulatorTest, rotationIsPitchTimesYawAndPitchStaysWithinItsLimitsAfterAnySequenceOfEvents) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> x(0.0, kWidth);
  std::uniform_real_distribution<double> y(0.0, kHeight);
  std::uniform_int_distribution<int> choice(0, 7);
  pitchTo(1.0, 0.5);
  for (int i = 0; i < 5000; ++i) {
    switch (choice(random)) {
      case 0:
        push(kRight, x(random), y(random));
        break;
      case 1:
        push(kMiddle, x(random), y(random));
        break;
      case 2:
        drag(kMiddle, x(random), y(random));
        break;
      case 3:
        release(kRight, x(random), y(random));
        break;
      case 4:
        scroll(i % 2 == 0 ? Event::SCROLL_UP : Event::SCROLL_DOWN, x(random), y(random));
        break;
      default:
        drag(kRight, x(random), y(random));
    }
    updateCamera();
    expectRotationIsPitchTimesYaw();
    ASSERT_LE(angleOf(_manipulator->_pitchQuat), osg::PI + 1e-9);
    ASSERT_NEAR(_manipulator->_yawQuat.length(), 1.0, 1e-9);
  }
}

TEST_F(SPointCloudManipulatorTest, aDragWithoutAnEventBeforeItDoesNotTurn) {
  const osg::Quat before = _manipulator->getRotation();
  EXPECT_TRUE(drag(kRight, 100.0, 100.0));
  EXPECT_EQ(_manipulator->getRotation(), before);
}

TEST_F(SPointCloudManipulatorTest, theRotationStepWithoutRecordedEventsReturnsFalse) {
  EXPECT_FALSE(_manipulator->performNormalMovementRightMouseButton(0.1, 0.1, 0.1));
  EXPECT_FALSE(_manipulator->performStationMovementRightMouseButton(0.1, 0.1, 0.1));
  EXPECT_FALSE(_manipulator->performNormalMovementMiddleMouseButton(0.1, 0.1, 0.1));
}

TEST_F(SPointCloudManipulatorTest, aPressWithTheEyeInTheOrbitCentreChangesNothing) {
  lookAt(osg::Vec3d(3.0, 4.0, 5.0), osg::Vec3d(3.0, 5.0, 5.0));
  expectAPressChangesNothingAt(osg::Vec3d(3.0, 4.0, 5.0));
}

TEST_F(SPointCloudManipulatorTest, aPressWithAnOrbitCentreThatIsNotFiniteChangesNothing) {
  lookAt(osg::Vec3d(3.0, 4.0, 5.0), osg::Vec3d(3.0, 5.0, 5.0));
  expectAPressChangesNothingAt(osg::Vec3d(HUGE_VAL, 4.0, 5.0));
}

TEST_F(SPointCloudManipulatorTest, aPressWithoutAViewportChangesNothing) {
  camera().setViewport(nullptr);
  expectAPressChangesNothingAt(osg::Vec3d(0.0, 10.0, 0.0));
}

TEST_F(SPointCloudManipulatorTest, aPressOverAnEmptyViewportMovesTheCentreToTheFootOfTheOriginsPerpendicular) {
  const std::vector<osg::Vec2d> sizes{
      {0.0, 0.0}, {kWidth, 0.0}, {0.0, kHeight}, {-2.0, kHeight}, {std::nan(""), kHeight}};
  for (const osg::Vec2d& size : sizes) {
    camera().setViewport(new osg::Viewport(0.0, 0.0, size.x(), size.y()));
    lookAt(osg::Vec3d(-40.0, 0.0, 7.0), osg::Vec3d(-30.0, 0.0, 7.0));
    EXPECT_TRUE(push(kRight, 17.0, 23.0));
    const osg::Vec3d foot(0.0, 0.0, 7.0);
    expectNear(_manipulator->getCenter(), foot, 1e-9);
    expectNear(_manipulator->_pivotPoint, foot, 1e-9);
    EXPECT_NEAR(_manipulator->getDistance(), 40.0, 1e-9);
    expectNear(_manipulator->_pivotIndicator->getPosition(), foot, 1e-9);
  }
}

TEST_F(SPointCloudManipulatorTest, theTrackballHelpersTurnInTheirPlanesWithoutADepth) {
  osg::Vec3d axis;
  float angle = 0.0f;
  osg::Quat none;
  _manipulator->trackXYball(axis, angle, none, 0.0f, 0.5f, 0.4f, 0.5f);
  expectNear(axis, osg::Z_AXIS, 1e-9);
  EXPECT_NEAR(angle, std::asin(0.4 / 1.6), 1e-6);
  _manipulator->trackYZball(axis, angle, none, 0.5f, 0.0f, 0.5f, 0.4f);
  expectNear(axis, osg::X_AXIS, 1e-9);
  EXPECT_NEAR(angle, std::asin(0.4 / 1.6), 1e-6);
}

}  // namespace
