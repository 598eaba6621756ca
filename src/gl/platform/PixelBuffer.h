#pragma once

#include <osg/GraphicsContext>

namespace QuorOsgUtils {

/// Whether the context is an off-screen one of this platform's own class. The source behind it also makes sure that the
/// platform's contexts can be created at all.
bool isPixelBuffer(const osg::GraphicsContext& context);

}  // namespace QuorOsgUtils
