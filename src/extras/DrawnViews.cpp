#include "extras/DrawnViews.h"

#include <osgUtil/CullVisitor>

#include <algorithm>

namespace QuorOsgUtils {
namespace {

std::optional<CaptureViewport> pixelsOf(const osg::Viewport& viewport) {
  return captureViewport(viewport.x(), viewport.y(), viewport.width(), viewport.height());
}

}  // namespace

void DrawnViews::operator()(osg::Node* camera, osg::NodeVisitor* visitor) {
  osgUtil::CullVisitor* const cull = visitor->asCullVisitor();
  const osg::Viewport* const viewport = cull ? cull->getViewport() : nullptr;
  if (!viewport) {
    traverse(camera, visitor);
    return;
  }
  cull->pushStateSet(_keep(*cull, *viewport));
  traverse(camera, visitor);
  cull->popStateSet();
}

const osg::StateSet* DrawnViews::_keep(osg::CullStack& stack, const osg::Viewport& viewport) {
  const std::lock_guard<std::mutex> held(_mutex);
  const osg::ref_ptr<const osg::StateSet> state = _stateFor(viewport);
  _culled[_next] = {stack.getModelViewMatrix(), stack.getProjectionMatrix(), pixelsOf(viewport), state};
  _next = (_next + 1) % kKept;
  return state;
}

// OSG keeps what it has built for a state set from frame to frame.
osg::ref_ptr<const osg::StateSet> DrawnViews::_stateFor(const osg::Viewport& viewport) const {
  const osg::ref_ptr<const osg::StateSet>& last = _culled[(_next + kKept - 1) % kKept].state;
  if (last && last->getAttribute(osg::StateAttribute::VIEWPORT)->compare(viewport) == 0) {
    return last;
  }
  const osg::ref_ptr<osg::StateSet> state = new osg::StateSet;
  state->setAttribute(new osg::Viewport(viewport));
  return state;
}

DrawnView DrawnViews::of(const osg::State& state, const osg::Camera& camera) const {
  const osg::Matrix* const drawn = &state.getInitialViewMatrix();
  const std::lock_guard<std::mutex> held(_mutex);
  const auto known = std::find_if(_culled.begin(), _culled.end(), [drawn](const Culled& culled) {
    return culled.view && static_cast<const osg::Matrix*>(culled.view.get()) == drawn;
  });
  if (known == _culled.end()) {
    const osg::Viewport* const viewport = camera.getViewport();
    return {*drawn, state.getProjectionMatrix(), viewport ? pixelsOf(*viewport) : std::nullopt};
  }
  return {*drawn, osg::Matrix(known->projection->ptr()), known->viewport};
}

}  // namespace QuorOsgUtils
