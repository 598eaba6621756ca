#include "extras/ZoomStep.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace QuorOsgUtils;

constexpr ZoomPace kPace{0.2, 0.5};

TEST(ZoomStepTest, aNotchTakesAShareOfTheDistanceAndANotchBackReturns) {
  EXPECT_NEAR(approached(50.0, 1.0, kPace), 40.0, 1e-12);
  EXPECT_NEAR(approached(40.0, -1.0, kPace), 50.0, 1e-12);
  EXPECT_NEAR(approached(50.0, 10.0, kPace), 50.0 * std::pow(0.8, 10), 1e-12);
}

TEST(ZoomStepTest, belowTheLeastDistanceStepsAreConstantAndPassTheTarget) {
  const double step = -std::log(0.8) * 0.5;
  EXPECT_NEAR(approached(0.4, 1.0, kPace), 0.4 - step, 1e-12);
  EXPECT_NEAR(approached(0.05, 1.0, kPace), 0.05 - step, 1e-12);
  EXPECT_NEAR(approached(-0.1, 2.0, kPace), -0.1 - 2.0 * step, 1e-12);
}

TEST(ZoomStepTest, beyondTheTargetTheDistanceGrowsByTheSameShare) {
  EXPECT_NEAR(approached(-2.0, 1.0, kPace), -2.0 / 0.8, 1e-12);
  EXPECT_NEAR(approached(-2.5, -1.0, kPace), -2.0, 1e-12);
}

TEST(ZoomStepTest, stepsAddUpAndAreUndoneEverywhere) {
  for (const double distance : {1e6, 50.0, 0.6, 0.5, 0.2, 0.0, -0.3, -7.0}) {
    const double once = approached(distance, 3.0, kPace);
    double inParts = distance;
    for (int part = 0; part < 30; ++part) {
      inParts = approached(inParts, 0.1, kPace);
    }
    EXPECT_NEAR(inParts, once, 1e-9 * (1.0 + std::abs(once))) << distance;
    EXPECT_NEAR(approached(once, -3.0, kPace), distance, 1e-9 * (1.0 + std::abs(distance))) << distance;
    EXPECT_LT(once, distance);
  }
}

TEST(ZoomStepTest, anOrthographicViewShrinksByTheSameShare) {
  EXPECT_NEAR(orthographicZoomScale(1.0, 0.2), 0.8, 1e-12);
  EXPECT_NEAR(orthographicZoomScale(-1.0, 0.2), 1.25, 1e-12);
  EXPECT_NEAR(orthographicZoomScale(0.5, 0.2), std::sqrt(0.8), 1e-12);
}

TEST(ZoomStepTest, aWayOutOfTheSphereEndsOnIt) {
  const osg::Vec3d centre(100.0, 0.0, 0.0);
  const osg::Vec3d end =
      keptWithin(centre + osg::Vec3d(0.0, 3.0, 0.0), centre + osg::Vec3d(50.0, 3.0, 0.0), centre, 5.0);
  EXPECT_NEAR((end - (centre + osg::Vec3d(4.0, 3.0, 0.0))).length(), 0.0, 1e-12);
}

TEST(ZoomStepTest, aWayInsideOrTowardsTheSphereIsNotShortened) {
  const osg::Vec3d centre;
  const osg::Vec3d inside(1.0, 2.0, 0.0);
  EXPECT_EQ(keptWithin(centre, inside, centre, 5.0), inside);
  const osg::Vec3d nearer(0.0, 8.0, 0.0);
  EXPECT_EQ(keptWithin(osg::Vec3d(0.0, 9.0, 0.0), nearer, centre, 5.0), nearer);
}

TEST(ZoomStepTest, aWayThatLeadsFurtherOutDoesNotBegin) {
  const osg::Vec3d start(0.0, 9.0, 0.0);
  EXPECT_EQ(keptWithin(start, osg::Vec3d(0.0, 10.0, 0.0), osg::Vec3d(), 5.0), start);
}

}  // namespace
