#include "viewer/clip/ClipPose.h"

#include <osg/Quat>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using namespace QuorViewer;
using testing::HasSubstr;

const osg::BoundingBoxf kBox(-1.0f, 2.0f, 3.0f, 5.0f, 4.0f, 3.5f);

TEST(ClipPoseTest, anUnmovedBoxIsShiftedByTheOriginAlone) {
  const ClipPose pose = poseOf(kBox, osg::Matrixd(), {2230000.0, 252000.0, 10.0});
  EXPECT_EQ(pose.size, osg::Vec3d(6.0, 2.0, 0.5));
  EXPECT_EQ(pose.centre, osg::Vec3d(2230002.0, 252003.0, 13.25));
  EXPECT_EQ(pose.degrees, 0.0);
  EXPECT_EQ(statusText(pose), "Box  6.00 × 2.00 × 0.50      centre  2230002.00   252003.00   13.25      rotated 0°");
  EXPECT_EQ(outputText(pose),
            "clip size 6.000000 2.000000 0.500000 centre 2230002.000000 252003.000000 13.250000 rotation 0.000000000 "
            "0.000000000 0.000000000 1.000000000");
}

TEST(ClipPoseTest, aThinBoxShowsItsThicknessAndItsCentreInMillimetres) {
  ClipPose pose;
  pose.size = osg::Vec3d(5000.0, 0.05, 12.0);
  pose.centre = osg::Vec3d(10.0, 20.1254, 30.0);
  EXPECT_THAT(statusText(pose), HasSubstr("Box  5000.000 × 0.050 × 12.000      centre  10.000   20.125   30.000 "));
}

TEST(ClipPoseTest, theCentreFollowsTheMatrix) {
  // A rotation of 90° about z takes (2, 3) to (-3, 2).
  const osg::Matrixd matrix(0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 100, 200, 300, 1);
  const ClipPose pose = poseOf(kBox, matrix, {});
  EXPECT_LT((pose.centre - osg::Vec3d(97.0, 202.0, 303.25)).length(), 1e-9);
  EXPECT_NEAR(pose.degrees, 90.0, 1e-9);
  EXPECT_LT((pose.axis - osg::Vec3d(0.0, 0.0, 1.0)).length(), 1e-9);
  EXPECT_THAT(statusText(pose), HasSubstr("rotated 90.0° about Z"));
}

TEST(ClipPoseTest, aRotationTheOtherWayIsReportedAboutTheOppositeAxis) {
  const osg::Matrixd matrix(0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
  const ClipPose pose = poseOf(kBox, matrix, {});
  EXPECT_NEAR(pose.degrees, 90.0, 1e-9);
  EXPECT_LT((pose.axis - osg::Vec3d(0.0, 0.0, -1.0)).length(), 1e-9);
  EXPECT_THAT(statusText(pose), HasSubstr("about −Z"));
}

// Rodrigues' formula: v cos t + (k × v) sin t + k (k · v) (1 - cos t).
osg::Vec3d rotated(const osg::Vec3d& v, const osg::Vec3d& k, double degrees) {
  const double t = degrees * std::acos(-1.0) / 180.0;
  return v * std::cos(t) + (k ^ v) * std::sin(t) + k * ((k * v) * (1.0 - std::cos(t)));
}

TEST(ClipPoseTest, axisAndAngleRotateEveryDirectionAsTheMatrixDoes) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> number(-1.0, 1.0);
  for (int round = 0; round < 200; ++round) {
    osg::Quat quat(number(random), number(random), number(random), number(random));
    quat /= quat.length();
    const osg::Matrixd matrix = osg::Matrixd::rotate(quat);
    const ClipPose pose = poseOf(kBox, matrix, {});
    EXPECT_GE(pose.degrees, 0.0);
    EXPECT_LE(pose.degrees, 180.0);
    EXPECT_NEAR(pose.axis.length(), 1.0, 1e-12);
    const osg::Vec3d direction(number(random), number(random), number(random));
    EXPECT_LT((rotated(direction, pose.axis, pose.degrees) - direction * matrix).length(), 1e-9);
  }
}

TEST(ClipPoseTest, anObliqueAxisIsReportedByItsComponents) {
  ClipPose pose;
  pose.degrees = 41.26;
  pose.axis = osg::Vec3d(0.6, 0.0, -0.8);
  EXPECT_THAT(statusText(pose), HasSubstr("rotated 41.3° about (0.60, 0.00, -0.80)"));
}

TEST(ClipPoseTest, theBoxAroundContentHasAMarginOnEverySide) {
  const osg::BoundingBox content(0.0f, 0.0f, 0.0f, 300.0f, 200.0f, 60.0f);
  const osg::BoundingBoxd box = boxAround(content);
  for (int axis = 0; axis < 3; ++axis) {
    EXPECT_LT(box._min[axis], content._min[axis]);
    EXPECT_GT(box._max[axis], content._max[axis]);
    EXPECT_GT(box._min[axis], content._min[axis] - 10.0f);
    EXPECT_LT(box._max[axis], content._max[axis] + 10.0f);
  }
}

TEST(ClipPoseTest, theBoxAroundFlatOrTinyContentLeavesRoomToPullEachFace) {
  for (const osg::BoundingBox& content :
       {osg::BoundingBox(0.0f, 0.0f, 5.0f, 100.0f, 100.0f, 5.0f), osg::BoundingBox(1.0f, 2.0f, 3.0f, 1.0f, 2.0f, 3.0f),
        osg::BoundingBox(0.0f, 0.0f, 0.0f, 0.01f, 0.02f, 0.01f),
        osg::BoundingBox(4.0e5f, 2.0f, 3.0f, 4.0e5f, 2.0f, 3.0f)}) {
    const osg::BoundingBoxd box = boxAround(content);
    const osg::Vec3d size = box._max - box._min;
    const double least = QuorOsgUtils::ClipBoxControl::leastExtent(std::max({size.x(), size.y(), size.z()}));
    for (int axis = 0; axis < 3; ++axis) {
      EXPECT_GT(size[axis], 1.5 * least);
      EXPECT_LT(box._min[axis], content._min[axis]);
      EXPECT_GT(box._max[axis], content._max[axis]);
    }
  }
}

TEST(ClipPoseTest, theBoxAroundFlatContentIsThin) {
  const osg::BoundingBoxd box = boxAround(osg::BoundingBox(0.0f, 0.0f, 5.0f, 4.0f, 3.0f, 5.0f));
  // The margin is a hundredth of half the diagonal, which is 5.
  EXPECT_NEAR(box.zMax() - box.zMin(), 2.0 * 0.025, 1e-9);
  EXPECT_NEAR(box.center().z(), 5.0, 1e-9);
}

TEST(ClipPoseTest, theBoxAroundDistantContentKeepsClearOfItByManyDrawnSteps) {
  const osg::BoundingBoxd box = boxAround(osg::BoundingBox(4.0e5f, 0.0f, 0.0f, 4.0e5f, 0.0f, 0.0f));
  constexpr double kStep = 0.03125;  // of single precision from 2^18 to 2^19
  EXPECT_GE(box.yMax(), 8.0 * kStep);
}

}  // namespace
