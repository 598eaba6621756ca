#pragma once

#include "support/IdentifiedScene.h"

#include <QuorOsgUtils/CapturedCamera.h>
#include <QuorOsgUtils/SnapshotCaptureTool.h>
#include <QuorOsgUtils/SnapshotPick.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <optional>
#include <thread>

namespace QuorTests {

constexpr int kWidth = 160;
constexpr int kHeight = 120;

/// The plane y + z / 2 = 10, seen along +Y from near the origin. Depths of 32 bits between a near plane of 0.1 and a
/// far plane of 1000 resolve distances near 10 to about 1e-4 units.
inline const IdentifiedQuad kPlane = {
    {-400.0f, 10.0f + 100.0f, -200.0f}, {800.0f, 0.0f, 0.0f}, {0.0f, -200.0f, 400.0f}, 7};
constexpr double kTolerance = 1e-2;

inline double distanceFromPlane(const osg::Vec3d& point) {
  return std::abs(point.y() + 0.5 * point.z() - 10.0) / std::sqrt(1.25);
}

/// The world position of the centre of a pixel (counted within the viewport) at a depth.
inline osg::Vec3d unproject(const osg::Matrixd& view, const osg::Matrixd& projection, int width, int height, int column,
                            int row, double depth) {
  const osg::Vec3d device((column + 0.5) / width * 2.0 - 1.0, (row + 0.5) / height * 2.0 - 1.0, depth * 2.0 - 1.0);
  return device * osg::Matrixd::inverse(view * projection);
}

/// Takes its time, so that the event thread is always ahead of it.
struct SlowDraw : osg::Drawable::DrawCallback {
  void drawImplementation(osg::RenderInfo& renderInfo, const osg::Drawable* drawable) const override {
    drawable->drawImplementation(renderInfo);
    std::this_thread::sleep_for(std::chrono::milliseconds(8));
  }
};

/// A captured camera that moves over the plane, in a threading model.
class PlaneFixture : public testing::Test {
 protected:
  void start(ThreadingModel model) {
    _offscreen = std::make_unique<OffscreenViewer>(kWidth, kHeight, model);
    ASSERT_TRUE(_offscreen->valid()) << "these tests need a display with OpenGL";
    _captured = std::make_unique<QuorOsgUtils::CapturedCamera>(_offscreen->camera());
    _plane = createNode(kPlane);
    _offscreen->scene().addChild(_plane);
    moveTo(0);
  }

  osg::Camera& camera() { return _offscreen->camera(); }
  QuorOsgUtils::SnapshotCaptureTool& tool() { return _captured->tool(); }

  /// A view for each step, all of which show only the plane.
  void moveTo(int step) {
    const double angle = 0.02 * step;
    const osg::Vec3d eye(std::sin(7.0 * angle), -3.0 + 2.0 * std::cos(5.0 * angle), std::sin(3.0 * angle));
    const osg::Vec3d ahead(0.3 * std::sin(11.0 * angle), 1.0, 0.2 * std::cos(13.0 * angle));
    camera().setViewMatrixAsLookAt(eye, eye + ahead, osg::Vec3d(0.0, 0.0, 1.0));
  }

  /// How many of some pixels, unprojected with the frame's own matrices, miss the plane or the position that the shader
  /// wrote for them.
  static int missesOf(const QuorOsgUtils::FrameSnapshot& frame) {
    int misses = 0;
    for (int row = 3; row < frame.region.height; row += 13) {
      for (int column = 3; column < frame.region.width; column += 17) {
        const auto pixel = static_cast<std::size_t>(row * frame.region.width + column);
        const osg::Vec3d found = unproject(frame.viewMatrix, frame.projectionMatrix, frame.region.width,
                                           frame.region.height, column, row, frame.depths[pixel]);
        const float* position = &frame.itemFloats[pixel * 4];
        const osg::Vec3d written(position[0], position[1], position[2]);
        misses += distanceFromPlane(found) > kTolerance || (found - written).length() > 3.0 * kTolerance;
      }
    }
    return misses;
  }

  /// How many picks in some pixels of the region differ from the position that the shader wrote for them.
  static int wrongPicksOf(const QuorOsgUtils::FrameSnapshot& frame) {
    const QuorOsgUtils::PixelRectangle& region = frame.region;
    int wrong = 0;
    for (int y = region.y + 3; y < region.y + region.height; y += 13) {
      for (int x = region.x + 3; x < region.x + region.width; x += 17) {
        const float* position = &frame.itemFloats[*frame.pixelAt(x, y) * 4];
        const osg::Vec3d written(position[0], position[1], position[2]);
        const std::optional<osg::Vec3d> picked = worldAt(frame, x, y);
        wrong += !picked || (*picked - written).length() > 3.0 * kTolerance;
      }
    }
    return wrong;
  }

  std::unique_ptr<OffscreenViewer> _offscreen;
  std::unique_ptr<QuorOsgUtils::CapturedCamera> _captured;
  osg::ref_ptr<osg::Geometry> _plane;
};

}  // namespace QuorTests
