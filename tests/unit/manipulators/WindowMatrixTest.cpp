#include "manipulators/WindowMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using QuorOsgUtils::lookDirection;
using QuorOsgUtils::ViewState;
using QuorOsgUtils::wholePixel;
using QuorOsgUtils::windowMatrix;
using QuorOsgUtils::windowToView;
using QuorOsgUtils::windowToWorld;

ViewState frustumAt(const osg::Vec3d& eye) {
  return {osg::Matrixd::lookAt(eye, eye + osg::Vec3d(0.0, 1.0, 0.0), osg::Vec3d(0.0, 0.0, 1.0)),
          osg::Matrixd::frustum(-1.0, 1.0, -0.5, 0.5, 1.0, 1000.0),
          0.0,
          0.0,
          400.0,
          200.0};
}

/// The window depth of a distance ahead, from the frustum's own definition (near 1, far 1000).
double depthOf(double distance) {
  return 1000.0 / 999.0 * (1.0 - 1.0 / distance);
}

TEST(WindowMatrixTest, carriesTheClipCubeToTheViewportAndDepthsFromZeroToOne) {
  ViewState state;
  state.x = 10.0;
  state.y = 20.0;
  state.width = 400.0;
  state.height = 200.0;
  const osg::Matrixd matrix = windowMatrix(state);
  EXPECT_EQ(osg::Vec3d(-1.0, -1.0, -1.0) * matrix, osg::Vec3d(10.0, 20.0, 0.0));
  EXPECT_EQ(osg::Vec3d(1.0, 1.0, 1.0) * matrix, osg::Vec3d(410.0, 220.0, 1.0));
}

TEST(WindowMatrixTest, unprojectsTheMiddleOfTheWindowStraightAhead) {
  const auto point = windowToWorld(frustumAt(osg::Vec3d(1.0, 2.0, 3.0)), osg::Vec3d(200.0, 100.0, depthOf(50.0)));
  ASSERT_TRUE(point);
  EXPECT_NEAR((*point - osg::Vec3d(1.0, 52.0, 3.0)).length(), 0.0, 1e-9);
}

TEST(WindowMatrixTest, unprojectsTheRightEdgeAtTheFrustumsSlope) {
  const auto point = windowToView(frustumAt(osg::Vec3d()), osg::Vec3d(400.0, 200.0, depthOf(50.0)));
  ASSERT_TRUE(point);
  EXPECT_NEAR((*point - osg::Vec3d(50.0, 25.0, -50.0)).length(), 0.0, 1e-9);
}

TEST(WindowMatrixTest, losesNothingFarFromTheOrigin) {
  const osg::Vec3d eye(1.0e7 + 0.25, -9.0e6 - 0.125, 1.0e3);
  const auto point = windowToWorld(frustumAt(eye), osg::Vec3d(400.0, 200.0, depthOf(50.0)));
  ASSERT_TRUE(point);
  // The step of a double at 1e7 is 1.9e-9.
  EXPECT_NEAR((*point - eye - osg::Vec3d(50.0, 50.0, 25.0)).length(), 0.0, 2e-8);
}

TEST(WindowMatrixTest, aViewportWithoutASizeYieldsNoPoint) {
  ViewState state = frustumAt(osg::Vec3d());
  state.width = 0.0;
  EXPECT_FALSE(windowToView(state, osg::Vec3d(0.0, 0.0, 0.5)));
  EXPECT_FALSE(windowToWorld(state, osg::Vec3d(0.0, 0.0, 0.5)));
}

TEST(WindowMatrixTest, aNanDepthYieldsNoPoint) {
  EXPECT_FALSE(windowToWorld(frustumAt(osg::Vec3d()), osg::Vec3d(200.0, 100.0, std::nan(""))));
}

TEST(WindowMatrixTest, aViewsDirectionIsExactFarFromTheOrigin) {
  EXPECT_EQ(lookDirection(frustumAt(osg::Vec3d(1.0e7, -1.0e7, 1.0e3)).view), osg::Vec3d(0.0, 1.0, 0.0));
}

TEST(WindowMatrixTest, anEmptyViewMatrixYieldsNoPoint) {
  ViewState state = frustumAt(osg::Vec3d());
  state.view = osg::Matrixd::scale(0.0, 0.0, 0.0);
  EXPECT_FALSE(windowToWorld(state, osg::Vec3d(0.0, 0.0, 0.5)));
}

TEST(WindowMatrixTest, aPositionIsTruncatedTowardsZero) {
  EXPECT_EQ(wholePixel(7.9), 7);
  EXPECT_EQ(wholePixel(-0.9), 0);
  EXPECT_EQ(wholePixel(-7.9), -7);
}

TEST(WindowMatrixTest, invalidPixelsLieOutsideEveryImage) {
  constexpr int kOutside = std::numeric_limits<int>::min();
  EXPECT_EQ(wholePixel(std::nan("")), kOutside);
  EXPECT_EQ(wholePixel(1e20), kOutside);
  EXPECT_EQ(wholePixel(-std::numeric_limits<double>::infinity()), kOutside);
}

}  // namespace
