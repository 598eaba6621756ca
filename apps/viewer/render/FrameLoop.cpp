#include "viewer/render/FrameLoop.h"

#include "scan/platform/Platform.h"

#include <osg/BufferObject>
#include <osg/GLObjects>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <numeric>

namespace QuorViewer {
namespace {

// The engine keeps buffers by their size, but adds them up in 32 bits, which large clouds exceed.
class Buffers : public osg::GLBufferObjectManager {
 public:
  static std::uint64_t bytesIn(const osg::GLBufferObjectManager& manager) {
    const auto& sets = manager.*(&Buffers::_glBufferObjectSetMap);
    return std::accumulate(sets.begin(), sets.end(), std::uint64_t{0}, [](std::uint64_t sum, const auto& bySize) {
      return sum + std::uint64_t{bySize.first._size} * bySize.second->getNumOfGLBufferObjects();
    });
  }
};

// The engine's own manager of a context's buffers, by a buffer of its making. Asked for by its type it would be
// another, empty one wherever programs and libraries have type information each of their own, as on Windows.
const osg::GLBufferObjectManager& bufferManagerOf(unsigned int contextId) {
  const osg::ref_ptr<osg::VertexBufferObject> buffer = new osg::VertexBufferObject;
  return *buffer->getOrCreateGLBufferObject(contextId)->_set->getParent();
}

}  // namespace

// The last of a frame's operations on the graphics thread. What was released since the frame before is freed at once,
// and not a little in each of many frames, for this viewer draws none without need.
class FrameLoop::FrameEnd : public osg::GraphicsOperation {
 public:
  FrameEnd() : osg::GraphicsOperation("FrameEnd", true) {}

  void operator()(osg::GraphicsContext* context) override {
    const unsigned int contextId = context->getState()->getContextID();
    if (_buffers == nullptr) {
      _buffers = &bufferManagerOf(contextId);
    }
    osg::flushAllDeletedGLObjects(contextId);
    _note(Buffers::bytesIn(*_buffers));
  }

  std::uint64_t frames() const {
    const std::lock_guard<std::mutex> held(_mutex);
    return _frames;
  }
  /// Waits for a little; true when more frames have ended.
  bool waitBeyond(std::uint64_t frames) {
    constexpr std::chrono::milliseconds kLimit(20);
    std::unique_lock<std::mutex> held(_mutex);
    return _ended.wait_for(held, kLimit, [&] { return _frames > frames; });
  }
  std::uint64_t bufferBytes() const {
    const std::lock_guard<std::mutex> held(_mutex);
    return _bufferBytes;
  }

 private:
  void _note(std::uint64_t bufferBytes) {
    const std::lock_guard<std::mutex> held(_mutex);
    _bufferBytes = bufferBytes;
    ++_frames;
    _ended.notify_all();
  }

  const osg::GLBufferObjectManager* _buffers = nullptr;  // lives as long as the context
  mutable std::mutex _mutex;
  std::condition_variable _ended;
  std::uint64_t _frames = 0;
  std::uint64_t _bufferBytes = 0;
};

FrameLoop::FrameLoop(osgViewer::Viewer& viewer, osgViewer::ViewerBase::ThreadingModel threading)
    : _viewer(viewer),
      _context(viewer.getCamera()->getGraphicsContext()),
      _removal(new QuorOsgUtils::DecrementalCompileOperation),
      _end(new FrameEnd) {
  _removal->addGraphicsContext(_context);
  _context->add(_end);
  viewer.setThreadingModel(threading);
}

// The context walks its operations on its own thread, so that has to rest first.
FrameLoop::~FrameLoop() {
  _viewer.stopThreading();
  _context->remove(_end);
  _removal->removeGraphicsContext(_context);
}

void FrameLoop::draw() {
  const std::uint64_t before = _end->frames();
  _viewer.frame();
  while (_viewer.areThreadsRunning() && !_viewer.done() && !_end->waitBeyond(before)) {
  }
  if (_framesDue > 0 && --_framesDue > 0) {
    _viewer.requestRedraw();
    returnFreeMemory();
  }
}

// Hidden at once, since whoever picks from the next frame is to pick what is left. The frames: the one at whose end the
// child leaves; one for each of the two lists of drawables that the engine fills by turns when it draws on a thread of
// its own, which hold what was drawn last; and one that shows what has become free.
void FrameLoop::remove(osg::Group* parent, osg::Node* child) {
  constexpr int kFrames = 4;
  child->setNodeMask(0);
  _removal->add(parent, child);
  _framesDue = kFrames;
  _viewer.requestRedraw();
}

std::uint64_t FrameLoop::gpuBufferBytes() const {
  return _end->bufferBytes();
}

}  // namespace QuorViewer
