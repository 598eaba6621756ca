#include "manipulators/Trackball.h"
#include "support/ManipulatorFixture.h"

#include <osg/Math>

#include <gtest/gtest.h>

#include <cmath>

namespace {

using QuorOsgUtils::AxisAngle;
using QuorOsgUtils::limitedPitch;
using QuorOsgUtils::trackballRotation;
using QuorOsgUtils::viewAxes;
using QuorOsgUtils::ViewAxes;
using QuorTests::angleOf;

const osg::Vec3d kXAxis(1.0, 0.0, 0.0);

TEST(TrackballTest, anUnrotatedViewLooksDown) {
  const ViewAxes axes = viewAxes(osg::Quat());
  EXPECT_EQ(axes.right, kXAxis);
  EXPECT_EQ(axes.up, osg::Vec3d(0.0, 1.0, 0.0));
  EXPECT_EQ(axes.ahead, osg::Vec3d(0.0, 0.0, -1.0));
}

TEST(TrackballTest, aPitchOfAQuarterTurnLooksAlongY) {
  const ViewAxes axes = viewAxes(osg::Quat(osg::PI / 2.0, kXAxis));
  EXPECT_NEAR((axes.up - osg::Vec3d(0.0, 0.0, 1.0)).length(), 0.0, 1e-12);
  EXPECT_NEAR((axes.ahead - osg::Vec3d(0.0, 1.0, 0.0)).length(), 0.0, 1e-12);
}

TEST(TrackballTest, theSineOfTheAngleIsHalfTheDistanceDividedByTheBallSize) {
  const AxisAngle rotation = trackballRotation(osg::Vec3d(0.0, 0.5, 0.0), osg::Vec3d(0.8, 0.5, 0.0), 0.8);
  EXPECT_NEAR(rotation.angle, std::asin(0.5), 1e-6);
  EXPECT_NEAR((rotation.axis - osg::Vec3d(0.0, 0.0, 1.0)).length(), 0.0, 1e-12);
}

TEST(TrackballTest, aDistanceLongerThanTheBallRotatesByNinetyDegrees) {
  EXPECT_NEAR(trackballRotation(osg::Vec3d(-2.0, 0.5, 0.0), osg::Vec3d(2.0, 0.5, 0.0), 0.8).angle, osg::PI / 2.0, 1e-6);
}

TEST(TrackballTest, zeroDistanceGivesNoRotation) {
  const AxisAngle rotation = trackballRotation(osg::Vec3d(0.3, 0.5, 0.0), osg::Vec3d(0.3, 0.5, 0.0), 0.8);
  EXPECT_EQ(rotation.angle, 0.0f);
  EXPECT_EQ(osg::Quat(rotation.angle, rotation.axis), osg::Quat());
}

TEST(TrackballTest, aDownwardDragThatWouldIncreaseThePitchMakesItStraightDown) {
  EXPECT_EQ(angleOf(limitedPitch(osg::Quat(0.2, -kXAxis), 0.1, 0.5f, 0.4f)), 0.0);
}

TEST(TrackballTest, anUpwardDragClampsThePitchToStraightUp) {
  const osg::Quat limited = limitedPitch(osg::Quat(3.3, kXAxis), 3.0, 0.4f, 0.5f);
  EXPECT_NEAR(angleOf(limited), osg::PI, 1e-12);
  EXPECT_NEAR((limited.asVec3() - kXAxis).length(), 0.0, 1e-12);
}

TEST(TrackballTest, aPitchBetweenTheLimitsIsKept) {
  const osg::Quat pitch(1.0, kXAxis);
  EXPECT_EQ(limitedPitch(pitch, 0.9, 0.4f, 0.5f), pitch);
  EXPECT_EQ(limitedPitch(pitch, 1.1, 0.5f, 0.4f), pitch);
  EXPECT_EQ(limitedPitch(pitch, 0.9, 0.5f, 0.5f), pitch);
}

}  // namespace
