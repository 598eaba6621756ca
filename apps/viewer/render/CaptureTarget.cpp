#include "viewer/render/CaptureTarget.h"

#include "viewer/render/ShaderProgram.h"

#include <osg/ColorMaski>
#include <osg/GLExtensions>
#include <osg/Viewport>

#include <algorithm>
#include <array>
#include <utility>

namespace QuorViewer {
namespace {

constexpr std::array<GLenum, Attachment::kCount> kColourFormats = {GL_RGBA8, GL_RGBA32UI_EXT, GL_RGBA32F_ARB,
                                                                   GL_RGBA32F_ARB, GL_RGBA32I_EXT};

struct Size {
  int width = 0;
  int height = 0;
};

Size viewportSize(const osg::Camera& camera) {
  const osg::Viewport* viewport = camera.getViewport();
  return viewport != nullptr ? Size{static_cast<int>(viewport->width()), static_cast<int>(viewport->height())} : Size{};
}

osg::Camera::BufferComponent colourBuffer(unsigned int attachment) {
  return static_cast<osg::Camera::BufferComponent>(osg::Camera::COLOR_BUFFER0 + static_cast<int>(attachment));
}

GLuint windowFrameBuffer(const osg::State& state) {
  return state.getGraphicsContext()->getDefaultFboId();
}

// GL entry points that OSG's own table lacks. Expects a current context.
struct ClearFunctions {
  template <typename Value>
  using Clear = void(GL_APIENTRY*)(GLenum buffer, GLint drawBuffer, const Value* value);

  ClearFunctions() {
    osg::setGLExtensionFuncPtr(ofFloats, "glClearBufferfv");
    osg::setGLExtensionFuncPtr(ofUnsigned, "glClearBufferuiv");
    osg::setGLExtensionFuncPtr(ofSigned, "glClearBufferiv");
  }

  Clear<GLfloat> ofFloats = nullptr;
  Clear<GLuint> ofUnsigned = nullptr;
  Clear<GLint> ofSigned = nullptr;
};

// Before the draw: resizes the frame-buffer object to the viewport and clears each attachment as its own type. It runs
// before the camera's state set is applied, so it binds and unbinds the object itself.
class BeginFrame : public osg::Camera::DrawCallback {
 public:
  BeginFrame(osg::FrameBufferObject* frame, osg::Texture2D* depthCopy) : _frame(frame), _depthCopy(depthCopy) {}

  void operator()(osg::RenderInfo& renderInfo) const override {
    osg::State& state = *renderInfo.getState();
    _resize(viewportSize(*renderInfo.getCurrentCamera()));
    auto* gl = state.get<osg::GLExtensions>();
    _frame->apply(state);
    _allowAllWrites(state);
    _clear();
    gl->glBindFramebuffer(GL_FRAMEBUFFER_EXT, windowFrameBuffer(state));
  }

 private:
  void _resize(Size wanted) const {
    const Size size = {std::max(wanted.width, 1), std::max(wanted.height, 1)};
    if (size.width == _depthCopy->getTextureWidth() && size.height == _depthCopy->getTextureHeight()) {
      return;
    }
    const auto attach = [&](osg::Camera::BufferComponent buffer, GLenum format) {
      _frame->setAttachment(buffer, osg::FrameBufferAttachment(new osg::RenderBuffer(size.width, size.height, format)));
    };
    for (unsigned int attachment = 0; attachment < kColourFormats.size(); ++attachment) {
      attach(colourBuffer(attachment), kColourFormats.at(attachment));
    }
    attach(osg::Camera::DEPTH_BUFFER, GL_DEPTH_COMPONENT32F);
    _depthCopy->setTextureSize(size.width, size.height);
    _depthCopy->dirtyTextureObject();
  }

  // Clearing respects the write masks. The render stage that draws next also resets all colour masks behind the state's
  // back, so the state's cached masks are marked as changed.
  static void _allowAllWrites(osg::State& state) {
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    for (unsigned int attachment = 0; attachment < Attachment::kCount; ++attachment) {
      state.haveAppliedAttribute(osg::StateAttribute::COLORMASK, attachment);
    }
    glDepthMask(GL_TRUE);
    state.haveAppliedAttribute(osg::StateAttribute::DEPTH);
  }

  static void _clear() {
    static const ClearFunctions clear;
    const std::array<GLuint, 4> noIdentifier = {};
    const std::array<GLfloat, 4> zero = {};
    const std::array<GLint, 4> noCodes = {};
    const GLfloat farthest = 1.0f;
    clear.ofFloats(GL_COLOR, 0, zero.data());
    clear.ofUnsigned(GL_COLOR, Attachment::kIdentifiers, noIdentifier.data());
    clear.ofFloats(GL_COLOR, Attachment::kPositions, zero.data());
    clear.ofFloats(GL_COLOR, Attachment::kValues, zero.data());
    clear.ofSigned(GL_COLOR, Attachment::kCodes, noCodes.data());
    clear.ofFloats(GL_DEPTH, 0, &farthest);
  }

  osg::ref_ptr<osg::FrameBufferObject> _frame;
  osg::ref_ptr<osg::Texture2D> _depthCopy;
};

// After the draw and the capture: copies the colours to the window and counts GL errors.
class PresentFrame : public osg::Camera::DrawCallback {
 public:
  explicit PresentFrame(osg::FrameBufferObject* frame) : _frame(frame) {}

  void operator()(osg::RenderInfo& renderInfo) const override {
    osg::State& state = *renderInfo.getState();
    const Size size = viewportSize(*renderInfo.getCurrentCamera());
    auto* gl = state.get<osg::GLExtensions>();
    _frame->apply(state, osg::FrameBufferObject::READ_FRAMEBUFFER);
    gl->glBindFramebuffer(GL_DRAW_FRAMEBUFFER_EXT, windowFrameBuffer(state));
    glReadBuffer(GL_COLOR_ATTACHMENT0_EXT);  // the capture leaves the last attachment selected
    gl->glBlitFramebuffer(0, 0, size.width, size.height, 0, 0, size.width, size.height, GL_COLOR_BUFFER_BIT,
                          GL_NEAREST);
    gl->glBindFramebuffer(GL_FRAMEBUFFER_EXT, windowFrameBuffer(state));
    while (glGetError() != GL_NO_ERROR) {
      ++_errorCount;
    }
  }

  unsigned int errorCount() const { return _errorCount; }

 private:
  osg::ref_ptr<osg::FrameBufferObject> _frame;
  mutable unsigned int _errorCount = 0;
};

void setIdentifierWrites(osg::StateSet& stateSet, bool write) {
  for (unsigned int attachment = Attachment::kIdentifiers; attachment < Attachment::kCount; ++attachment) {
    stateSet.setAttribute(new osg::ColorMaski(attachment, write, write, write, write));
  }
}

osg::ref_ptr<osg::Texture2D> createDepthTexture() {
  osg::ref_ptr<osg::Texture2D> depths = new osg::Texture2D;
  depths->setInternalFormat(GL_DEPTH_COMPONENT32F);
  depths->setSourceFormat(GL_DEPTH_COMPONENT);
  depths->setSourceType(GL_FLOAT);
  depths->setFilter(osg::Texture::MIN_FILTER, osg::Texture::NEAREST);
  depths->setFilter(osg::Texture::MAG_FILTER, osg::Texture::NEAREST);
  depths->setWrap(osg::Texture::WRAP_S, osg::Texture::CLAMP_TO_EDGE);
  depths->setWrap(osg::Texture::WRAP_T, osg::Texture::CLAMP_TO_EDGE);
  depths->setResizeNonPowerOfTwoHint(false);
  return depths;
}

}  // namespace

CaptureTarget::CaptureTarget(osg::Camera& camera)
    : _tool(new QuorOsgUtils::ScreenCaptureTool), _depthCopy(createDepthTexture()) {
  osg::ref_ptr<osg::FrameBufferObject> frame = new osg::FrameBufferObject;
  _present = new PresentFrame(frame);
  osg::StateSet& stateSet = *camera.getOrCreateStateSet();
  stateSet.setAttribute(frame);
  stateSet.setAttribute(createPlainProgram());
  setIdentifierWrites(stateSet, false);
  camera.setClearMask(0);
  camera.setPreDrawCallback(new BeginFrame(frame, _depthCopy));
  camera.setPostDrawCallback(_tool);
  camera.setFinalDrawCallback(_present);
}

void CaptureTarget::writeAllAttachments(osg::StateSet& stateSet) {
  setIdentifierWrites(stateSet, true);
}

unsigned int CaptureTarget::glErrorCount() const {
  return static_cast<const PresentFrame&>(*_present).errorCount();
}

}  // namespace QuorViewer
