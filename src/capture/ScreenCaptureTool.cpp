#include "capture/CaptureViewport.h"
#include "capture/DepthRange.h"
#include "capture/GLConstants.h"
#include "capture/ReserveRoom.h"
#include "capture/TightPackState.h"

#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/FrameBufferObject>
#include <osg/GLExtensions>
#include <osg/GraphicsContext>
#include <osg/State>

#include <mutex>
#include <optional>

namespace QuorOsgUtils {
namespace {

const osg::FrameBufferObject* lastAppliedFrameBufferObject(const osg::State& state) {
  return dynamic_cast<const osg::FrameBufferObject*>(
      state.getLastAppliedAttribute(osg::StateAttribute::FRAME_BUFFER_OBJECT));
}

}  // namespace

/// One capture: camera, images and depth range.
class ScreenCaptureTool::Capture {
 public:
  Capture(const ScreenCaptureTool& tool, const osg::State& state, osg::ref_ptr<CaptureOp>& request)
      : _frame(tool._frameBuffer),
        _pendingOp(request),
        _state(state),
        _extensions(osg::GLExtensions::Get(state.getContextID(), true)) {}

  /// Copies the camera's matrices and viewport. False if the pixel vectors do not fit the viewport afterwards.
  bool takeCamera(const osg::Camera& camera) {
    _frame._projectionMatrix = camera.getProjectionMatrix();
    _frame._viewMatrix = camera.getViewMatrix();
    const osg::Viewport* viewport = camera.getViewport();
    if (!viewport) {
      return false;
    }
    const auto pixels = captureViewport(viewport->x(), viewport->y(), viewport->width(), viewport->height());
    if (!pixels) {
      return false;
    }
    if (pixels->width != _frame._viewportWidth || pixels->height != _frame._viewportHeight) {
      _resize(*pixels);
    }
    return _frame._depthBuffer.size() == pixels->pixelCount();
  }

  /// Reads all images if there is a frame-buffer object; otherwise the frame keeps the previous ones.
  void captureImages() {
    const osg::FrameBufferObject* object = lastAppliedFrameBufferObject(_state);
    const bool readable = object && _extensions && _extensions->glBindFramebuffer;
    const DepthRange range = readable ? _readImages(*object) : _measuredDepthRange();
    _frame._minDepth = range.minimum;
    _frame._maxDepth = range.maximum;
  }

 private:
  DepthRange _readImages(const osg::FrameBufferObject& object) {
    _extensions->glBindFramebuffer(kGLFramebuffer, object.getHandle(_state.getContextID()));
    std::optional<TightPackState> packState(*_extensions);
    _read(GL_DEPTH_COMPONENT, GL_FLOAT, _frame._depthBuffer.data());
    // Measured now, while the depths are still in the processor's cache.
    const DepthRange range = _measuredDepthRange();
    // Keeps the request alive even if the application replaces it meanwhile.
    const osg::ref_ptr<CaptureOp> op = _pendingOp;
    if (op.valid() && _readColour()) {
      packState.reset();
      _handOver(*op);
      packState.emplace(*_extensions);
    }
    _readAttachment(1, kGLRgbaInteger, GL_UNSIGNED_INT, _frame._itemIDBuffer.data());
    _readAttachment(2, GL_RGBA, GL_FLOAT, _frame._itemFloatBuffer.data());
    _readAttachment(3, GL_RGBA, GL_FLOAT, _frame._pcFloatBuffer.data());
    _readAttachment(4, kGLRgbaInteger, GL_INT, _frame._pcUIntBuffer.data());
    // Only the draw target is unbound: this is fixed by the interface.
    _extensions->glBindFramebuffer(kGLDrawFramebuffer, 0);
    return range;
  }

  DepthRange _measuredDepthRange() const { return depthRange(_frame._depthBuffer.data(), _frame._depthBuffer.size()); }

  /// Reserves all memory before any size changes, so that a failed allocation leaves the frame as it was.
  void _resize(const CaptureViewport& pixels) {
    const std::size_t count = pixels.pixelCount();
    const std::size_t values = count * kChannelCount;
    const std::lock_guard<SpinLock> guard(_frame);
    if (!reserveRoom(_frame._depthBuffer, count) || !reserveRoom(_frame._itemIDBuffer, values) ||
        !reserveRoom(_frame._itemFloatBuffer, values) || !reserveRoom(_frame._pcFloatBuffer, values) ||
        !reserveRoom(_frame._pcUIntBuffer, values)) {
      return;
    }
    _frame._depthBuffer.resize(count);
    _frame._itemIDBuffer.resize(values);
    _frame._itemFloatBuffer.resize(values);
    _frame._pcFloatBuffer.resize(values);
    _frame._pcUIntBuffer.resize(values);
    _frame._viewportX = pixels.x;
    _frame._viewportY = pixels.y;
    _frame._viewportWidth = pixels.width;
    _frame._viewportHeight = pixels.height;
  }

  void _read(GLenum format, GLenum type, void* values) {
    glReadPixels(0, 0, _frame._viewportWidth, _frame._viewportHeight, format, type, values);
  }

  void _readAttachment(GLenum number, GLenum format, GLenum type, void* values) {
    glReadBuffer(kGLColorAttachment0 + number);
    _read(format, type, values);
  }

  bool _readColour() {
    const std::size_t bytes = _frame._depthBuffer.size() * kChannelCount;
    if (!reserveRoom(_frame._colourBuffer, bytes)) {
      return false;
    }
    _frame._colourBuffer.resize(bytes);
    _readAttachment(0, GL_RGBA, GL_UNSIGNED_BYTE, _frame._colourBuffer.data());
    return true;
  }

  /// Drops the request after both threads have reached the barrier, unless the application has replaced it by then.
  void _handOver(CaptureOp& op) {
    op.captureImage(_frame._viewportWidth, _frame._viewportHeight, _frame._colourBuffer);
    op.block(0);
    if (_pendingOp == &op) {
      _pendingOp = nullptr;
    }
  }

  FrameBuffer& _frame;
  osg::ref_ptr<CaptureOp>& _pendingOp;
  const osg::State& _state;
  const osg::GLExtensions* _extensions;
};

ScreenCaptureTool::ScreenCaptureTool() : _image(new osg::Image) {}

ScreenCaptureTool::~ScreenCaptureTool() = default;

void ScreenCaptureTool::operator()(osg::RenderInfo& renderInfo) const {
  _capture(renderInfo, _captureOp);
}

void ScreenCaptureTool::_capture(osg::RenderInfo& renderInfo, osg::ref_ptr<CaptureOp>& request) const {
  glEnable(kGLProgramPointSize);
  const osg::State* state = renderInfo.getState();
  const osg::GraphicsContext* context = state ? state->getGraphicsContext() : nullptr;
  const osg::Camera* camera = renderInfo.getCurrentCamera();
  if (!camera || !context || !context->getTraits()) {
    return;
  }
  Capture capture(*this, *state, request);
  if (capture.takeCamera(*camera)) {
    capture.captureImages();
  }
}

ScreenCaptureTool::FrameBuffer& ScreenCaptureTool::getFrameBuffer() {
  return _frameBuffer;
}

void ScreenCaptureTool::setCaptureOp(CaptureOp* op) {
  _captureOp = op;
}

CaptureOp* ScreenCaptureTool::getCaptureOp() {
  return _captureOp.get();
}

}  // namespace QuorOsgUtils
