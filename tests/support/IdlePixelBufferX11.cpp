#include "support/IdlePixelBufferOf.h"

#include <osgViewer/api/X11/PixelBufferX11>

namespace QuorTests {

osg::GraphicsContext* newIdlePixelBuffer(osg::GraphicsContext::Traits* traits, std::vector<std::string>& calls) {
  return new IdlePixelBufferOf<osgViewer::PixelBufferX11>(traits, calls);
}

}  // namespace QuorTests
