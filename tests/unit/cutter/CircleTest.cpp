#include "cutter/Circle.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using QuorOsgUtils::circleDirections;

constexpr double kFullTurn = 6.283185307179586;

TEST(CircleTest, hasOneUnitVectorPerSegmentInTheXyPlane) {
  for (const unsigned int segments : {3u, 16u, 100u, 1000u}) {
    const std::vector<osg::Vec3f> directions = circleDirections(segments);
    ASSERT_EQ(directions.size(), segments);
    for (const osg::Vec3f& direction : directions) {
      EXPECT_NEAR(direction.length(), 1.0f, 2e-7f);
      EXPECT_EQ(direction.z(), 0.0f);
    }
  }
}

TEST(CircleTest, startsOnTheXAxisAndGoesCounterClockwiseInEqualSteps) {
  const std::vector<osg::Vec3f> directions = circleDirections(100);
  EXPECT_EQ(directions[0], osg::Vec3f(1.0f, 0.0f, 0.0f));
  for (std::size_t i = 0; i < directions.size(); ++i) {
    const double angle = kFullTurn * static_cast<double>(i) / 100.0;
    EXPECT_NEAR(directions[i].x(), std::cos(angle), 2e-5) << i;
    EXPECT_NEAR(directions[i].y(), std::sin(angle), 2e-5) << i;
  }
}

// A hundred additions in single precision differ visibly from the product of index and step.
TEST(CircleTest, theAngleAddsUpInSinglePrecision) {
  constexpr unsigned int kSegments = 1000;
  const std::vector<osg::Vec3f> directions = circleDirections(kSegments);
  const auto step = static_cast<float>(kFullTurn / 1000.0);
  float angle = 0.0f;
  for (unsigned int i = 0; i + 1 < kSegments; ++i) angle += step;
  const double exact = kFullTurn * (kSegments - 1) / kSegments;
  ASSERT_GT(std::abs(static_cast<double>(angle) - exact), 2e-6);
  EXPECT_NEAR(directions.back().x(), std::cos(static_cast<double>(angle)), 1e-7);
  EXPECT_NEAR(directions.back().y(), std::sin(static_cast<double>(angle)), 1e-7);
}

TEST(CircleTest, theCircleIsNotClosedByARepeatedPoint) {
  const std::vector<osg::Vec3f> directions = circleDirections(4);
  ASSERT_EQ(directions.size(), 4u);
  EXPECT_NEAR(directions[3].x(), 0.0f, 1e-6f);
  EXPECT_NEAR(directions[3].y(), -1.0f, 1e-6f);
}

TEST(CircleTest, noSegmentsAreNoPoints) {
  EXPECT_TRUE(circleDirections(0).empty());
}

}  // namespace
