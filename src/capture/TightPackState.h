#pragma once

#include <osg/GL>
#include <osg/GLExtensions>

#include <array>
#include <cstddef>

namespace QuorOsgUtils {

/// While it lives, `glReadPixels` writes to client memory, every row right after the one before and every value in the
/// machine's own byte order. Whatever pixel-pack buffer and parameters were set before are set again at its end. Only
/// what differs is touched. It needs its context current from beginning to end.
class TightPackState {
 public:
  explicit TightPackState(const osg::GLExtensions& extensions);
  TightPackState(const TightPackState&) = delete;
  TightPackState& operator=(const TightPackState&) = delete;
  ~TightPackState();

 private:
  static constexpr std::size_t kParameterCount = 5;

  const osg::GLExtensions& _extensions;
  GLint _packBuffer = 0;
  std::array<GLint, kParameterCount> _parameters{};
};

}  // namespace QuorOsgUtils
