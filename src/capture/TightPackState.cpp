#include "capture/TightPackState.h"

#include "capture/GLConstants.h"

namespace QuorOsgUtils {
namespace {

struct PackParameter {
  GLenum name;
  GLint tight;
};

/// Four-byte alignment is both OpenGL's default and tight: every captured pixel is a multiple of four bytes. The
/// parameters for 3D images and bitmaps have no effect on the captured images.
constexpr std::array kPackParameters = {PackParameter{GL_PACK_SWAP_BYTES, 0}, PackParameter{GL_PACK_ROW_LENGTH, 0},
                                        PackParameter{GL_PACK_SKIP_ROWS, 0}, PackParameter{GL_PACK_SKIP_PIXELS, 0},
                                        PackParameter{GL_PACK_ALIGNMENT, 4}};

}  // namespace

TightPackState::TightPackState(const osg::GLExtensions& extensions) : _extensions(extensions) {
  static_assert(kPackParameters.size() == kParameterCount);
  for (std::size_t i = 0; i < kParameterCount; ++i) {
    glGetIntegerv(kPackParameters[i].name, &_parameters[i]);
    if (_parameters[i] != kPackParameters[i].tight) {
      glPixelStorei(kPackParameters[i].name, kPackParameters[i].tight);
    }
  }
  if (_extensions.isPBOSupported) {
    glGetIntegerv(kGLPixelPackBufferBinding, &_packBuffer);
  }
  if (_packBuffer != 0) {
    _extensions.glBindBuffer(kGLPixelPackBuffer, 0);
  }
}

TightPackState::~TightPackState() {
  for (std::size_t i = 0; i < kParameterCount; ++i) {
    if (_parameters[i] != kPackParameters[i].tight) {
      glPixelStorei(kPackParameters[i].name, _parameters[i]);
    }
  }
  if (_packBuffer != 0) {
    _extensions.glBindBuffer(kGLPixelPackBuffer, static_cast<GLuint>(_packBuffer));
  }
}

}  // namespace QuorOsgUtils
