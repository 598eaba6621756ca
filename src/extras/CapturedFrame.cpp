#include "extras/CapturedFrame.h"

#include <osg/GLExtensions>
#include <osg/GraphicsContext>

#include <array>

namespace QuorOsgUtils {
namespace {

constexpr std::array<GLenum, 5> kColourFormats = {GL_RGBA8, GL_RGBA32UI_EXT, GL_RGBA32F_ARB, GL_RGBA32F_ARB,
                                                  GL_RGBA32I_EXT};
constexpr GLenum kDepthFormat = GL_DEPTH_COMPONENT32F;

/// GL entry points that OSG's own table lacks. Expects a current context.
struct ClearFunctions {
  template <typename Value>
  using Clear = void(GL_APIENTRY*)(GLenum buffer, GLint drawBuffer, const Value* value);

  ClearFunctions() {
    osg::setGLExtensionFuncPtr(ofFloats, "glClearBufferfv");
    osg::setGLExtensionFuncPtr(ofUnsigned, "glClearBufferuiv");
    osg::setGLExtensionFuncPtr(ofSigned, "glClearBufferiv");
  }

  bool exist() const { return ofFloats && ofUnsigned && ofSigned; }

  Clear<GLfloat> ofFloats = nullptr;
  Clear<GLuint> ofUnsigned = nullptr;
  Clear<GLint> ofSigned = nullptr;
};

/// Clearing respects the write masks. The render stage that draws next also resets all colour masks behind the state's
/// back, so the state's cached masks are marked as changed.
void allowAllWrites(osg::State& state) {
  state.applyMode(GL_SCISSOR_TEST, false);
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  for (unsigned int attachment = 0; attachment < kColourFormats.size(); ++attachment) {
    state.haveAppliedAttribute(osg::StateAttribute::COLORMASK, attachment);
  }
  glDepthMask(GL_TRUE);
  state.haveAppliedAttribute(osg::StateAttribute::DEPTH);
}

}  // namespace

void attachImages(osg::FrameBufferObject& frame, const PixelSize& size) {
  const auto attach = [&](int buffer, GLenum format) {
    frame.setAttachment(static_cast<osg::Camera::BufferComponent>(buffer),
                        osg::FrameBufferAttachment(new osg::RenderBuffer(size.width, size.height, format)));
  };
  for (std::size_t attachment = 0; attachment < kColourFormats.size(); ++attachment) {
    attach(osg::Camera::COLOR_BUFFER0 + static_cast<int>(attachment), kColourFormats[attachment]);
  }
  attach(osg::Camera::DEPTH_BUFFER, kDepthFormat);
}

void clearImages(osg::State& state, const osg::Vec4& colour) {
  static const ClearFunctions clear;
  if (!clear.exist()) {
    return;
  }
  allowAllWrites(state);
  const std::array<GLuint, 4> noIdentifier = {};
  const std::array<GLfloat, 4> noValues = {};
  const std::array<GLint, 4> noCodes = {};
  const GLfloat background = 1.0f;
  clear.ofFloats(GL_COLOR, 0, colour.ptr());
  clear.ofUnsigned(GL_COLOR, 1, noIdentifier.data());
  clear.ofFloats(GL_COLOR, 2, noValues.data());
  clear.ofFloats(GL_COLOR, 3, noValues.data());
  clear.ofSigned(GL_COLOR, 4, noCodes.data());
  clear.ofFloats(GL_DEPTH, 0, &background);
}

GLuint defaultFrameBuffer(const osg::State& state) {
  const osg::GraphicsContext* context = state.getGraphicsContext();
  return context ? context->getDefaultFboId() : 0;
}

void DefaultFrame::apply(osg::State& state) const {
  state.get<osg::GLExtensions>()->glBindFramebuffer(GL_FRAMEBUFFER_EXT, defaultFrameBuffer(state));
}

}  // namespace QuorOsgUtils
