#pragma once

#include <osg/GraphicsContext>

namespace QuorOsgUtils {

/// Whether the context is of this platform's pixel-buffer class. Its source file also links the platform's windowing
/// system, without which no context can be created.
bool isPixelBuffer(const osg::GraphicsContext& context);

}  // namespace QuorOsgUtils
