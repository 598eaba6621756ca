#include "support/CapturedManipulatorFixture.h"

#include <osg/Program>

#include <cmath>
#include <random>

namespace {

using namespace QuorTests;

class PointCloudNavigationGLTest : public CapturedManipulatorFixture {
 protected:
  double between(double low, double high) { return std::uniform_real_distribution<double>(low, high)(_random); }
  double pixelColumn() { return std::floor(between(0.0, kWidth)); }
  double pixelRow() { return std::floor(between(0.0, kHeight)); }

  /// A view in a random direction from a random point near (1e7, −1e7).
  void lookFromFarAway() {
    const osg::Vec3d from(1e7 + between(-1e3, 1e3), -1e7 + between(-1e3, 1e3), between(-1e3, 1e3));
    lookAt(from, from + osg::Vec3d(between(-1.0, 1.0), between(-1.0, 1.0), between(-0.9, 0.9)) * 50.0);
  }

  /// Makes the scene a plane at a distance ahead; returns its distance as the depth image stores it.
  double drawPlaneAt(double distance) {
    clearPainting();
    paint(0, 0, kWidth, kHeight, depthAtDistance(distance));
    draw();
    return distanceOfDepth(depthAtDistance(distance));
  }

  /// Drags between random positions and expects the grabbed point under the pointer, within a pixel. The side vector
  /// has single precision: seven digits of the window's width, far less than a pixel.
  void expectTheGrabbedPointToFollow(double distance) {
    const double x = pixelColumn();
    const double y = pixelRow();
    push(kMiddle, x, y);
    updateCamera();
    const osg::Vec3d grabbed = worldAtDistance(x, y, distance);
    for (int i = 0; i < 10; ++i) {
      const double toX = pixelColumn();
      const double toY = pixelRow();
      EXPECT_TRUE(drag(kMiddle, toX, toY));
      updateCamera();
      const osg::Vec3d window = toWindow(grabbed);
      ASSERT_NEAR(window.x(), toX, 1.0);
      ASSERT_NEAR(window.y(), toY, 1.0);
    }
  }

  std::mt19937 _random{17};
};

TEST_F(PointCloudNavigationGLTest, theGrabbedPointStaysUnderThePointerInAPerspectivePanFarFromTheOrigin) {
  for (int i = 0; i < 25; ++i) {
    lookFromFarAway();
    expectTheGrabbedPointToFollow(drawPlaneAt(between(2.0, 900.0)));
  }
}

TEST_F(PointCloudNavigationGLTest, theGrabbedPointStaysUnderThePointerInAnOrthographicPanFarFromTheOrigin) {
  for (int i = 0; i < 25; ++i) {
    useOrthographic(between(0.5, 500.0));
    lookFromFarAway();
    expectTheGrabbedPointToFollow(drawPlaneAt(between(2.0, 900.0)));
  }
}

TEST_F(PointCloudNavigationGLTest, aPanMovesByTheDepthUnderThePointer) {
  paint(0, 0, kWidth / 2, kHeight, depthAtDistance(20.0));
  paint(kWidth / 2, 0, kWidth / 2, kHeight, depthAtDistance(80.0));
  draw();
  push(kMiddle, 100.0, 100.0);
  osg::Vec3d before = _manipulator->getCenter();
  drag(kMiddle, 110.0, 100.0);
  const double unitsPerPixel = 2.0 * std::tan(osg::DegreesToRadians(30.0)) / kHeight;
  expectNear(_manipulator->getCenter() - before, osg::Vec3d(-200.0 * unitsPerPixel, 0.0, 0.0), 1e-3);
  drag(kMiddle, 700.0, 100.0);
  before = _manipulator->getCenter();
  drag(kMiddle, 690.0, 100.0);
  expectNear(_manipulator->getCenter() - before, osg::Vec3d(800.0 * unitsPerPixel, 0.0, 0.0), 1e-2);
}

TEST_F(PointCloudNavigationGLTest, aPanOverBackgroundOrOutsideTheImageTakesTheMiddleOfTheCapturedRange) {
  const float nearer = depthAtDistance(20.0);
  const float farther = depthAtDistance(90.0);
  paint(0, 0, 10, 10, nearer);
  paint(0, 20, 10, 10, farther);
  draw();
  const double perPixel =
      2.0 * std::tan(osg::DegreesToRadians(30.0)) / kHeight * distanceOfDepth((nearer + farther) * 0.5f);
  push(kMiddle, 400.0, 300.0);
  osg::Vec3d before = _manipulator->getCenter();
  EXPECT_TRUE(drag(kMiddle, 410.0, 300.0));
  expectNear(_manipulator->getCenter() - before, osg::Vec3d(-10.0 * perPixel, 0.0, 0.0), 1e-5);
  for (const double y : {10000.0, -10000.0}) {
    drag(kMiddle, 410.0, y);
    before = _manipulator->getCenter();
    EXPECT_TRUE(drag(kMiddle, 420.0, y));
    expectNear(_manipulator->getCenter() - before, osg::Vec3d(-10.0 * perPixel, 0.0, 0.0), 1e-5);
  }
}

TEST_F(PointCloudNavigationGLTest, aPerspectiveNotchMovesExactlyOneStepAlongTheViewOnTheRayUnderThePointer) {
  for (int i = 0; i < 10; ++i) {
    lookFromFarAway();
    const double distance = drawPlaneAt(between(2.0, 900.0));
    for (int j = 0; j < 10; ++j) {
      const double x = pixelColumn();
      const double y = pixelRow();
      // The pick uses the captured view, the step the camera's: return to the view of the drawn frame.
      const osg::Vec3d center = _manipulator->getCenter();
      const osg::Vec3d ray = worldAtDistance(x, y, distance) - eye();
      const bool isUp = j % 2 == 0;
      EXPECT_TRUE(scroll(isUp ? Event::SCROLL_UP : Event::SCROLL_DOWN, x, y));
      const osg::Vec3d movement = _manipulator->getCenter() - center;
      // 10 percent of the far plane at 1000.
      ASSERT_NEAR(movement * viewDirection(), isUp ? 100.0 : -100.0, 1e-6);
      ASSERT_NEAR((movement ^ ray).length() / ray.length(), 0.0, 1e-4);
      _manipulator->setCenter(center);
    }
  }
}

TEST_F(PointCloudNavigationGLTest, aPerspectiveNotchOverAnEmptyViewportGoesToThePickedPoint) {
  const double distance = drawPlaneAt(50.0);
  const osg::Vec3d before = _manipulator->getCenter();
  const osg::Vec3d ray = worldAtDistance(600.0, 200.0, distance) - eye();
  camera().setViewport(0, 0, 0, 0);
  EXPECT_TRUE(scroll(Event::SCROLL_UP, 600.0, 200.0));
  // 10 percent of the far plane at 1000, measured along the view.
  expectNear(_manipulator->getCenter() - before, ray * (100.0 / distance), 1e-3);
}

TEST_F(PointCloudNavigationGLTest, aNotchOutsideTheImageGoesTowardsTheOrigin) {
  lookAt(osg::Vec3d(20.0, -100.0, 0.0), osg::Vec3d(20.0, -90.0, 0.0));
  drawPlaneAt(40.0);
  for (const double y : {-1.0, static_cast<double>(kHeight), 1e20, std::nan("")}) {
    lookAt(osg::Vec3d(20.0, -100.0, 0.0), osg::Vec3d(20.0, -90.0, 0.0));
    EXPECT_TRUE(scroll(Event::SCROLL_UP, 0.0, y));
    expectNear(eye(), osg::Vec3d(0.0, 0.0, 0.0), 1e-6);
  }
}

/// A frame-buffer object with integer attachments rejects drawing without a shader, so an application's scene has one.
osg::ref_ptr<osg::Program> plainColours() {
  osg::ref_ptr<osg::Program> program = new osg::Program;
  program->addShader(
      new osg::Shader(osg::Shader::VERTEX, "void main() { gl_FrontColor = gl_Color; gl_Position = ftransform(); }"));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, "void main() { gl_FragData[0] = gl_Color; }"));
  return program;
}

TEST_F(PointCloudNavigationGLTest, theMarkerIsDrawnOverTheSceneDuringARightDragAndIsGoneAfterTheRelease) {
  _viewer->getSceneData()->getOrCreateStateSet()->setAttributeAndModes(plainColours());
  drawPlaneAt(5.0);
  push(kRight, 400.0, 300.0);
  clearPainting();
  setBackgroundDepth(depthAtDistance(2.0));
  draw();
  EXPECT_EQ(colouredPixels(), 0);
  drag(kRight, 410.0, 305.0);
  draw();
  const int shown = colouredPixels();
  EXPECT_GT(shown, 1000);
  // Seen from a hundred times as far away, it keeps its size.
  _manipulator->setDistance(100.0 * _manipulator->getDistance());
  draw();
  EXPECT_NEAR(colouredPixels(), shown, 0.1 * shown);
  release(0, 410.0, 305.0);
  draw();
  EXPECT_EQ(colouredPixels(), 0);
}

}  // namespace
