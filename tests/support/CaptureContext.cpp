#include "support/CaptureContext.h"

#include "support/PixelBuffer.h"

#include <osg/Drawable>
#include <osg/GLExtensions>
#include <osg/Geode>

#include <utility>

namespace QuorTests {
namespace {

constexpr GLenum kGLColor = 0x1800;
constexpr GLenum kGLDepth = 0x1801;
constexpr GLenum kGLRgba8 = 0x8058;
constexpr GLenum kGLRgba32F = 0x8814;
constexpr GLenum kGLDepthComponent32F = 0x8CAC;
constexpr GLenum kGLRgba32Unsigned = 0x8D70;
constexpr GLenum kGLRgba32Signed = 0x8D82;

using Buffer = osg::Camera::BufferComponent;

struct Image {
  Buffer buffer;
  GLenum format;
};

constexpr Image kImages[] = {
    {Buffer(osg::Camera::COLOR_BUFFER0), kGLRgba8},        {Buffer(osg::Camera::COLOR_BUFFER1), kGLRgba32Unsigned},
    {Buffer(osg::Camera::COLOR_BUFFER2), kGLRgba32F},      {Buffer(osg::Camera::COLOR_BUFFER3), kGLRgba32F},
    {Buffer(osg::Camera::COLOR_BUFFER4), kGLRgba32Signed}, {Buffer(osg::Camera::DEPTH_BUFFER), kGLDepthComponent32F}};

template <typename Value>
using ClearBuffer = void(GL_APIENTRY*)(GLenum buffer, GLint drawBuffer, const Value* value);

template <typename Value>
void clearBuffer(const char* name, GLenum buffer, GLint drawBuffer, const Value* value) {
  ClearBuffer<Value> clear = nullptr;
  osg::setGLExtensionFuncPtr(clear, name);
  clear(buffer, drawBuffer, value);
}

void clearAll(const FrameContent& content) {
  clearBuffer("glClearBufferfv", kGLColor, 0, content.colour.data());
  clearBuffer("glClearBufferuiv", kGLColor, 1, content.itemID.data());
  clearBuffer("glClearBufferfv", kGLColor, 2, content.itemFloat.data());
  clearBuffer("glClearBufferfv", kGLColor, 3, content.pcFloat.data());
  clearBuffer("glClearBufferiv", kGLColor, 4, content.pcInt.data());
  clearBuffer("glClearBufferfv", kGLDepth, 0, &content.depth);
}

/// The camera's own clear would come before its state set is applied, so the frame-buffer object is cleared explicitly.
struct ClearCallback : osg::Camera::DrawCallback {
  ClearCallback(osg::FrameBufferObject& clearedObject, const FrameContent& clearContent)
      : object(&clearedObject), content(clearContent) {}

  using osg::Camera::DrawCallback::operator();
  void operator()(osg::RenderInfo& renderInfo) const override {
    osg::State& state = *renderInfo.getState();
    object->apply(state);
    clearAll(content);
    state.get<osg::GLExtensions>()->glBindFramebuffer(GL_FRAMEBUFFER_EXT, 0);
  }

  osg::ref_ptr<osg::FrameBufferObject> object;
  const FrameContent& content;
};

/// A drawable that is always present, since without one the state set with the frame-buffer object is never applied.
struct PainterDrawable : osg::Drawable {
  explicit PainterDrawable(const std::function<void()>& drawingPainter) : painter(drawingPainter) {
    setUseDisplayList(false);
    setCullingActive(false);
    getOrCreateStateSet()->setRenderBinDetails(1000, "RenderBin");
  }

  void drawImplementation(osg::RenderInfo&) const override {
    if (painter) {
      painter();
    }
  }

  const std::function<void()>& painter;
};

}  // namespace

CaptureContext::CaptureContext(int width, int height)
    : _viewer(new osgViewer::Viewer),
      _scene(new osg::Group),
      _object(new osg::FrameBufferObject),
      _tool(new QuorOsgUtils::ScreenCaptureTool) {
  camera().setGraphicsContext(pixelBuffer());
  camera().setClearMask(0);
  camera().getOrCreateStateSet()->setAttribute(_object);
  camera().setPreDrawCallback(new ClearCallback(*_object, _background));
  camera().setPostDrawCallback(_tool);
  attachImages(width, height);
  osg::ref_ptr<osg::Group> root = new osg::Group;
  root->addChild(_scene);
  root->addChild(new PainterDrawable(_painter));
  _viewer->setThreadingModel(osgViewer::Viewer::SingleThreaded);
  _viewer->setKeyEventSetsDone(0);
  _viewer->setSceneData(root);
  if (valid()) {
    _viewer->realize();
  }
}

CaptureContext::~CaptureContext() = default;

bool CaptureContext::valid() const {
  return _viewer->getCamera()->getGraphicsContext() != nullptr;
}

void CaptureContext::setBackground(const FrameContent& background) {
  _background = background;
}

void CaptureContext::setPainter(std::function<void()> painter) {
  _painter = std::move(painter);
}

void CaptureContext::resize(int width, int height) {
  attachImages(width, height);
}

void CaptureContext::draw() {
  _viewer->frame();
}

void CaptureContext::makeCurrent() {
  camera().getGraphicsContext()->makeCurrent();
}

void CaptureContext::fill(int x, int y, int width, int height, const FrameContent& content) {
  glEnable(GL_SCISSOR_TEST);
  glScissor(x, y, width, height);
  clearAll(content);
  glDisable(GL_SCISSOR_TEST);
}

void CaptureContext::attachImages(int width, int height) {
  for (const Image& image : kImages) {
    _object->setAttachment(image.buffer,
                           osg::FrameBufferAttachment(new osg::RenderBuffer(width, height, image.format)));
  }
  camera().setViewport(0, 0, width, height);
}

}  // namespace QuorTests
