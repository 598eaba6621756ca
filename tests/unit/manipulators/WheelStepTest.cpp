#include "manipulators/WheelStep.h"
#include "support/ViewAlongY.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

namespace {

using QuorOsgUtils::orthographicWheelStep;
using QuorOsgUtils::perspectiveWheelMovement;
using QuorOsgUtils::ProjectionBox;
using QuorOsgUtils::stationFieldOfView;
using QuorOsgUtils::ViewState;
using QuorOsgUtils::WheelNotch;
using QuorTests::viewAlongY;

const osg::Matrixd kFrustum = osg::Matrixd::frustum(-1.0, 1.0, -0.5, 0.5, 1.0, 1000.0);
const osg::Matrixd kOrtho = osg::Matrixd::ortho(-20.0, 20.0, -10.0, 10.0, 1.0, 1000.0);

ProjectionBox boxOf(const osg::Matrixd& projection) {
  ProjectionBox box;
  EXPECT_TRUE(projection.getOrtho(box.left, box.right, box.bottom, box.top, box.zNear, box.zFar));
  return box;
}

std::optional<osg::Vec3d> movementTowards(const osg::Vec3d& target, WheelNotch notch,
                                          const osg::Matrixd& projection = kFrustum) {
  return perspectiveWheelMovement(viewAlongY(projection).view, projection, target, 10.0, notch);
}

TEST(WheelStepTest, aPerspectiveNotchMovesByTenPercentOfTheFarPlaneAlongTheView) {
  const auto up = movementTowards(osg::Vec3d(30.0, 0.0, 10.0), WheelNotch::Up);
  ASSERT_TRUE(up);
  // The ray to the target is (30, 100, 10): 100 forward come with 30 to the right and 10 up.
  EXPECT_NEAR((*up - osg::Vec3d(30.0, 100.0, 10.0)).length(), 0.0, 1e-8);
}

TEST(WheelStepTest, aPerspectiveNotchDownMovesTheOppositeWay) {
  const auto down = movementTowards(osg::Vec3d(30.0, 0.0, 10.0), WheelNotch::Down);
  ASSERT_TRUE(down);
  EXPECT_NEAR((*down + osg::Vec3d(30.0, 100.0, 10.0)).length(), 0.0, 1e-8);
}

TEST(WheelStepTest, aTargetBehindTheEyeStillMovesForwardOnANotchUp) {
  const auto up = movementTowards(osg::Vec3d(0.0, -150.0, 0.0), WheelNotch::Up);
  ASSERT_TRUE(up);
  EXPECT_NEAR((*up - osg::Vec3d(0.0, 100.0, 0.0)).length(), 0.0, 1e-8);
}

TEST(WheelStepTest, aRayAtRightAnglesToTheViewYieldsNoMovement) {
  EXPECT_FALSE(movementTowards(osg::Vec3d(5.0, -100.0, 0.0), WheelNotch::Up));
}

TEST(WheelStepTest, aTargetInTheEyeYieldsNoMovement) {
  EXPECT_FALSE(movementTowards(osg::Vec3d(0.0, -100.0, 0.0), WheelNotch::Up));
}

TEST(WheelStepTest, aProjectionThatIsNoFrustumYieldsNoMovement) {
  EXPECT_FALSE(movementTowards(osg::Vec3d(30.0, 0.0, 10.0), WheelNotch::Up, kOrtho));
}

TEST(WheelStepTest, anOrthographicNotchScalesTheBoxAndKeepsThePointInItsPlace) {
  const auto step = orthographicWheelStep(viewAlongY(kOrtho), 400.0, 200.0, 10.0, WheelNotch::Up);
  ASSERT_TRUE(step);
  const ProjectionBox box = boxOf(step->projection);
  EXPECT_NEAR(box.left, -18.0, 1e-9);
  EXPECT_NEAR(box.right, 18.0, 1e-9);
  EXPECT_NEAR(box.bottom, -9.0, 1e-9);
  EXPECT_NEAR(box.top, 9.0, 1e-9);
  EXPECT_NEAR(box.zNear, 1.0, 1e-9);
  EXPECT_NEAR(box.zFar, 1000.0, 1e-9);
  // The upper right corner was at (20, 10) and would now be at (18, 9).
  EXPECT_NEAR((step->movement - osg::Vec3d(2.0, 0.0, 1.0)).length(), 0.0, 1e-9);
}

TEST(WheelStepTest, anOrthographicNotchDownWidensTheBox) {
  const auto step = orthographicWheelStep(viewAlongY(kOrtho), 200.0, 100.0, 10.0, WheelNotch::Down);
  ASSERT_TRUE(step);
  const ProjectionBox box = boxOf(step->projection);
  EXPECT_NEAR(box.right - box.left, 44.0, 1e-9);
  EXPECT_NEAR(box.top - box.bottom, 22.0, 1e-9);
  EXPECT_NEAR(step->movement.length(), 0.0, 1e-9);
}

TEST(WheelStepTest, anOffCentreBoxIsCentredOnTheAxis) {
  const osg::Matrixd ortho = osg::Matrixd::ortho(0.0, 40.0, 5.0, 25.0, 1.0, 1000.0);
  const auto step = orthographicWheelStep(viewAlongY(ortho), 200.0, 100.0, 10.0, WheelNotch::Up);
  ASSERT_TRUE(step);
  const ProjectionBox box = boxOf(step->projection);
  EXPECT_NEAR(box.left, -18.0, 1e-9);
  EXPECT_NEAR(box.top, 9.0, 1e-9);
  // The middle of the window showed (20, 15).
  EXPECT_NEAR((step->movement - osg::Vec3d(20.0, 0.0, 15.0)).length(), 0.0, 1e-9);
}

TEST(WheelStepTest, aNotchThatWouldEmptyTheBoxIsRefused) {
  EXPECT_FALSE(orthographicWheelStep(viewAlongY(kOrtho), 100.0, 100.0, 100.0, WheelNotch::Up));
}

TEST(WheelStepTest, aProjectionWithoutABoxIsRefused) {
  osg::Matrixd projection = osg::Matrixd::scale(0.0, 0.0, 0.0);
  EXPECT_FALSE(orthographicWheelStep(viewAlongY(projection), 100.0, 100.0, 10.0, WheelNotch::Up));
}

TEST(WheelStepTest, aStationNotchNarrowsToThreeQuartersAndWidensToFourThirds) {
  EXPECT_EQ(stationFieldOfView(40.0, WheelNotch::Up), 30.0);
  EXPECT_EQ(stationFieldOfView(30.0, WheelNotch::Down), 40.0);
}

TEST(WheelStepTest, theStationsLimitsAreTestedBeforeTheStep) {
  const auto widened = stationFieldOfView(89.0, WheelNotch::Down);
  ASSERT_TRUE(widened);
  EXPECT_NEAR(*widened, 118.67, 0.005);
  EXPECT_FALSE(stationFieldOfView(90.0, WheelNotch::Down));
  EXPECT_FALSE(stationFieldOfView(118.67, WheelNotch::Down));
  EXPECT_FALSE(stationFieldOfView(0.0, WheelNotch::Up));
}

}  // namespace
