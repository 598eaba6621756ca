#include "viewer/render/FrameLoop.h"

#include "scan/platform/Platform.h"

#include <osg/BufferObject>
#include <osg/GLObjects>

#include <algorithm>
#include <atomic>
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

// Runs on the graphics thread after drawing. Everything released since the previous frame is freed at once, rather than
// spread over many frames, because this viewer draws only on demand.
class FrameLoop::GraphicsMemory : public osg::GraphicsOperation {
 public:
  GraphicsMemory() : osg::GraphicsOperation("GraphicsMemory", true) {}

  void operator()(osg::GraphicsContext* context) override {
    const unsigned int contextId = context->getState()->getContextID();
    if (_buffers == nullptr) {
      _buffers = &bufferManagerOf(contextId);
    }
    osg::flushAllDeletedGLObjects(contextId);
    _bufferBytes = Buffers::bytesIn(*_buffers);
  }

  std::uint64_t bufferBytes() const { return _bufferBytes; }

 private:
  const osg::GLBufferObjectManager* _buffers = nullptr;  // lives as long as the context
  std::atomic<std::uint64_t> _bufferBytes{0};
};

// The memory is counted before the frame's last operation, that of the removal, so it is known when `draw` returns.
FrameLoop::FrameLoop(osgViewer::Viewer& viewer, osgViewer::ViewerBase::ThreadingModel threading)
    : _viewer(viewer), _context(viewer.getCamera()->getGraphicsContext()), _memory(new GraphicsMemory) {
  _context->add(_memory);
  _removal = std::make_unique<QuorOsgUtils::SafeRemoval>(viewer);
  viewer.setThreadingModel(threading);
}

// The context runs its operations on its own thread, so threading is stopped first.
FrameLoop::~FrameLoop() {
  _viewer.stopThreading();
  _context->remove(_memory);
}

bool FrameLoop::handleEvents() {
  if (!_isFrameDue() && _viewer.checkEvents()) {
    _viewer.advance();
    _viewer.eventTraversal();
  }
  _viewer.checkWindowStatus();  // a closed window ends the viewer, though nothing is drawn any more
  return _isFrameDue();
}

bool FrameLoop::_isFrameDue() const {
  return _viewer.getRequestRedraw() || _viewer.getRequestContinousUpdate() || _viewer.requiresUpdateSceneGraph() ||
         _viewer.requiresRedraw();
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
  _removal->frame();
  if (_framesDue > 0 && --_framesDue > 0) {
    _viewer.requestRedraw();
    returnFreeMemory();
  }
}

// The child is hidden at once, so that a pick in the next frame finds only what is left. The frames: one at whose end
// the child is removed; one for each of the two draw lists that OSG alternates between when it draws on a separate
// thread, and that hold what was drawn last; and one that shows the memory that has become free.
void FrameLoop::remove(osg::Group* parent, osg::Node* child) {
  constexpr int kFrames = 4;
  removePart(parent, child);
  _framesDue = kFrames;
  _viewer.requestRedraw();
}

void FrameLoop::removePart(osg::Group* parent, osg::Node* child) {
  _removal->remove(parent, child);
}

std::uint64_t FrameLoop::frameCount() const {
  return _removal->frameCount();
}

std::uint64_t FrameLoop::gpuBufferBytes() const {
  return _memory->bufferBytes();
}

}  // namespace QuorViewer
