#include "geometry/CircleVertices.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using QuorOsgUtils::annulusVertices;
using QuorOsgUtils::circleDirections;

constexpr double kFullTurn = 6.283185307179586;

TEST(CircleTest, hasOneUnitVectorPerSegmentInTheXyPlane) {
  for (const unsigned int segments : {3U, 16U, 100U, 1000U}) {
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
  for (unsigned int i = 0; i + 1 < kSegments; ++i) {
    angle += step;
  }
  const double exact = kFullTurn * (kSegments - 1) / kSegments;
  ASSERT_GT(std::abs(static_cast<double>(angle) - exact), 2e-6);
  EXPECT_NEAR(directions.back().x(), std::cos(static_cast<double>(angle)), 1e-7);
  EXPECT_NEAR(directions.back().y(), std::sin(static_cast<double>(angle)), 1e-7);
}

TEST(CircleTest, theCircleIsNotClosedByARepeatedPoint) {
  const std::vector<osg::Vec3f> directions = circleDirections(4);
  ASSERT_EQ(directions.size(), 4U);
  EXPECT_NEAR(directions[3].x(), 0.0f, 1e-6f);
  EXPECT_NEAR(directions[3].y(), -1.0f, 1e-6f);
}

TEST(CircleTest, noSegmentsAreNoPoints) {
  EXPECT_TRUE(circleDirections(0).empty());
}

TEST(AnnulusTest, hasTwoVerticesAtEachOfAHundredAnglesAndRepeatsTheFirstTwo) {
  const std::vector<osg::Vec3f> vertices = annulusVertices(100.0, 3.0, 1.5);
  ASSERT_EQ(vertices.size(), 202U);
  EXPECT_EQ(vertices[0], osg::Vec3f(100.0f, 0.0f, 1.5f));
  EXPECT_EQ(vertices[1], osg::Vec3f(97.0f, 0.0f, 1.5f));
  EXPECT_EQ(vertices[200], vertices[0]);
  EXPECT_EQ(vertices[201], vertices[1]);
}

TEST(AnnulusTest, alternatesBetweenTheOuterAndTheInnerRadius) {
  const std::vector<osg::Vec3f> vertices = annulusVertices(100.0, 3.0, -1.5);
  for (std::size_t i = 0; i < 100; ++i) {
    const double angle = 0.06283186 * static_cast<double>(i);
    const osg::Vec3f outer(static_cast<float>(100.0 * std::cos(angle)), static_cast<float>(100.0 * std::sin(angle)),
                           -1.5f);
    const osg::Vec3f inner(static_cast<float>(97.0 * std::cos(angle)), static_cast<float>(97.0 * std::sin(angle)),
                           -1.5f);
    EXPECT_NEAR((vertices[2 * i] - outer).length(), 0.0f, 2e-5f) << i;
    EXPECT_NEAR((vertices[2 * i + 1] - inner).length(), 0.0f, 2e-5f) << i;
  }
}

TEST(AnnulusTest, addsTheAnglesUpInThePrecisionOfItsNumbers) {
  const std::vector<osg::Vec3f> vertices = annulusVertices(1.1f, 0.05f, 0.03f);
  float angle = 0.0f;
  for (std::size_t i = 0; i < 100; ++i, angle += 0.06283186f) {
    EXPECT_EQ(vertices[2 * i], osg::Vec3f(1.1f * std::cos(angle), 1.1f * std::sin(angle), 0.03f)) << i;
    const float inner = 1.1f - 0.05f;
    EXPECT_EQ(vertices[2 * i + 1], osg::Vec3f(inner * std::cos(angle), inner * std::sin(angle), 0.03f)) << i;
  }
  EXPECT_NE(vertices, annulusVertices(1.1, 0.05, 0.03)) << "the two precisions cannot be told apart here";
}

}  // namespace
