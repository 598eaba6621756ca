#pragma once

#include <osg/GL>
#include <osg/GLExtensions>

#include <array>
#include <cstddef>

namespace QuorOsgUtils {

/// During its lifetime, `glReadPixels` writes to client memory, without gaps between rows and in the machine's byte
/// order. The destructor restores the previous pixel-pack buffer and parameters. Only values that differ are set. The
/// context must be current from construction to destruction.
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
