#include "gl/platform/PixelBuffer.h"

#include <osgViewer/GraphicsWindow>
#include <osgViewer/api/X11/PixelBufferX11>

USE_GRAPHICSWINDOW()

namespace QuorOsgUtils {

bool isPixelBuffer(const osg::GraphicsContext& context) {
  return dynamic_cast<const osgViewer::PixelBufferX11*>(&context) != nullptr;
}

}  // namespace QuorOsgUtils
