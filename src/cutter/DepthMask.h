#pragma once

#include <osg/Drawable>

namespace QuorOsgUtils {

/// Draws its drawable without writing depth, so that objects drawn later are visible even if they are behind it. Leaves
/// depth writes on. A clone is a plain draw callback.
struct DepthMask : osg::Drawable::DrawCallback {
  void drawImplementation(osg::RenderInfo& renderInfo, const osg::Drawable* drawable) const override;
};

}  // namespace QuorOsgUtils
