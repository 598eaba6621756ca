#include "cutter/BoxSides.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

namespace {

using QuorOsgUtils::BoxSide;
using QuorOsgUtils::clipPlanesOf;
using QuorOsgUtils::moveSide;

constexpr float kMinSize = 0.5f;

// min x, max x, min y, max y, min z, max z: in the order of the sides.
using Extents = std::array<float, 6>;

Extents extentsOf(const osg::BoundingBoxf& box) {
  return {box.xMin(), box.xMax(), box.yMin(), box.yMax(), box.zMin(), box.zMax()};
}

osg::BoundingBoxf boxOf(const Extents& extents) {
  return {extents[0], extents[2], extents[4], extents[1], extents[3], extents[5]};
}

const Extents kExtents = {1.0f, 5.0f, 10.0f, 16.0f, -8.0f, 2.0f};

bool isUpper(std::size_t side) {
  return side % 2 == 1;
}

std::size_t opposite(std::size_t side) {
  return side ^ 1U;
}

Extents moved(std::size_t side, float delta, const Extents& box = kExtents, const Extents& start = kExtents) {
  osg::BoundingBoxf result = boxOf(box);
  moveSide(result, boxOf(start), BoxSide(side), delta, kMinSize);
  return extentsOf(result);
}

class EverySideTest : public ::testing::TestWithParam<std::size_t> {};

TEST_P(EverySideTest, isNumberedAxisByAxisTheLowerOneFirst) {
  const BoxSide side(GetParam());
  EXPECT_EQ(side.axis, static_cast<int>(GetParam()) / 2);
  EXPECT_EQ(side.upper, isUpper(GetParam()));
}

TEST_P(EverySideTest, movesByTheDeltaInTheDirectionOfItsSignAndNoOtherSideMoves) {
  for (const float delta : {-1.5f, 0.0f, 1.5f}) {
    Extents expected = kExtents;
    expected[GetParam()] += delta;
    EXPECT_EQ(moved(GetParam(), delta), expected) << delta;
  }
}

TEST_P(EverySideTest, pushedPastTheOppositeSideStopsAtTheLeastSizeExactly) {
  const float inwards = isUpper(GetParam()) ? -1.0f : 1.0f;
  Extents expected = kExtents;
  expected[GetParam()] = kExtents[opposite(GetParam())] - inwards * kMinSize;
  for (const float distance : {9.75f, 10.0f, 1000.0f, 1e30f}) {
    EXPECT_EQ(moved(GetParam(), inwards * distance), expected) << distance;
  }
}

TEST_P(EverySideTest, mayComeToTheLeastSizeButNotNearer) {
  const float extent = std::abs(kExtents[GetParam()] - kExtents[opposite(GetParam())]);
  const float inwards = isUpper(GetParam()) ? -1.0f : 1.0f;
  const Extents touching = moved(GetParam(), inwards * (extent - kMinSize));
  EXPECT_EQ(std::abs(touching[GetParam()] - touching[opposite(GetParam())]), kMinSize);
  const Extents justBefore = moved(GetParam(), inwards * (extent - 0.75f));
  EXPECT_EQ(std::abs(justBefore[GetParam()] - justBefore[opposite(GetParam())]), 0.75f);
}

TEST_P(EverySideTest, startsFromTheStartBoxSoThatOffsetsNeverAddUp) {
  osg::BoundingBoxf box = boxOf(kExtents);
  for (const float delta : {1.0f, 2.0f, 0.25f, -3.0f, 0.0f}) {
    moveSide(box, boxOf(kExtents), BoxSide(GetParam()), delta, kMinSize);
    EXPECT_EQ(extentsOf(box)[GetParam()], kExtents[GetParam()] + delta);
  }
  EXPECT_EQ(extentsOf(box), kExtents);
}

TEST_P(EverySideTest, isLimitedByTheCurrentOppositeSideNotByTheStartBox) {
  const float inwards = isUpper(GetParam()) ? -1.0f : 1.0f;
  Extents box = kExtents;
  box[opposite(GetParam())] -= inwards * 2.0f;
  Extents expected = box;
  expected[GetParam()] = box[opposite(GetParam())] - inwards * kMinSize;
  EXPECT_EQ(moved(GetParam(), inwards * 100.0f, box), expected);
}

TEST_P(EverySideTest, isPushedOutToTheLeastSizeWhereTheBoxIsThinner) {
  Extents thin = kExtents;
  thin[GetParam()] = thin[opposite(GetParam())];
  const Extents result = moved(GetParam(), 0.0f, thin, thin);
  const float outwards = isUpper(GetParam()) ? kMinSize : -kMinSize;
  EXPECT_EQ(result[GetParam()], thin[opposite(GetParam())] + outwards);
}

INSTANTIATE_TEST_SUITE_P(BoxSides, EverySideTest, ::testing::Range<std::size_t>(0, 6));

TEST(BoxSidesTest, anyPushLeavesAtLeastTheLeastSizeAndTouchesOneExtent) {
  std::mt19937 random(20);
  std::uniform_real_distribution<float> place(-1000.0f, 1000.0f), size(kMinSize, 200.0f), push(-400.0f, 400.0f);
  for (int trial = 0; trial < 3000; ++trial) {
    Extents start{};
    for (std::size_t low = 0; low < 6; low += 2) {
      start[low] = place(random);
      start[low + 1] = start[low] + size(random);
    }
    const auto side = static_cast<std::size_t>(trial % 6);
    const Extents result = moved(side, push(random), start, start);
    for (std::size_t other = 0; other < 6; ++other) {
      if (other == side) {
        continue;
      }
      EXPECT_EQ(result[other], start[other]);
    }
    EXPECT_GE(result[side | 1U] - result[side & ~std::size_t{1}], kMinSize - 1e-4f);
  }
}

void expectPlane(const osg::Plane& actual, const std::array<double, 4>& expected, double tolerance = 0.0) {
  for (unsigned int i = 0; i < 4; ++i) {
    EXPECT_NEAR(actual[i], expected[i], tolerance) << i;
  }
}

TEST(ClipPlanesTest, areFrontRightBackLeftTopBottomWithNormalsPointingIn) {
  const auto planes = clipPlanesOf({0.0f, 0.0f, 0.0f, 2.0f, 4.0f, 6.0f}, osg::Matrixd());
  ASSERT_EQ(planes.size(), 6U);
  expectPlane(planes[0], {0.0, 1.0, 0.0, 0.0});
  expectPlane(planes[1], {-1.0, 0.0, 0.0, 2.0});
  expectPlane(planes[2], {0.0, -1.0, 0.0, 4.0});
  expectPlane(planes[3], {1.0, 0.0, 0.0, 0.0});
  expectPlane(planes[4], {0.0, 0.0, -1.0, 6.0});
  expectPlane(planes[5], {0.0, 0.0, 1.0, 0.0});
}

TEST(ClipPlanesTest, areExactWhereCoordinatesAreNearTenMillion) {
  const auto planes = clipPlanesOf({1e7f, -9999936.0f, 100.0f, 10000064.0f, -9999872.0f, 164.0f}, osg::Matrixd());
  expectPlane(planes[0], {0.0, 1.0, 0.0, 9999936.0});
  expectPlane(planes[1], {-1.0, 0.0, 0.0, 10000064.0});
  expectPlane(planes[2], {0.0, -1.0, 0.0, -9999872.0});
  expectPlane(planes[3], {1.0, 0.0, 0.0, -1e7});
  expectPlane(planes[4], {0.0, 0.0, -1.0, 164.0});
  expectPlane(planes[5], {0.0, 0.0, 1.0, -100.0});
}

// A rotation of 90° about z takes x to y and y to -x: the box then spans x from -4 to 0 and y from 0 to 2.
TEST(ClipPlanesTest, keepTheirOrderByFaceWhenTheBoxIsTurned) {
  const osg::Matrixd quarterTurn(0.0, 1.0, 0.0, 0.0, -1.0, 0.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0);
  const auto planes = clipPlanesOf({0.0f, 0.0f, 0.0f, 2.0f, 4.0f, 6.0f}, quarterTurn);
  expectPlane(planes[0], {-1.0, 0.0, 0.0, 0.0});
  expectPlane(planes[1], {0.0, -1.0, 0.0, 2.0});
  expectPlane(planes[2], {1.0, 0.0, 0.0, 4.0});
  expectPlane(planes[3], {0.0, 1.0, 0.0, 0.0});
  expectPlane(planes[4], {0.0, 0.0, -1.0, 6.0});
  expectPlane(planes[5], {0.0, 0.0, 1.0, 0.0});
}

TEST(ClipPlanesTest, moveWithATranslationInDoublePrecision) {
  const osg::Matrixd move = osg::Matrixd::translate(10000000.25, -20000000.125, 3.5);
  const auto planes = clipPlanesOf({0.0f, 0.0f, 0.0f, 2.0f, 4.0f, 6.0f}, move);
  expectPlane(planes[0], {0.0, 1.0, 0.0, 20000000.125});
  expectPlane(planes[1], {-1.0, 0.0, 0.0, 10000002.25});
  expectPlane(planes[2], {0.0, -1.0, 0.0, -19999996.125});
  expectPlane(planes[3], {1.0, 0.0, 0.0, -10000000.25});
  expectPlane(planes[4], {0.0, 0.0, -1.0, 9.5});
  expectPlane(planes[5], {0.0, 0.0, 1.0, -3.5});
}

TEST(ClipPlanesTest, stayOfUnitLengthUnderAScale) {
  const auto planes = clipPlanesOf({1.0f, 1.0f, 1.0f, 2.0f, 2.0f, 2.0f}, osg::Matrixd::scale(10.0, 0.5, 4.0));
  expectPlane(planes[0], {0.0, 1.0, 0.0, -0.5}, 1e-12);
  expectPlane(planes[1], {-1.0, 0.0, 0.0, 20.0}, 1e-12);
  expectPlane(planes[2], {0.0, -1.0, 0.0, 1.0}, 1e-12);
  expectPlane(planes[3], {1.0, 0.0, 0.0, -10.0}, 1e-12);
  expectPlane(planes[4], {0.0, 0.0, -1.0, 8.0}, 1e-12);
  expectPlane(planes[5], {0.0, 0.0, 1.0, -4.0}, 1e-12);
}

TEST(ClipPlanesTest, areZeroWhereTheFaceHasNoArea) {
  const auto planes = clipPlanesOf({1.0f, 2.0f, 3.0f, 1.0f, 4.0f, 6.0f}, osg::Matrixd());
  for (const std::size_t flat : {0U, 2U, 4U, 5U}) {
    expectPlane(planes[flat], {0.0, 0.0, 0.0, 0.0});
  }
  expectPlane(planes[1], {-1.0, 0.0, 0.0, 1.0});
  expectPlane(planes[3], {1.0, 0.0, 0.0, -1.0});
}

}  // namespace
