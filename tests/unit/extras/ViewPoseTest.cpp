#include "support/ManipulatorFixture.h"

#include <QuorOsgUtils/ViewPose.h>

#include <osg/Math>

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace QuorOsgUtils;
using QuorTests::expectNear;

const osg::Vec3d kUp(0.0, 1.0, 0.0);

const ViewPose kOblique{osg::Vec3d(10.0, 20.0, 5.0), 60.0,
                        osg::Quat(1.0, osg::Vec3d(1.0, 0.0, 0.0)) * osg::Quat(0.7, osg::Vec3d(0.0, 0.0, 1.0))};

osg::Vec3d inView(const ViewPose& pose, const osg::Vec3d& world) {
  return pose.rotation.inverse() * (world - pose.eye());
}

TEST(ViewPoseTest, theEyeIsBehindTheCentre) {
  const ViewPose pose{osg::Vec3d(1.0, 2.0, 3.0), 5.0, rotationOf(ViewPreset::Front)};
  expectNear(pose.eye(), osg::Vec3d(1.0, -3.0, 3.0), 1e-12);
  expectNear(pose.direction(), osg::Vec3d(0.0, 1.0, 0.0), 1e-12);
}

struct PresetCase {
  ViewPreset preset;
  osg::Vec3d ahead;
  osg::Vec3d up;
};

TEST(ViewPoseTest, presetsLookAlongTheAxesOfTheWorld) {
  const double third = 1.0 / std::sqrt(3.0);
  const double sixth = 1.0 / std::sqrt(6.0);
  const PresetCase cases[] = {{ViewPreset::Top, {0.0, 0.0, -1.0}, {0.0, 1.0, 0.0}},
                              {ViewPreset::Bottom, {0.0, 0.0, 1.0}, {0.0, -1.0, 0.0}},
                              {ViewPreset::Front, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}},
                              {ViewPreset::Back, {0.0, -1.0, 0.0}, {0.0, 0.0, 1.0}},
                              {ViewPreset::Left, {1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}},
                              {ViewPreset::Right, {-1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}},
                              {ViewPreset::Isometric, {-third, third, -third}, {-sixth, sixth, 2.0 * sixth}}};
  for (const PresetCase& each : cases) {
    SCOPED_TRACE(static_cast<int>(each.preset));
    expectNear(rotationOf(each.preset) * osg::Vec3d(0.0, 0.0, -1.0), each.ahead, 1e-12);
    expectNear(rotationOf(each.preset) * kUp, each.up, 1e-12);
  }
}

TEST(ViewPoseTest, aPoseIsRestoredOnAnyManipulatorAndTheNextTurnContinuesFromIt) {
  const osg::ref_ptr<SPointCloudManipulator> manipulator = new SPointCloudManipulator(nullptr);
  setPose(*manipulator, kOblique);
  const ViewPose stored = poseOf(*manipulator);
  expectNear(stored.centre, kOblique.centre, 0.0);
  EXPECT_EQ(stored.distance, kOblique.distance);
  QuorTests::expectSameRotation(stored.rotation, kOblique.rotation, 1e-9);
  const PitchAndYaw parts = pitchAndYawOf(kOblique.rotation);
  manipulator->setYawQuat(parts.yaw);
  QuorTests::expectSameRotation(poseOf(*manipulator).rotation, kOblique.rotation, 1e-9);
}

TEST(ViewPoseTest, pitchAndYawMultiplyToTheRotation) {
  const PitchAndYaw parts = pitchAndYawOf(kOblique.rotation);
  QuorTests::expectSameRotation(parts.pitch, osg::Quat(1.0, osg::Vec3d(1.0, 0.0, 0.0)), 1e-9);
  QuorTests::expectSameRotation(parts.yaw, osg::Quat(0.7, osg::Vec3d(0.0, 0.0, 1.0)), 1e-9);
}

TEST(ViewPoseTest, aTurnAboutAPointKeepsItsPositionInTheView) {
  const osg::Vec3d fixed(-3.0, 30.0, 7.0);
  const ViewPose turned = turnedAbout(kOblique, fixed, rotationOf(ViewPreset::Left));
  expectNear(inView(turned, fixed), inView(kOblique, fixed), 1e-9);
  EXPECT_EQ(turned.distance, kOblique.distance);
  QuorTests::expectSameRotation(turned.rotation, rotationOf(ViewPreset::Left), 1e-12);
}

TEST(ViewPoseTest, duringATransitionTheFixedPointStaysInPlace) {
  const osg::Vec3d distant(1.0e7, -2.0e7, 300.0);
  const ViewPose from{kOblique.centre + distant, kOblique.distance, kOblique.rotation};
  const osg::Vec3d fixed = distant + osg::Vec3d(-3.0, 30.0, 7.0);
  const ViewPose to = turnedAbout(from, fixed, rotationOf(ViewPreset::Top));
  for (const double share : {0.0, 0.1, 0.5, 0.9, 1.0}) {
    expectNear(inView(interpolated(from, to, fixed, share), fixed), inView(from, fixed), 1e-6);
  }
}

TEST(ViewPoseTest, aTransitionStartsAndEndsAtItsPoses) {
  const ViewPose to{osg::Vec3d(-50.0, 0.0, 8.0), 12.0, rotationOf(ViewPreset::Back)};
  for (const double share : {0.0, 1.0}) {
    const ViewPose end = share == 0.0 ? kOblique : to;
    const ViewPose reached = interpolated(kOblique, to, to.centre, share);
    expectNear(reached.centre, end.centre, 1e-9);
    EXPECT_NEAR(reached.distance, end.distance, 1e-12);
    QuorTests::expectSameRotation(reached.rotation, end.rotation, 1e-9);
  }
}

}  // namespace
