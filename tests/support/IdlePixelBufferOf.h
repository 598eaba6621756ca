#pragma once

#include "support/IdlePixelBuffer.h"

namespace QuorTests {

/// The class behind newIdlePixelBuffer, for the off-screen class of any platform.
template <typename PixelBuffer>
class IdlePixelBufferOf : public PixelBuffer {
 public:
  IdlePixelBufferOf(osg::GraphicsContext::Traits* traits, std::vector<std::string>& calls)
      : PixelBuffer(traits), _calls(calls) {}

  bool realizeImplementation() override { return _refused("realize"); }
  bool makeCurrentImplementation() override { return _refused("make current"); }
  bool releaseContextImplementation() override { return _refused("release"); }
  void closeImplementation() override { _calls.emplace_back("close"); }

 private:
  bool _refused(const char* call) {
    _calls.emplace_back(call);
    return false;
  }

  std::vector<std::string>& _calls;
};

}  // namespace QuorTests
