#include "manipulators/ScenePick.h"

#include "manipulators/DepthSearch.h"

#include <osg/Viewport>

#include <mutex>

namespace QuorOsgUtils {

namespace {

using FrameBuffer = ScreenCaptureTool::FrameBuffer;

DepthImage depthImageOf(FrameBuffer& frame) {
  DepthImage image{frame.getDepthBuffer(), 0, 0, 0, 0};
  frame.getViewPort(image.x, image.y, image.width, image.height);
  return image;
}

ViewState capturedViewState(FrameBuffer& frame, const DepthImage& image) {
  return {frame.getViewMatrix(),        frame.getProjectionMatrix(),      static_cast<double>(image.x),
          static_cast<double>(image.y), static_cast<double>(image.width), static_cast<double>(image.height)};
}

float middleDepth(const FrameBuffer& frame) {
  float minDepth = 0.0f;
  float maxDepth = 0.0f;
  frame.getMinAndMaxDepth(minDepth, maxDepth);
  return (minDepth + maxDepth) * 0.5f;
}

}  // namespace

ScreenCaptureTool* captureToolOf(osg::Camera& camera) {
  return dynamic_cast<ScreenCaptureTool*>(camera.getPostDrawCallback());
}

std::optional<ViewState> viewStateOf(const osg::Camera& camera) {
  const osg::Viewport* viewport = camera.getViewport();
  if (!viewport || !(viewport->width() > 0.0 && viewport->height() > 0.0)) {
    return std::nullopt;
  }
  return ViewState{camera.getViewMatrix(), camera.getProjectionMatrix(),
                   viewport->x(),          viewport->y(),
                   viewport->width(),      viewport->height()};
}

float pickSceneDepthPoint(int x, int y, osg::Vec3d& point, osg::View* view) {
  osg::Camera* camera = view ? view->getCamera() : nullptr;
  ScreenCaptureTool* tool = camera ? captureToolOf(*camera) : nullptr;
  if (!tool) {
    return 0.0f;
  }
  FrameBuffer& frame = tool->getFrameBuffer();
  const std::lock_guard<FrameBuffer> held(frame);
  const DepthImage image = depthImageOf(frame);
  const std::optional<float> found = sceneDepth(image, x, y);
  if (!found) {
    return 0.0f;
  }
  const float depth = *found != kBackgroundDepth ? *found : middleDepth(frame);
  const auto world = windowToWorld(capturedViewState(frame, image), osg::Vec3d(x, y, depth));
  if (!world) {
    return 0.0f;
  }
  point = *world;
  return depth;
}

double capturedPanDepth(osg::Camera& camera, double x, double y) {
  ScreenCaptureTool* tool = captureToolOf(camera);
  if (!tool) {
    return 0.0;
  }
  FrameBuffer& frame = tool->getFrameBuffer();
  const std::lock_guard<FrameBuffer> held(frame);
  return panDepth(depthImageOf(frame), x, y, middleDepth(frame));
}

}  // namespace QuorOsgUtils
