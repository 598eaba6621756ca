#include "capture/CaptureViewport.h"
#include "extras/CapturedFrame.h"
#include "extras/DrawnViews.h"

#include <QuorOsgUtils/CapturedCamera.h>

#include <osg/ColorMaski>
#include <osg/GLExtensions>
#include <osg/Program>
#include <osg/State>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <optional>

namespace QuorOsgUtils {
namespace {

constexpr const char* kPlainVertexShader = R"(#version 330 compatibility
out vec4 vertexColour;
void main() {
  vertexColour = gl_Color;
  gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
}
)";

constexpr const char* kPlainFragmentShader = R"(#version 330 compatibility
in vec4 vertexColour;
layout(location = 0) out vec4 colour;
void main() { colour = vertexColour; }
)";

osg::ref_ptr<osg::Program> createPlainProgram() {
  osg::ref_ptr<osg::Program> program = new osg::Program;
  program->setName("plain");
  program->addShader(new osg::Shader(osg::Shader::VERTEX, kPlainVertexShader));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, kPlainFragmentShader));
  return program;
}

void setIdentifierWrites(osg::StateSet& stateSet, bool write) {
  constexpr unsigned int kFirst = 1, kLast = 4;
  for (unsigned int attachment = kFirst; attachment <= kLast; ++attachment) {
    stateSet.setAttribute(new osg::ColorMaski(attachment, write, write, write, write));
  }
}

PixelSize sizeFor(const std::optional<CaptureViewport>& viewport) {
  if (!viewport) {
    return {1, 1};
  }
  return {std::max(viewport->x, 0) + std::max(viewport->width, 1),
          std::max(viewport->y, 0) + std::max(viewport->height, 1)};
}

int scaled(int position, double ratio) {
  return static_cast<int>(std::lround(position * ratio));
}

}  // namespace

/// Before the draw: fits the frame to the viewport that the camera was culled with, and clears it. It runs before the
/// camera's state set is applied, so it binds the frame itself. Until the end of the frame it is the state's global
/// default, so that it is applied also if the scene draws nothing. It is no attribute of the camera's state set, from
/// which cameras below it that render to a texture would inherit it and leave their own object for it.
class CapturedCamera::BeginFrame : public osg::Camera::DrawCallback {
 public:
  explicit BeginFrame(osg::FrameBufferObject* frame) : _frame(frame), _views(new DrawnViews) {
    attachImages(*_frame, _size);
  }

  DrawnViews* views() const { return _views; }
  /// Of the frame that is drawn; nothing if it cannot be captured. For the thread that draws.
  const std::optional<CaptureViewport>& viewport() const { return _viewport; }

  void operator()(osg::RenderInfo& renderInfo) const override {
    osg::State& state = *renderInfo.getState();
    const osg::Camera& camera = *renderInfo.getCurrentCamera();
    _viewport = _views->of(state, camera).viewport;
    _resize(sizeFor(_viewport));
    state.setGlobalDefaultAttribute(_frame);
    _frame->apply(state);
    clearImages(state, camera.getClearColor());
    state.get<osg::GLExtensions>()->glBindFramebuffer(GL_FRAMEBUFFER_EXT, defaultFrameBuffer(state));
    state.haveAppliedAttribute(osg::StateAttribute::FRAME_BUFFER_OBJECT);
  }
  using osg::Camera::DrawCallback::operator();

 private:
  void _resize(const PixelSize& size) const {
    if (!(size == _size)) {
      attachImages(*_frame, size);
      _size = size;
    }
  }

  osg::ref_ptr<osg::FrameBufferObject> _frame;
  osg::ref_ptr<DrawnViews> _views;
  mutable std::optional<CaptureViewport> _viewport;
  mutable PixelSize _size = sizeFor(std::nullopt);
};

/// At the end of the frame: copies the colours to the window.
class CapturedCamera::PresentFrame : public osg::Camera::DrawCallback {
 public:
  PresentFrame(osg::FrameBufferObject* frame, const BeginFrame* begin)
      : _frame(frame), _begin(begin), _default(new DefaultFrame) {}

  void setRatio(double ratio) { _ratio = ratio; }

  void operator()(osg::RenderInfo& renderInfo) const override {
    osg::State& state = *renderInfo.getState();
    if (_begin->viewport()) {
      _blit(state, *_begin->viewport());
    }
    // Applied through the state, so that the next state set does not bind it once more, in place of the object of a
    // camera that renders to a texture.
    state.setGlobalDefaultAttribute(_default);
    state.haveAppliedAttribute(osg::StateAttribute::FRAME_BUFFER_OBJECT);
    state.applyAttribute(_default);
  }
  using osg::Camera::DrawCallback::operator();

 private:
  void _blit(osg::State& state, const CaptureViewport& from) const {
    const double ratio = _ratio;
    const auto* gl = state.get<osg::GLExtensions>();
    state.applyMode(GL_SCISSOR_TEST, false);
    _frame->apply(state, osg::FrameBufferObject::READ_FRAMEBUFFER);
    gl->glBindFramebuffer(GL_DRAW_FRAMEBUFFER_EXT, defaultFrameBuffer(state));
    glReadBuffer(GL_COLOR_ATTACHMENT0_EXT);  // the capture leaves the last attachment selected
    const int right = from.x + from.width, top = from.y + from.height;
    gl->glBlitFramebuffer(from.x, from.y, right, top, scaled(from.x, ratio), scaled(from.y, ratio),
                          scaled(right, ratio), scaled(top, ratio), GL_COLOR_BUFFER_BIT,
                          ratio == 1.0 ? GL_NEAREST : GL_LINEAR);
  }

  osg::ref_ptr<osg::FrameBufferObject> _frame;
  osg::ref_ptr<const BeginFrame> _begin;
  osg::ref_ptr<DefaultFrame> _default;
  std::atomic<double> _ratio{1.0};
};

CapturedCamera::CapturedCamera(osg::Camera& camera)
    : _frame(new osg::FrameBufferObject), _tool(new SnapshotCaptureTool) {
  osg::StateSet& stateSet = *camera.getOrCreateStateSet();
  stateSet.setAttribute(createPlainProgram());
  writeColoursOnly(stateSet);
  camera.setClearMask(0);
  const osg::ref_ptr<BeginFrame> begin = new BeginFrame(_frame);
  _present = new PresentFrame(_frame, begin);
  camera.addCullCallback(begin->views());
  camera.setPreDrawCallback(begin);
  _tool->attachTo(camera);
  camera.setFinalDrawCallback(_present);
}

CapturedCamera::~CapturedCamera() = default;

void CapturedCamera::writeAllAttachments(osg::StateSet& stateSet) {
  setIdentifierWrites(stateSet, true);
}

void CapturedCamera::writeColoursOnly(osg::StateSet& stateSet) {
  setIdentifierWrites(stateSet, false);
}

SnapshotCaptureTool& CapturedCamera::tool() const {
  return *_tool;
}

osg::FrameBufferObject& CapturedCamera::frameBufferObject() const {
  return *_frame;
}

void CapturedCamera::setDevicePixelRatio(double ratio) {
  _present->setRatio(ratio);
}

}  // namespace QuorOsgUtils
