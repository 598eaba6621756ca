#include "gl/platform/PixelBuffer.h"

#include <osgViewer/GraphicsWindow>
#include <osgViewer/api/Win32/PixelBufferWin32>

USE_GRAPHICSWINDOW()

namespace QuorOsgUtils {

bool isPixelBuffer(const osg::GraphicsContext& context) {
  return dynamic_cast<const osgViewer::PixelBufferWin32*>(&context) != nullptr;
}

}  // namespace QuorOsgUtils
