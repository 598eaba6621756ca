#include "support/IdlePixelBuffer.h"

#include <osgViewer/api/X11/PixelBufferX11>

namespace QuorTests {

namespace {

class IdlePixelBuffer : public osgViewer::PixelBufferX11 {
 public:
  IdlePixelBuffer(osg::GraphicsContext::Traits* traits, std::vector<std::string>& calls)
      : osgViewer::PixelBufferX11(traits), _calls(calls) {}

  bool realizeImplementation() override { return refused("realize"); }
  bool makeCurrentImplementation() override { return refused("make current"); }
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
