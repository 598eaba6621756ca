#include "extras/PointerRay.h"
#include "support/Near.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace QuorOsgUtils;
using QuorTests::expectNear;

constexpr double kWidth = 800.0;
constexpr double kHeight = 600.0;
const osg::Vec3d kEye(10.0, -100.0, 5.0);

/// Looks along +Y. The image is twice as high as the distance, or 20 units high.
ViewState perspective() {
  return {osg::Matrixd::lookAt(kEye, kEye + osg::Vec3d(0.0, 1.0, 0.0), osg::Vec3d(0.0, 0.0, 1.0)),
          osg::Matrixd::frustum(-4.0 / 3.0, 4.0 / 3.0, -1.0, 1.0, 1.0, 1000.0),
          0.0,
          0.0,
          kWidth,
          kHeight};
}

ViewState orthographic() {
  ViewState state = perspective();
  state.projection = osg::Matrixd::ortho(-40.0 / 3.0, 40.0 / 3.0, -10.0, 10.0, 1.0, 1000.0);
  return state;
}

TEST(PointerRayTest, aPerspectiveRayStartsAtTheEyeAndPassesThroughThePixel) {
  const auto ray = pointerRay(perspective(), osg::Vec2d(600.0, 450.0));
  ASSERT_TRUE(ray);
  expectNear(ray->origin, kEye, 1e-9);
  osg::Vec3d expected(2.0 / 3.0, 1.0, 0.5);  // half of the image's half width and half height, at distance 1
  expected.normalize();
  expectNear(ray->direction, expected, 1e-12);
}

TEST(PointerRayTest, anOrthographicRayIsParallelToTheView) {
  const auto ray = pointerRay(orthographic(), osg::Vec2d(600.0, 450.0));
  ASSERT_TRUE(ray);
  expectNear(ray->origin, kEye + osg::Vec3d(20.0 / 3.0, 0.0, 5.0), 1e-9);
  expectNear(ray->direction, osg::Vec3d(0.0, 1.0, 0.0), 1e-12);
}

TEST(PointerRayTest, aPointAheadIsAtThatDistanceFromTheEyesPlane) {
  expectNear(*viewPointAhead(perspective(), osg::Vec2d(600.0, 450.0), 30.0), osg::Vec3d(20.0, 15.0, -30.0), 1e-9);
  expectNear(*viewPointAhead(orthographic(), osg::Vec2d(600.0, 450.0), 30.0), osg::Vec3d(20.0 / 3.0, 5.0, -30.0), 1e-9);
  EXPECT_NEAR(distanceAhead(perspective(), osg::Vec3d(3.0, -70.0, -9.0)), 30.0, 1e-9);
}

TEST(PointerRayTest, aPointIsOnScreenInsideTheViewportAndInFront) {
  EXPECT_TRUE(isOnScreen(perspective(), kEye + osg::Vec3d(13.0, 10.0, 9.0)));
  EXPECT_FALSE(isOnScreen(perspective(), kEye + osg::Vec3d(14.0, 10.0, 9.0)));
  EXPECT_FALSE(isOnScreen(perspective(), kEye + osg::Vec3d(0.0, 10.0, 11.0)));
  EXPECT_FALSE(isOnScreen(perspective(), kEye + osg::Vec3d(0.0, -10.0, 0.0)));
  EXPECT_TRUE(isOnScreen(orthographic(), kEye + osg::Vec3d(13.0, 500.0, 9.0)));
}

TEST(PointerRayTest, theMiddleInsideABoxIsHalfWayBetweenItsSides) {
  const osg::BoundingBoxd box(0.0, 0.0, 0.0, 10.0, 20.0, 10.0);
  expectNear(*middleInside({osg::Vec3d(5.0, -50.0, 5.0), osg::Vec3d(0.0, 1.0, 0.0)}, box), osg::Vec3d(5.0, 10.0, 5.0),
             1e-9);
  EXPECT_FALSE(middleInside({osg::Vec3d(5.0, -50.0, 11.0), osg::Vec3d(0.0, 1.0, 0.0)}, box));
  EXPECT_FALSE(middleInside({osg::Vec3d(5.0, 50.0, 5.0), osg::Vec3d(0.0, 1.0, 0.0)}, box)) << "the box is behind";
}

TEST(PointerRayTest, fromInsideABoxOnlyTheWayAheadCounts) {
  const osg::BoundingBoxd box(0.0, 0.0, 0.0, 10.0, 20.0, 10.0);
  expectNear(*middleInside({osg::Vec3d(5.0, 10.0, 5.0), osg::Vec3d(0.0, 1.0, 0.0)}, box), osg::Vec3d(5.0, 15.0, 5.0),
             1e-9);
}

TEST(PointerRayTest, matricesThatCannotBeInvertedGiveNothing) {
  ViewState state = perspective();
  state.projection = osg::Matrixd::scale(0.0, 0.0, 0.0);
  EXPECT_FALSE(pointerRay(state, osg::Vec2d(1.0, 1.0)));
  EXPECT_FALSE(viewPointAhead(state, osg::Vec2d(1.0, 1.0), 1.0));
}

}  // namespace
