#include "viewer/render/FrameLoop.h"

#include "scan/platform/Platform.h"

#include <osg/BufferObject>
#include <osg/GLObjects>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <numeric>

namespace QuorViewer {
namespace {

// OSG groups buffers by size, but sums them in 32 bits, which large clouds exceed.
class Buffers : public osg::GLBufferObjectManager {
 public:
  static std::uint64_t bytesIn(const osg::GLBufferObjectManager& manager) {
    const auto& sets = manager.*(&Buffers::_glBufferObjectSetMap);
    return std::accumulate(sets.begin(), sets.end(), std::uint64_t{0}, [](std::uint64_t sum, const auto& bySize) {
      return sum + std::uint64_t{bySize.first._size} * bySize.second->getNumOfGLBufferObjects();
    });
  }
};

// OSG's manager of a context's buffers, reached through a buffer that it created. A lookup by type would return
// another, empty manager where programs and libraries have separate type information, as on Windows.
const osg::GLBufferObjectManager& bufferManagerOf(unsigned int contextId) {
  const osg::ref_ptr<osg::VertexBufferObject> buffer = new osg::VertexBufferObject;
  return *buffer->getOrCreateGLBufferObject(contextId)->_set->getParent();
}

}  // namespace

// The last operation of a frame on the graphics thread. Everything released since the previous frame is freed at once,
// rather than spread over many frames, because this viewer draws only on demand.
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
  /// Waits briefly; true if more frames have ended.
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

// The context runs its operations on its own thread, so threading is stopped first.
FrameLoop::~FrameLoop() {
  _viewer.stopThreading();
  _context->remove(_end);
  _removal->removeGraphicsContext(_context);
}

void FrameLoop::draw() {
  const auto start = std::chrono::steady_clock::now();
  _drawAndWait();
  _latestDrawEnd = std::chrono::steady_clock::now();
  _latestDrawDuration = _latestDrawEnd - start;
}

bool FrameLoop::isProgressFrameDue() const {
  using Duration = std::chrono::steady_clock::duration;
  constexpr std::chrono::milliseconds kLeastInterval(100);
  constexpr int kWorkPerDrawing = 4;
  return std::chrono::steady_clock::now() - _latestDrawEnd >
         std::max<Duration>(kLeastInterval, kWorkPerDrawing * _latestDrawDuration);
}

void FrameLoop::_drawAndWait() {
  const std::uint64_t before = _end->frames();
  _viewer.frame();
  while (_viewer.areThreadsRunning() && !_viewer.done() && !_end->waitBeyond(before)) {
  }
  if (_framesDue > 0 && --_framesDue > 0) {
    _viewer.requestRedraw();
    returnFreeMemory();
  }
}

// Hidden at once, so that a pick in the next frame finds only what is left. The frames: one at whose end the child is
// removed; one for each of the two draw lists that OSG alternates between when it draws on a separate thread, and that
// hold what was drawn last; and one that shows the memory that has become free.
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
