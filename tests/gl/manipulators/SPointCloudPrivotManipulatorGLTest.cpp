#include "support/CapturedManipulatorFixture.h"

namespace {

using namespace QuorTests;

class SPointCloudPrivotManipulatorGLTest : public CapturedPivotManipulatorFixture {
 protected:
  /// Pixel positions are truncated before the pick.
  void expectPivotAt(double x, double y, float depth, double tolerance) {
    expectNear(_manipulator->_pivotPoint, worldAtDistance(x, y, distanceOfDepth(depth)), tolerance);
    expectNear(_manipulator->_pivotIndicator->getPosition(), _manipulator->_pivotPoint, 0.0);
  }

  void expectPivotStays(double tolerancePixels) {
    const osg::Vec3d pivot = _manipulator->_pivotPoint;
    const osg::Vec3d place = toWindow(pivot);
    const double distance = (eye() - pivot).length();
    for (const auto& [x, y] : {std::pair{300.0, 200.0}, {350.0, 420.0}, {120.0, 130.0}, {640.0, 555.0}}) {
      EXPECT_TRUE(drag(kRight, x, y));
      updateCamera();
      draw();
      EXPECT_EQ(_manipulator->_pivotPoint, pivot);
      EXPECT_NEAR((toWindow(pivot) - place).length(), 0.0, tolerancePixels);
      EXPECT_NEAR((eye() - pivot).length(), distance, 1e-4 * distance);
    }
  }
};

TEST_F(SPointCloudPrivotManipulatorGLTest, aPressPicksTheSceneUnderThePointerAndLeavesTheOrbitCentre) {
  paint(100, 80, 60, 60, depthAtDistance(40.0));
  draw();
  const osg::Vec3d centre = _manipulator->getCenter();
  const double distance = _manipulator->getDistance();
  EXPECT_TRUE(push(kRight, 123.75, 101.5));
  expectPivotAt(123.0, 101.0, depthAtDistance(40.0), 1e-6);
  EXPECT_EQ(_manipulator->getCenter(), centre);
  EXPECT_EQ(_manipulator->getDistance(), distance);
}

TEST_F(SPointCloudPrivotManipulatorGLTest, aPressPicksInAnOrthographicViewToo) {
  useOrthographic(50.0);
  paint(100, 80, 60, 60, depthAtDistance(40.0));
  draw();
  push(kRight, 123.0, 101.0);
  // The depth has single precision over a range of a thousand units.
  expectPivotAt(123.0, 101.0, depthAtDistance(40.0), 1e-4);
}

TEST_F(SPointCloudPrivotManipulatorGLTest, aPressOnBackgroundTakesTheDepthOfTheSceneWithinReach) {
  paint(100, 80, 1, 1, depthAtDistance(40.0));
  draw();
  push(kRight, 132.0, 112.0);
  expectPivotAt(132.0, 112.0, depthAtDistance(40.0), 1e-6);
}

TEST_F(SPointCloudPrivotManipulatorGLTest, aPressWithBackgroundWithinReachTakesTheMiddleOfTheCapturedRange) {
  const float nearer = depthAtDistance(20.0);
  const float farther = depthAtDistance(90.0);
  paint(100, 80, 1, 1, nearer);
  paint(700, 500, 1, 1, farther);
  draw();
  push(kRight, 133.0, 80.0);
  expectPivotAt(133.0, 80.0, (nearer + farther) * 0.5f, 1e-6);
}

TEST_F(SPointCloudPrivotManipulatorGLTest, aPressOutsideTheImageTakesTheWorldsOrigin) {
  draw();
  _manipulator->_pivotPoint = osg::Vec3d(1.0, 2.0, 3.0);
  push(kRight, 400.0, kHeight + 5.0);
  EXPECT_EQ(_manipulator->_pivotPoint, osg::Vec3d());
}

TEST_F(SPointCloudPrivotManipulatorGLTest, thePickedPointStaysUnderThePointerWhileTheViewTurns) {
  paint(0, 0, kWidth, kHeight, depthAtDistance(40.0));
  draw();
  push(kRight, 200.0, 150.0);
  expectPivotStays(1.0);
}

TEST_F(SPointCloudPrivotManipulatorGLTest, thePickedPointStaysInAnOrthographicView) {
  useOrthographic(50.0);
  paint(0, 0, kWidth, kHeight, depthAtDistance(40.0));
  draw();
  push(kRight, 200.0, 150.0);
  expectPivotStays(1.0);
}

TEST_F(SPointCloudPrivotManipulatorGLTest, thePickedPointStaysFarFromTheOrigin) {
  const osg::Vec3d distant(1.0e7, -2.0e7, 300.0);
  lookAt(distant + osg::Vec3d(30.0, -100.0, 40.0), distant);
  paint(0, 0, kWidth, kHeight, depthAtDistance(40.0));
  draw();
  push(kRight, 200.0, 150.0);
  expectPivotAt(200.0, 150.0, depthAtDistance(40.0), 1e-3);
  expectPivotStays(1.0);
}

}  // namespace
