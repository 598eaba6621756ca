#include "viewer/navigate/Framing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using namespace QuorViewer;

const FieldOfView kField = {30.0, 16.0 / 9.0};

std::vector<osg::Vec3f> randomPoints(unsigned int seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> place(-100.0f, 100.0f);
  std::vector<osg::Vec3f> points;
  for (int i = 0; i < 200; ++i) {
    points.emplace_back(place(random), 0.5f * place(random), 0.2f * place(random) + 40.0f);
  }
  return points;
}

struct Extremes {
  double left = 1e9, right = -1e9, bottom = 1e9, top = -1e9;
};

// Projects the points to the picture, -1 to 1 from edge to edge, by similar triangles.
Extremes seenExtremes(const std::vector<osg::Vec3f>& points, const osg::Quat& rotation, const Framing& framing,
                      bool perspective) {
  const double tangent = std::tan(15.0 * 3.14159265358979 / 180.0);
  const double distance = framing.height / (2.0 * tangent);
  Extremes seen;
  for (const osg::Vec3f& point : points) {
    const osg::Vec3d local = rotation.inverse() * (osg::Vec3d(point) - framing.centre);
    const double halfHeight = perspective ? (distance - local.z()) * tangent : framing.height / 2.0;
    const double x = local.x() / (halfHeight * kField.aspectRatio);
    const double y = local.y() / halfHeight;
    seen = {std::min(seen.left, x), std::max(seen.right, x), std::min(seen.bottom, y), std::max(seen.top, y)};
  }
  return seen;
}

void expectTight(const Extremes& seen) {
  const double greatest = std::max({-seen.left, seen.right, -seen.bottom, seen.top});
  EXPECT_NEAR(greatest, 1.0, 1e-6);
  EXPECT_TRUE(std::abs(seen.left + seen.right) < 1e-6 || std::abs(seen.bottom + seen.top) < 1e-6);
}

TEST(FramingTest, perspectiveFramingTouchesTwoOppositeEdgesOfThePicture) {
  for (unsigned int seed = 1; seed <= 20; ++seed) {
    const Direction direction = {seed * 17.0, 5.0 + seed * 4.0};
    const osg::Quat rotation = direction.pitch() * direction.yaw();
    const auto points = randomPoints(seed);
    expectTight(seenExtremes(points, rotation, framePerspective(points, rotation, kField), true));
  }
}

TEST(FramingTest, orthographicFramingTouchesTwoOppositeEdgesOfThePicture) {
  for (unsigned int seed = 1; seed <= 20; ++seed) {
    const Direction direction = {seed * 31.0, 80.0 - seed * 4.0};
    const osg::Quat rotation = direction.pitch() * direction.yaw();
    const auto points = randomPoints(seed);
    expectTight(seenExtremes(points, rotation, frameOrthographic(points, rotation, kField), false));
  }
}

TEST(FramingTest, theEyeLiesInTheGivenDirection) {
  const Direction fromTheEast = {90.0, 30.0};
  const osg::Vec3d towardsViewer = fromTheEast.pitch() * fromTheEast.yaw() * osg::Vec3d(0.0, 0.0, 1.0);
  EXPECT_NEAR(towardsViewer.x(), std::cos(3.14159265358979 / 6.0), 1e-9);
  EXPECT_NEAR(towardsViewer.y(), 0.0, 1e-9);
  EXPECT_NEAR(towardsViewer.z(), 0.5, 1e-9);
}

TEST(FramingTest, heightAndDistanceAreInversesOfEachOther) {
  EXPECT_NEAR(heightAtDistance(100.0, kField), 200.0 * std::tan(15.0 * 3.14159265358979 / 180.0), 1e-9);
  EXPECT_NEAR(distanceForHeight(heightAtDistance(123.4, kField), kField), 123.4, 1e-9);
}

}  // namespace
