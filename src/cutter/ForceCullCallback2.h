#pragma once

#include <osg/Callback>

namespace QuorOsgUtils {

/// Keeps a drawable from ever being drawn. Intersection tests still meet it: a volume to pick by.
struct ForceCullCallback2 : osg::DrawableCullCallback {
  using osg::DrawableCullCallback::cull;

  bool cull(osg::NodeVisitor* /*visitor*/, osg::Drawable* /*drawable*/,
            osg::RenderInfo* /*renderInfo*/) const override {
    return true;
  }
};

}  // namespace QuorOsgUtils
