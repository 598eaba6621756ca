#pragma once

#include <osg/Callback>

namespace QuorOsgUtils {

/// Keeps a drawable from ever being drawn. Intersection tests still meet it: a volume to pick by.
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
