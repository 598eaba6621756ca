#include "extras/DrawnViews.h"

#include <osg/CullStack>
#include <osg/Viewport>

#include <algorithm>

namespace QuorOsgUtils {
namespace {

std::optional<CaptureViewport> pixelsOf(const osg::Viewport* viewport) {
  return viewport ? captureViewport(viewport->x(), viewport->y(), viewport->width(), viewport->height()) : std::nullopt;
}

}  // namespace

void DrawnViews::operator()(osg::Node* camera, osg::NodeVisitor* visitor) {
  if (osg::CullStack* const stack = visitor->asCullStack()) {
    const std::lock_guard<std::mutex> held(_mutex);
    _culled[_next] = {stack->getModelViewMatrix(), stack->getProjectionMatrix(), pixelsOf(stack->getViewport())};
    _next = (_next + 1) % kKept;
  }
  traverse(camera, visitor);
}

DrawnView DrawnViews::of(const osg::State& state, const osg::Camera& camera) const {
  const osg::Matrix* const drawn = &state.getInitialViewMatrix();
  const std::lock_guard<std::mutex> held(_mutex);
  const auto known = std::find_if(_culled.begin(), _culled.end(), [drawn](const Culled& culled) {
    return culled.view && static_cast<const osg::Matrix*>(culled.view.get()) == drawn;
  });
  if (known == _culled.end()) {
    return {*drawn, state.getProjectionMatrix(), pixelsOf(camera.getViewport())};
  }
  return {*drawn, osg::Matrix(known->projection->ptr()), known->viewport};
}

}  // namespace QuorOsgUtils
