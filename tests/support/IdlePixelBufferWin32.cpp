#include "support/IdlePixelBuffer.h"

#include <osgViewer/api/Win32/PixelBufferWin32>

namespace QuorTests {

namespace {

class IdlePixelBuffer : public osgViewer::PixelBufferWin32 {
 public:
  IdlePixelBuffer(osg::GraphicsContext::Traits* traits, std::vector<std::string>& calls)
      : osgViewer::PixelBufferWin32(traits), _calls(calls) {}

  bool realizeImplementation() override { return refused("realize"); }
  // The engine has made another context current on the way here.
  bool makeCurrentImplementation() override {
    ::wglMakeCurrent(nullptr, nullptr);
    return refused("make current");
  }
  bool releaseContextImplementation() override { return refused("release"); }
  void closeImplementation() override { _calls.emplace_back("close"); }

 private:
  bool refused(const char* call) {
    _calls.emplace_back(call);
    return false;
  }

  std::vector<std::string>& _calls;
};

}  // namespace

osg::GraphicsContext* newIdlePixelBuffer(osg::GraphicsContext::Traits* traits, std::vector<std::string>& calls) {
  return new IdlePixelBuffer(traits, calls);
}

}  // namespace QuorTests
