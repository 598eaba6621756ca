#include "extras/PixelBufferRing.h"

#include "capture/GLConstants.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace QuorOsgUtils {
namespace {

constexpr GLenum kGLStreamRead = 0x88E1;
constexpr GLenum kGLReadOnly = 0x88B8;

GLuint handleOf(const osg::PixelDataBufferObject& buffer, unsigned int contextId) {
  return buffer.getOrCreateGLBufferObject(contextId)->getGLObjectID();
}

}  // namespace

void PixelBufferRing::start(const osg::State& state, const SnapshotReader& reader,
                            const osg::ref_ptr<FrameSnapshot>& snapshot, int frames) {
  if (_contextId != state.getContextID()) {
    cancel();
    _free.clear();
    _contextId = state.getContextID();
  }
  Read read = _takeBuffer(bytesOf(*snapshot));
  read.snapshot = snapshot;
  read.due = _now + static_cast<std::uint64_t>(frames);
  const auto* gl = osg::GLExtensions::Get(_contextId, true);
  gl->glBindBuffer(kGLPixelPackBuffer, handleOf(*read.buffer, _contextId));
  gl->glBufferData(kGLPixelPackBuffer, static_cast<std::ptrdiff_t>(read.bytes), nullptr, kGLStreamRead);
  reader.startReading(*snapshot);
  gl->glBindBuffer(kGLPixelPackBuffer, 0);
  _started.push_back(std::move(read));
}

std::optional<osg::ref_ptr<FrameSnapshot>> PixelBufferRing::finishDue(const osg::State& state) {
  if (_started.empty() || _started.front().due > _now) {
    return std::nullopt;
  }
  Read read = std::move(_started.front());
  _started.erase(_started.begin());
  if (_contextId != state.getContextID()) {
    return osg::ref_ptr<FrameSnapshot>();
  }
  const auto* gl = osg::GLExtensions::Get(_contextId, true);
  gl->glBindBuffer(kGLPixelPackBuffer, handleOf(*read.buffer, _contextId));
  const void* values = gl->glMapBuffer(kGLPixelPackBuffer, kGLReadOnly);
  if (values) {
    copyBuffers(static_cast<const unsigned char*>(values), *read.snapshot);
  }
  const bool isIntact = values && gl->glUnmapBuffer(kGLPixelPackBuffer) == GL_TRUE;
  gl->glBindBuffer(kGLPixelPackBuffer, 0);
  osg::ref_ptr<FrameSnapshot> finished = std::exchange(read.snapshot, nullptr);
  _free.push_back(std::move(read));
  return isIntact ? finished : nullptr;
}

void PixelBufferRing::cancel() {
  _started.clear();
}

void PixelBufferRing::release(osg::State* state) {
  for (const Read& read : _free) {
    read.buffer->releaseGLObjects(state);
  }
  for (const Read& read : _started) {
    read.buffer->releaseGLObjects(state);
  }
  _free.clear();
  cancel();
}

/// Buffers of another size belong to an earlier size of the window.
PixelBufferRing::Read PixelBufferRing::_takeBuffer(std::size_t bytes) {
  _free.erase(std::remove_if(_free.begin(), _free.end(), [bytes](const Read& read) { return read.bytes != bytes; }),
              _free.end());
  if (_free.empty()) {
    Read read;
    read.bytes = bytes;
    read.buffer = new osg::PixelDataBufferObject;
    read.buffer->setDataSize(static_cast<unsigned int>(bytes));
    return read;
  }
  Read read = std::move(_free.back());
  _free.pop_back();
  return read;
}

}  // namespace QuorOsgUtils
