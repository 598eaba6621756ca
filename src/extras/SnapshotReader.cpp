#include "extras/SnapshotReader.h"

#include "capture/DepthRange.h"
#include "capture/GLConstants.h"
#include "extras/CapturedFrame.h"

#include <QuorOsgUtils/SnapshotCaptureTool.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace QuorOsgUtils {
namespace {

constexpr GLenum kNoAttachment = 0;

/// How one buffer of a frame is read.
struct BufferFormat {
  unsigned int bit;   // of `ReadBack`
  GLenum attachment;  // to be selected for reading
  GLenum format;
  GLenum type;
  std::size_t channels;
};

/// Calls `visit` with the format and the vector of each buffer.
template <typename Visit>
void forEachBuffer(FrameSnapshot& snapshot, const Visit& visit) {
  constexpr GLenum kFirst = kGLColorAttachment0;
  visit(BufferFormat{ReadBack::kDepth, kNoAttachment, GL_DEPTH_COMPONENT, GL_FLOAT, 1}, snapshot.depths);
  visit(BufferFormat{ReadBack::kColours, kFirst, GL_RGBA, GL_UNSIGNED_BYTE, kChannelCount}, snapshot.colours);
  visit(BufferFormat{ReadBack::kItemIDs, kFirst + 1, kGLRgbaInteger, GL_UNSIGNED_INT, kChannelCount}, snapshot.itemIDs);
  visit(BufferFormat{ReadBack::kItemFloats, kFirst + 2, GL_RGBA, GL_FLOAT, kChannelCount}, snapshot.itemFloats);
  visit(BufferFormat{ReadBack::kPCFloats, kFirst + 3, GL_RGBA, GL_FLOAT, kChannelCount}, snapshot.pcFloats);
  visit(BufferFormat{ReadBack::kPCInts, kFirst + 4, kGLRgbaInteger, GL_INT, kChannelCount}, snapshot.pcInts);
}

template <typename Value>
std::size_t bytesOf(const std::vector<Value>& values) {
  return values.size() * sizeof(Value);
}

PixelSize sizeOf(const osg::FrameBufferAttachment& image) {
  if (const osg::RenderBuffer* buffer = image.getRenderBuffer()) {
    return {buffer->getWidth(), buffer->getHeight()};
  }
  const osg::Texture* texture = image.getTexture();
  return texture ? PixelSize{texture->getTextureWidth(), texture->getTextureHeight()} : PixelSize{};
}

/// Of the object's first image; they should all have the same.
PixelSize sizeOf(const osg::FrameBufferObject& object) {
  const auto& images = object.getAttachmentMap();
  return images.empty() ? PixelSize{} : sizeOf(images.begin()->second);
}

void readPixels(const PixelRectangle& region, const BufferFormat& format, void* values) {
  if (format.attachment != kNoAttachment) {
    glReadBuffer(format.attachment);
  }
  glReadPixels(region.x, region.y, region.width, region.height, format.format, format.type, values);
}

}  // namespace

const osg::FrameBufferObject* drawnObject(const osg::State& state) {
  const auto* object = dynamic_cast<const osg::FrameBufferObject*>(
      state.getLastAppliedAttribute(osg::StateAttribute::FRAME_BUFFER_OBJECT));
  return object && object->getHandle(state.getContextID()) != 0 ? object : nullptr;
}

PixelRectangle intersection(const PixelRectangle& a, const PixelRectangle& b) {
  const auto end = [](int start, int size) { return std::int64_t{start} + size; };
  const auto size = [](int start, std::int64_t last) {
    return static_cast<int>(std::max<std::int64_t>(last - start, 0));
  };
  const int x = std::max(a.x, b.x), y = std::max(a.y, b.y);
  return {x, y, size(x, std::min(end(a.x, a.width), end(b.x, b.width))),
          size(y, std::min(end(a.y, a.height), end(b.y, b.height)))};
}

PixelRectangle rectangleOf(const std::optional<CaptureViewport>& viewport) {
  return viewport ? PixelRectangle{viewport->x, viewport->y, viewport->width, viewport->height} : PixelRectangle{};
}

PixelRectangle drawnPixels(const std::optional<CaptureViewport>& viewport, const osg::FrameBufferObject& object) {
  const PixelSize size = sizeOf(object);
  return intersection(rectangleOf(viewport), {0, 0, size.width, size.height});
}

void prepareBuffers(FrameSnapshot& snapshot, unsigned int buffers) {
  forEachBuffer(snapshot, [&](const BufferFormat& format, auto& values) {
    values.resize((buffers & format.bit) != 0 ? snapshot.pixelCount() * format.channels : 0);
  });
}

void measureDepthRange(FrameSnapshot& snapshot) {
  const DepthRange range = depthRange(snapshot.depths.data(), snapshot.depths.size());
  snapshot.minDepth = range.minimum;
  snapshot.maxDepth = range.maximum;
}

KeptBindings::KeptBindings(const osg::GLExtensions& gl) : _gl(gl) {
  glGetIntegerv(kGLDrawFramebufferBinding, &_draw);
  glGetIntegerv(kGLReadFramebufferBinding, &_read);
}

KeptBindings::~KeptBindings() {
  _gl.glBindFramebuffer(kGLDrawFramebuffer, static_cast<GLuint>(_draw));
  _gl.glBindFramebuffer(kGLReadFramebuffer, static_cast<GLuint>(_read));
}

SnapshotReader::SnapshotReader(const osg::State& state, const osg::GLExtensions& gl,
                               const osg::FrameBufferObject& object)
    : _state(state), _gl(gl), _tight(gl) {
  _gl.glBindFramebuffer(kGLReadFramebuffer, object.getHandle(_state.getContextID()));
}

SnapshotReader::~SnapshotReader() {
  _gl.glBindFramebuffer(kGLReadFramebuffer, defaultFrameBuffer(_state));
}

bool SnapshotReader::isComplete() const {
  return _gl.glCheckFramebufferStatus(kGLReadFramebuffer) == GL_FRAMEBUFFER_COMPLETE_EXT;
}

void SnapshotReader::read(FrameSnapshot& snapshot) const {
  forEachBuffer(snapshot, [&](const BufferFormat& format, auto& values) {
    if (!values.empty()) {
      readPixels(snapshot.region, format, values.data());
    }
  });
}

void SnapshotReader::startReading(FrameSnapshot& snapshot) const {
  std::size_t offset = 0;
  forEachBuffer(snapshot, [&](const BufferFormat& format, auto& values) {
    if (!values.empty()) {
      // GL takes an offset in the bound buffer as a pointer: NOLINTNEXTLINE(performance-no-int-to-ptr)
      readPixels(snapshot.region, format, reinterpret_cast<void*>(offset));
      offset += bytesOf(values);
    }
  });
}

std::size_t bytesOf(FrameSnapshot& snapshot) {
  std::size_t bytes = 0;
  forEachBuffer(snapshot, [&](const BufferFormat& /*format*/, auto& values) { bytes += bytesOf(values); });
  return bytes;
}

void copyBuffers(const unsigned char* from, FrameSnapshot& snapshot) {
  forEachBuffer(snapshot, [&](const BufferFormat& /*format*/, auto& values) {
    if (!values.empty()) {
      std::memcpy(values.data(), from, bytesOf(values));
      from += bytesOf(values);
    }
  });
}

}  // namespace QuorOsgUtils
