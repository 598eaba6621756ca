#include "viewer/TreeCamera.h"
#include "viewer/render/CubeProjection.h"

#include <osg/Vec4d>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <random>

namespace {

using namespace QuorTests;
using QuorViewer::CubeCamera;
using QuorViewer::CubeProjection;

const osg::Vec3d kTownOrigin(448262.5, 5411932.25, 612.0);  // map coordinates

osg::BoundingBoxd cubeAt(const osg::Vec3d& centre, double size) {
  const osg::Vec3d half(0.5 * size, 0.5 * size, 0.5 * size);
  return {centre - half, centre + half};
}

CubeProjection projectionOf(const CubeCamera& camera, const std::vector<osg::Plane>& clipPlanes = {}) {
  CubeProjection projection;
  projection.set(camera, clipPlanes);
  return projection;
}

// Pixels in the image between two points relative to the camera's origin.
double pixelsBetween(const CubeCamera& camera, const osg::Vec3d& from, const osg::Vec3d& to) {
  const osg::Matrixd toClip = camera.view * camera.projection;
  return 0.5 * camera.viewportHeightPixels * std::abs((to * toClip).y() - (from * toClip).y());
}

// Whether all corners of the cube are on the outer side of one of the side planes, or behind the eye.
bool isOutside(const CubeCamera& camera, const osg::BoundingBoxd& cube) {
  const std::array<std::function<bool(const osg::Vec4d&, const osg::Vec4d&)>, 5> outside = {
      [](const osg::Vec4d&, const osg::Vec4d& clip) { return clip.x() < -clip.w(); },
      [](const osg::Vec4d&, const osg::Vec4d& clip) { return clip.x() > clip.w(); },
      [](const osg::Vec4d&, const osg::Vec4d& clip) { return clip.y() < -clip.w(); },
      [](const osg::Vec4d&, const osg::Vec4d& clip) { return clip.y() > clip.w(); },
      [](const osg::Vec4d& eye, const osg::Vec4d&) { return eye.z() > 0.0; }};
  return std::any_of(outside.begin(), outside.end(), [&](const auto& isOutsideOf) {
    for (unsigned int corner = 0; corner < 8; ++corner) {
      const osg::Vec4d eye = osg::Vec4d(cube.corner(corner) - camera.origin, 1.0) * camera.view;
      if (!isOutsideOf(eye, eye * camera.projection)) {
        return false;
      }
    }
    return true;
  });
}

// Compares random cubes, and returns how many were visible.
int compareVisibility(CubeCamera camera, const osg::Vec3d& origin, unsigned int seed) {
  camera.origin = origin;
  const CubeProjection projection = projectionOf(camera);
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> place(-200.0, 200.0);
  std::uniform_real_distribution<double> size(1.0, 80.0);
  int visible = 0;
  for (int i = 0; i < 2000; ++i) {
    const osg::BoundingBoxd cube =
        cubeAt(origin + osg::Vec3d(place(random), place(random), place(random)), size(random));
    EXPECT_EQ(projection.isVisible(cube), !isOutside(camera, cube));
    visible += projection.isVisible(cube) ? 1 : 0;
  }
  return visible;
}

TEST(CubeProjectionTest, aCubeIsVisibleUnlessAllItsCornersAreOutsideOnePlane) {
  for (const osg::Vec3d& origin : {osg::Vec3d(), kTownOrigin}) {
    for (unsigned int seed = 1; seed <= 5; ++seed) {
      const osg::Vec3d eye(90.0 - 30.0 * seed, -20.0 * seed, 10.0 * seed);
      const osg::Vec3d target(3.0, 5.0 * seed, -7.0);
      const int inPerspective = compareVisibility(perspectiveCamera(eye, target), origin, seed);
      const int orthographic = compareVisibility(orthographicCamera(eye, target, 60.0), origin, seed);
      for (const int visible : {inPerspective, orthographic}) {
        EXPECT_GT(visible, 20);
        EXPECT_LT(visible, 1500);
      }
    }
  }
}

TEST(CubeProjectionTest, aCubeThatContainsTheEyeIsVisibleAndOneBehindItIsNot) {
  const osg::Vec3d eye(5.0, -10.0, 2.0);
  for (const CubeCamera& camera : {perspectiveCamera(eye, {}, 5.0, 6.0), orthographicCamera(eye, {}, 30.0, 5.0, 6.0)}) {
    EXPECT_TRUE(projectionOf(camera).isVisible(cubeAt(eye, 1.0)));
    EXPECT_FALSE(projectionOf(camera).isVisible(cubeAt(eye * 1.2, 0.5)));
    EXPECT_TRUE(projectionOf(camera).isVisible(cubeAt(eye * 0.8, 0.5)));
  }
}

TEST(CubeProjectionTest, nearAndFarMakeNoDifference) {
  const osg::Vec3d eye(40.0, -100.0, 30.0);
  const CubeProjection wide = projectionOf(perspectiveCamera(eye, {}, 0.01, 1e6));
  const CubeProjection narrow = projectionOf(perspectiveCamera(eye, {}, 99.0, 100.0));
  const CubeProjection wideOrtho = projectionOf(orthographicCamera(eye, {}, 50.0, -1e4, 1e4));
  const CubeProjection narrowOrtho = projectionOf(orthographicCamera(eye, {}, 50.0, 99.0, 100.0));
  for (const double distance : {-40.0, -10.0, 0.0, 20.0, 90.0}) {
    const osg::BoundingBoxd cube = cubeAt({distance, 0.3 * distance, 5.0}, 4.0);
    for (const auto& [a, b] : {std::make_pair(wide, narrow), std::make_pair(wideOrtho, narrowOrtho)}) {
      EXPECT_EQ(a.isVisible(cube), b.isVisible(cube));
      EXPECT_NEAR(a.pixelsOf(0.5, cube), b.pixelsOf(0.5, cube), 1e-9);
      EXPECT_NEAR(a.centrality(cube), b.centrality(cube), 1e-9);
    }
  }
}

TEST(CubeProjectionTest, pixelsAreMeasuredAtTheNearestPointInPerspective) {
  const CubeCamera camera = perspectiveCamera({0.0, -100.0, 0.0}, {});
  const osg::BoundingBoxd cube = cubeAt({0.0, 20.0, 0.0}, 10.0);  // nearest at y = 15
  const double expected = pixelsBetween(camera, {0.0, 15.0, -0.25}, {0.0, 15.0, 0.25});
  EXPECT_NEAR(projectionOf(camera).pixelsOf(0.5, cube), expected, 1e-9);
  EXPECT_NEAR(expected, 0.5 * kViewHeightPixels / (2.0 * halfAngleTangent() * 115.0), 1e-9);
}

TEST(CubeProjectionTest, theNearestPointMayBeAnEdgeOrACorner) {
  const CubeProjection projection = projectionOf(perspectiveCamera({}, {0.0, 1.0, 0.0}));
  const double atDistance1 = kViewHeightPixels / (2.0 * halfAngleTangent());
  const double unit = 0.001;
  EXPECT_NEAR(projection.pixelsOf(unit, cubeAt({3.5, 4.5, 0.0}, 1.0)), unit * atDistance1 / 5.0, 1e-9);
  EXPECT_NEAR(projection.pixelsOf(unit, cubeAt({1.5, 2.5, -2.5}, 1.0)), unit * atDistance1 / 3.0, 1e-9);
}

TEST(CubeProjectionTest, pixelsAreTheSameAtAnyDistanceInAnOrthographicView) {
  const CubeCamera camera = orthographicCamera({30.0, -100.0, 50.0}, {}, 80.0);
  for (const double distance : {0.0, 30.0, 5000.0}) {
    EXPECT_NEAR(projectionOf(camera).pixelsOf(0.5, cubeAt({0.0, distance, 0.0}, 10.0)), 0.5 * kViewHeightPixels / 80.0,
                1e-9);
  }
}

TEST(CubeProjectionTest, theDistanceCountsAsAtLeastTheSpacing) {
  const CubeProjection projection = projectionOf(perspectiveCamera({}, {0.0, 1.0, 0.0}));
  const double atOwnDistance = kViewHeightPixels / (2.0 * halfAngleTangent());
  EXPECT_NEAR(projection.pixelsOf(0.5, cubeAt({}, 10.0)), atOwnDistance, 1e-9);
  EXPECT_NEAR(projection.pixelsOf(8.0, cubeAt({0.0, 6.0, 0.0}, 2.0)), atOwnDistance, 1e-9);
}

TEST(CubeProjectionTest, positionsAreRelativeToTheOriginOfTheCamera) {
  CubeCamera camera = perspectiveCamera({10.0, -100.0, 20.0}, {0.0, 0.0, 5.0});
  const osg::BoundingBoxd here = cubeAt({14.0, 30.0, -9.0}, 8.0);
  const osg::Plane clip(1.0, 0.0, 0.0, -17.0);
  const CubeProjection local = projectionOf(camera, {clip});
  camera.origin = kTownOrigin;
  const CubeProjection town = projectionOf(camera, {clip});
  const osg::BoundingBoxd there(here._min + kTownOrigin, here._max + kTownOrigin);
  EXPECT_NEAR(town.pixelsOf(0.5, there), local.pixelsOf(0.5, here), 1e-7);
  EXPECT_NEAR(town.centrality(there), local.centrality(here), 1e-7);
  EXPECT_TRUE(local.isVisible(here));
  EXPECT_TRUE(town.isVisible(there));
  EXPECT_FALSE(town.isVisible(here));
}

TEST(CubeProjectionTest, whatIsWhollyOnTheNegativeSideOfAClipPlaneIsNotVisible) {
  const CubeCamera camera = perspectiveCamera({0.0, -100.0, 0.0}, {});
  for (const double length : {1.0, 250.0}) {  // not normalized
    const osg::Vec4d keepsRight(length, 0.0, 0.0, -2.0 * length);
    const CubeProjection projection = projectionOf(camera, {osg::Plane(keepsRight), osg::Plane(0.0, 0.0, 1.0, 50.0)});
    EXPECT_TRUE(projection.isVisible(cubeAt({4.0, 0.0, 0.0}, 2.0)));
    EXPECT_TRUE(projection.isVisible(cubeAt({1.5, 0.0, 0.0}, 2.0))) << "partly clipped";
    EXPECT_FALSE(projection.isVisible(cubeAt({0.0, 0.0, 0.0}, 2.0)));
  }
}

TEST(CubeProjectionTest, centralityIsGreatestOnTheAxisOfTheView) {
  const double radius = std::sqrt(3.0);  // of the cubes
  for (const CubeCamera& camera : {perspectiveCamera({0.0, -100.0, 0.0}, {}),
                                   orthographicCamera({0.0, -100.0, 0.0}, {}, 200.0 * halfAngleTangent())}) {
    const CubeProjection projection = projectionOf(camera);
    const double halfHeight = 100.0 * halfAngleTangent();
    EXPECT_EQ(projection.centrality(cubeAt({}, 2.0)), 1.0);
    EXPECT_EQ(projection.centrality(cubeAt({0.9 * radius, 0.0, 0.0}, 2.0)), 1.0);
    EXPECT_NEAR(projection.centrality(cubeAt({radius + 0.5 * halfHeight, 0.0, 0.0}, 2.0)), 0.5, 0.02);
    EXPECT_GT(projection.centrality(cubeAt({0.0, 0.0, 8.0}, 2.0)),
              projection.centrality(cubeAt({0.0, 0.0, -9.0}, 2.0)));
    EXPECT_EQ(projection.centrality(cubeAt({radius + 1.2 * halfHeight, 0.0, 0.0}, 2.0)), 0.0);
  }
}

TEST(CubeProjectionTest, anEnlargedViewIsWiderAndHigherAndKeepsSizesInPixels) {
  const osg::Vec3d eye(0.0, -100.0, 0.0);
  const double up = 100.0 * halfAngleTangent();
  const double right = up * kAspectRatio;
  for (const CubeCamera& camera : {perspectiveCamera(eye, {}), orthographicCamera(eye, {}, 2.0 * up)}) {
    const CubeProjection projection = projectionOf(camera);
    const CubeProjection larger = projectionOf(enlarged(camera, 1.5));
    for (const osg::Vec3d& edge : {osg::Vec3d(right, 0.0, 0.0), osg::Vec3d(0.0, 0.0, -up)}) {
      EXPECT_FALSE(projection.isVisible(cubeAt(edge * 1.05, 1e-3)));
      EXPECT_TRUE(larger.isVisible(cubeAt(edge * 1.49, 1e-3)));
      EXPECT_FALSE(larger.isVisible(cubeAt(edge * 1.51, 1e-3)));
    }
    const osg::BoundingBoxd cube = cubeAt({10.0, 20.0, 5.0}, 3.0);
    EXPECT_NEAR(larger.pixelsOf(0.5, cube), projection.pixelsOf(0.5, cube), 1e-9);
  }
}

}  // namespace
