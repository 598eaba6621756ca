#include "support/CapturedManipulatorFixture.h"

namespace {

using namespace QuorTests;

class SPointCloudManipulatorGLTest : public CapturedManipulatorFixture {};

TEST_F(SPointCloudManipulatorGLTest, aPressPutsTheCentreOnTheSceneInTheMiddleOfTheView) {
  paint(0, 0, kWidth, kHeight, depthAtDistance(40.0));
  draw();
  const osg::Vec3d from = eye();
  EXPECT_TRUE(push(kRight, 17.0, 23.0));
  const double distance = distanceOfDepth(depthAtDistance(40.0));
  EXPECT_NEAR(distance, 40.0, 0.01);
  expectNear(_manipulator->getCenter(), from + osg::Vec3d(0.0, distance, 0.0), 1e-6);
  expectNear(_manipulator->_pivotPoint, _manipulator->getCenter(), 0.0);
  expectNear(_manipulator->_pivotIndicator->getPosition(), _manipulator->getCenter(), 0.0);
  EXPECT_NEAR(_manipulator->getDistance(), distance, 1e-6);
  expectNear(eye(), from, 1e-6);
}

TEST_F(SPointCloudManipulatorGLTest, aDoubleClickPutsTheCentreWhereAPressDoes) {
  paint(0, 0, kWidth, kHeight, depthAtDistance(40.0));
  draw();
  EXPECT_TRUE(doubleClick(kRight, 17.0, 23.0));
  EXPECT_NEAR(_manipulator->getDistance(), distanceOfDepth(depthAtDistance(40.0)), 1e-6);
}

TEST_F(SPointCloudManipulatorGLTest, aPressPicksInAnOrthographicViewToo) {
  useOrthographic(50.0);
  paint(0, 0, kWidth, kHeight, depthAtDistance(40.0));
  draw();
  push(kRight, 17.0, 23.0);
  EXPECT_NEAR(_manipulator->getDistance(), distanceOfDepth(depthAtDistance(40.0)), 1e-6);
}

TEST_F(SPointCloudManipulatorGLTest, aPressOnBackgroundTakesTheDepthOfTheSceneWithinReach) {
  paint(kWidth / 2 - 40, kHeight / 2, 9, 1, depthAtDistance(70.0));
  draw();
  push(kRight, 17.0, 23.0);
  expectNear(_manipulator->getCenter(), osg::Vec3d(0.0, -100.0 + distanceOfDepth(depthAtDistance(70.0)), 0.0), 1e-6);
}

TEST_F(SPointCloudManipulatorGLTest, aPressWithBackgroundWithinReachTakesTheMiddleOfTheCapturedRange) {
  // One pixel out of reach on each of two sides. The nearer one is lower, so the farther one is the end of the range.
  const float nearer = depthAtDistance(20.0);
  const float farther = depthAtDistance(90.0);
  paint(kWidth / 2, kHeight / 2 - 33, 1, 1, nearer);
  paint(kWidth / 2 + 33, kHeight / 2, 1, 1, farther);
  draw();
  push(kRight, 17.0, 23.0);
  const double distance = distanceOfDepth((nearer + farther) * 0.5f);
  expectNear(_manipulator->getCenter(), osg::Vec3d(0.0, -100.0 + distance, 0.0), 1e-6);
}

TEST_F(SPointCloudManipulatorGLTest, aPressOnNothingButBackgroundTakesHalfTheDepth) {
  draw();
  push(kRight, 17.0, 23.0);
  expectNear(_manipulator->getCenter(), osg::Vec3d(0.0, -100.0 + distanceOfDepth(0.5f), 0.0), 1e-6);
}

TEST_F(SPointCloudManipulatorGLTest, aPressReadsTheViewThatWasCaptured) {
  paint(0, 0, kWidth, kHeight, depthAtDistance(40.0));
  draw();
  const double distance = distanceOfDepth(depthAtDistance(40.0));
  // Since then the camera has moved 5 to the right and 10 ahead; its line of sight misses the picked point.
  lookAt(osg::Vec3d(5.0, -90.0, 0.0), osg::Vec3d(5.0, -80.0, 0.0));
  push(kRight, 17.0, 23.0);
  expectNear(_manipulator->getCenter(), osg::Vec3d(5.0, -100.0 + distance, 0.0), 1e-6);
}

TEST_F(SPointCloudManipulatorGLTest, aPressFarFromTheOriginLosesNoPrecision) {
  const osg::Vec3d from(1.0e7 + 0.25, -9.0e6 + 0.125, 1234.5);
  lookAt(from, from + osg::Vec3d(30.0, 40.0, -10.0));
  paint(0, 0, kWidth, kHeight, depthAtDistance(40.0));
  draw();
  push(kRight, 17.0, 23.0);
  EXPECT_NEAR(_manipulator->getDistance(), distanceOfDepth(depthAtDistance(40.0)), 1e-7);
  // The spacing of doubles at 1e7 is 1.9e-9; the view matrix and its inverse lose a few of these steps.
  expectNear(eye(), from, 1e-7);
}

TEST_F(SPointCloudManipulatorGLTest, aViewportThatStartsElsewhereIsPickedWithinTheImage) {
  camera().setViewport(200, 150, kWidth, kHeight);
  paint(0, 0, kWidth, kHeight, depthAtDistance(40.0));
  draw();
  push(kRight, 17.0, 23.0);
  // The image's centre is a quarter of the viewport away from the viewport's, at the same distance along the view.
  EXPECT_NEAR(_manipulator->getDistance(), distanceOfDepth(depthAtDistance(40.0)), 1e-6);
}

TEST_F(SPointCloudManipulatorGLTest, aSearchNearTheEdgeOfAViewportAwayFromTheOriginStaysInTheImage) {
  for (const int offset : {-5000, -700, 390, 790, 5000}) {
    camera().setViewport(offset, offset, kWidth - 1, kHeight - 1);
    draw();
    EXPECT_TRUE(push(kRight, 17.0, 23.0));
    EXPECT_TRUE(_manipulator->getCenter().valid());
    // A different size, so that the next viewport is recorded with its origin.
    camera().setViewport(offset, offset, kWidth, kHeight);
    draw();
    EXPECT_TRUE(push(kRight, 17.0, 23.0));
    EXPECT_TRUE(_manipulator->getCenter().valid());
  }
}

TEST_F(SPointCloudManipulatorGLTest, aViewportThatGrewSinceTheCaptureIsNotReadBeyondIt) {
  camera().setViewport(0, 0, 100, 80);
  paint(0, 0, kWidth, kHeight, depthAtDistance(40.0));
  draw();
  camera().setViewport(0, 0, kWidth, kHeight);
  push(kRight, 17.0, 23.0);
  // Past the captured image nothing is picked: the centre goes to the foot of the perpendicular from the origin.
  expectNear(_manipulator->getCenter(), osg::Vec3d(), 1e-9);
}

TEST_F(SPointCloudManipulatorGLTest, aPressOverAnEmptyViewportPicksAtItsWholePixelMiddle) {
  const struct {
    int width, height, x, y;
    double distance;
  } views[] = {{0, 0, 0, 0, 20.0}, {kWidth + 1, 0, kWidth / 2, 0, 40.0}, {0, kHeight + 1, 0, kHeight / 2, 60.0}};
  paint(0, 0, kWidth, kHeight, depthAtDistance(90.0));
  for (const auto& view : views) {
    paint(view.x, view.y, 1, 1, depthAtDistance(view.distance));
  }
  draw();
  const osg::Vec3d from = eye();
  for (const auto& view : views) {
    camera().setViewport(0, 0, view.width, view.height);
    EXPECT_TRUE(push(kRight, 17.0, 23.0));
    EXPECT_NEAR(_manipulator->getDistance(), distanceOfDepth(depthAtDistance(view.distance)), 1e-6);
    expectNear(eye(), from, 1e-6);
  }
}

TEST_F(SPointCloudManipulatorGLTest, aPressLeavesTheFrameBufferUnlocked) {
  draw();
  push(kRight, 17.0, 23.0);
  push(kMiddle, 17.0, 23.0);
  drag(kMiddle, 30.0, 40.0);
  scroll(Event::SCROLL_UP, 30.0, 4000.0);
  scroll(Event::SCROLL_UP, 30.0, 40.0);
  // A lock still held would make this spin forever.
  frame().lock();
  frame().release();
}

}  // namespace
