#include "support/IdlePixelBufferOf.h"

#include <osgViewer/api/Win32/PixelBufferWin32>

namespace QuorTests {

namespace {

class IdlePixelBuffer : public IdlePixelBufferOf<osgViewer::PixelBufferWin32> {
 public:
  using IdlePixelBufferOf::IdlePixelBufferOf;

  // OSG has made another context current before this call.
  bool makeCurrentImplementation() override {
    ::wglMakeCurrent(nullptr, nullptr);
    return IdlePixelBufferOf::makeCurrentImplementation();
  }
};

}  // namespace

osg::GraphicsContext* newIdlePixelBuffer(osg::GraphicsContext::Traits* traits, std::vector<std::string>& calls) {
  return new IdlePixelBuffer(traits, calls);
}

}  // namespace QuorTests
