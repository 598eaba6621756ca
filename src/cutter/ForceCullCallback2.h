#pragma once

#include <osg/Callback>

namespace QuorOsgUtils {

/// Prevents a drawable from being drawn. Intersection tests still hit it, so it can be used as a pick volume.
struct ForceCullCallback2 : osg::DrawableCullCallback {
  bool cull(osg::NodeVisitor* /*visitor*/, osg::Drawable* /*drawable*/,
            osg::RenderInfo* /*renderInfo*/) const override {
    return true;
  }

  bool cull(osg::NodeVisitor* /*visitor*/, osg::Drawable* /*drawable*/, osg::State* /*state*/) const override {
    return true;
  }
};

}  // namespace QuorOsgUtils
