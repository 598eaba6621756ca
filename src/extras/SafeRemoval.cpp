#include <QuorOsgUtils/SafeRemoval.h>

#include <OpenThreads/ScopedLock>
#include <osg/Camera>
#include <osg/FrameStamp>
#include <osg/OperationThread>
#include <osgUtil/SceneView>
#include <osgViewer/Renderer>
#include <osgViewer/View>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <utility>

namespace QuorOsgUtils {
namespace {

using Contexts = osgViewer::ViewerBase::Contexts;

/// A frame's number, and its time: the first frame has the same number as no frame.
using FrameName = std::pair<unsigned int, double>;

FrameName nameOf(const osg::FrameStamp* stamp) {
  return stamp == nullptr ? FrameName() : FrameName(stamp->getFrameNumber(), stamp->getReferenceTime());
}

/// The latest frame that was culled in any context. To be called on the viewer's thread, when nothing is being culled.
/// Each camera has two scene views, with a frame stamp of their own.
FrameName latestFrameOf(osgViewer::ViewerBase& viewer) {
  osgViewer::ViewerBase::Cameras cameras;
  viewer.getCameras(cameras);
  FrameName latest;
  for (osg::Camera* const camera : cameras) {
    auto* const renderer = dynamic_cast<osgViewer::Renderer*>(camera->getRenderer());
    for (const unsigned int i : {0U, 1U}) {
      if (renderer != nullptr && renderer->getSceneView(i) != nullptr) {
        latest = std::max(latest, nameOf(renderer->getSceneView(i)->getFrameStamp()));
      }
    }
  }
  return latest;
}

Contexts contextsOf(osgViewer::ViewerBase& viewer) {
  Contexts contexts;
  viewer.getContexts(contexts);
  return contexts;
}

bool contains(const Contexts& contexts, const osg::GraphicsContext* context) {
  return std::find(contexts.begin(), contexts.end(), context) != contexts.end();
}

/// When the viewer stops its threads, each of them may run its operations once more, without a frame.
bool isStopping(osg::GraphicsContext& context) {
  const osg::GraphicsContext::Cameras& cameras = context.getCameras();
  return std::any_of(cameras.begin(), cameras.end(), [](osg::Camera* camera) {
    auto* const renderer = dynamic_cast<osgViewer::Renderer*>(camera->getRenderer());
    return renderer != nullptr && renderer->getDone();
  });
}

/// Stops the viewer's threads during its lifetime: OSG reads a context's list of operations without a lock.
class PausedThreads {
 public:
  explicit PausedThreads(osgViewer::ViewerBase& viewer) : _viewer(viewer), _ran(viewer.areThreadsRunning()) {
    if (_ran) {
      _viewer.stopThreading();
    }
  }
  PausedThreads(const PausedThreads&) = delete;
  PausedThreads& operator=(const PausedThreads&) = delete;
  ~PausedThreads() {
    if (_ran && !_viewer.done()) {
      _viewer.startThreading();
    }
  }

 private:
  osgViewer::ViewerBase& _viewer;
  bool _ran;
};

void requestRedraw(osgViewer::ViewerBase& viewer) {
  osgViewer::ViewerBase::Views views;
  viewer.getViews(views);
  for (osgViewer::View* const view : views) {
    view->requestRedraw();
  }
}

std::future<bool> readyFuture(bool value) {
  std::promise<bool> promise;
  promise.set_value(value);
  return promise.get_future();
}

}  // namespace

/// Runs on the viewer's thread, after the events of a frame and before its culling.
class SafeRemoval::FrameStart : public osg::Operation {
 public:
  explicit FrameStart(SafeRemoval& removal)
      : osg::Referenced(true), osg::Operation("SafeRemoval::FrameStart", true), _removal(removal) {}
  void operator()(osg::Object* /*viewer*/) override { _removal._startFrame(); }

 private:
  SafeRemoval& _removal;
};

/// The last operation of a frame in each context. In a frame that `expectFrame` announced, the context that ends last
/// detaches what is pending.
class SafeRemoval::FrameEnd : public osg::GraphicsOperation {
 public:
  explicit FrameEnd(DecrementalCompileOperation& removal)
      : osg::Referenced(true), osg::GraphicsOperation("SafeRemoval::FrameEnd", true), _removal(&removal) {}
  using osg::GraphicsOperation::operator();

  void operator()(osg::GraphicsContext* context) override {
    if (!_noteEnd(*context)) {
      return;
    }
    (*_removal)(context);
    const std::lock_guard<std::mutex> held(_mutex);
    _detaches = false;
    _changed.notify_all();
  }

  /// Adds this operation to contexts that are new, and removes it from those that the viewer no longer has. If contexts
  /// are new, no graphics thread may run.
  void follow(const Contexts& contexts) {
    const std::lock_guard<std::mutex> held(_mutex);
    for (auto known = _ended.begin(); known != _ended.end();) {
      if (contains(contexts, known->first)) {
        ++known;
      } else {
        known->first->remove(this);
        known = _ended.erase(known);
      }
    }
    for (osg::GraphicsContext* const context : contexts) {
      if (_ended.count(context) == 0) {
        context->add(this);
        _ended[context] = {_frames, _settled};
      }
    }
  }
  /// Whether one of the contexts is new.
  bool lacks(const Contexts& contexts) const {
    const std::lock_guard<std::mutex> held(_mutex);
    return std::any_of(contexts.begin(), contexts.end(),
                       [this](osg::GraphicsContext* context) { return _ended.count(context) == 0; });
  }

  /// Announces a frame: from now on each context is awaited until it has ended it.
  void expectFrame() {
    const std::lock_guard<std::mutex> held(_mutex);
    _isOpen = true;
    for (const auto& [context, end] : _ended) {
      _awaited.insert(context);
    }
  }
  /// Waits briefly; true if no context is awaited.
  bool waitForFrame() {
    constexpr std::chrono::milliseconds kLimit(20);
    std::unique_lock<std::mutex> held(_mutex);
    return _changed.wait_for(held, kLimit, [&] { return _hasEnded(); });
  }
  /// Awaits no contexts but these.
  void awaitOnly(const Contexts& contexts) {
    const std::lock_guard<std::mutex> held(_mutex);
    for (auto context = _awaited.begin(); context != _awaited.end();) {
      context = contains(contexts, *context) ? std::next(context) : _awaited.erase(context);
    }
  }
  /// Ends the announced frame. True if it has ended in all contexts, but none of them knew that it was the last one.
  bool settle(const FrameName& frame) {
    const std::lock_guard<std::mutex> held(_mutex);
    const bool hasEnded = _hasEnded();
    if (hasEnded) {
      _settled = frame;
    }
    _awaited.clear();
    return std::exchange(_isOpen, false) && hasEnded;
  }

  bool isSettled(const FrameName& frame) const {
    const std::lock_guard<std::mutex> held(_mutex);
    return frame == _settled;
  }
  /// Waits for a frame that was not announced. False if it has not been drawn in each of these contexts in time.
  bool waitFor(const FrameName& frame, const Contexts& contexts) {
    constexpr std::chrono::milliseconds kLimit(200);
    std::unique_lock<std::mutex> held(_mutex);
    return _changed.wait_for(held, kLimit, [&] {
      return std::all_of(_ended.begin(), _ended.end(), [&](const auto& ended) {
        return ended.second.frame == frame || !contains(contexts, ended.first);
      });
    });
  }
  std::uint64_t frames() const {
    const std::lock_guard<std::mutex> held(_mutex);
    return _frames;
  }

 private:
  struct End {
    std::uint64_t frames = 0;  // that have ended
    FrameName frame;           // the one drawn last
  };

  /// Whether this is the last context of the announced frame.
  bool _noteEnd(osg::GraphicsContext& context) {
    const std::lock_guard<std::mutex> held(_mutex);
    const auto ended = _ended.find(&context);
    if (ended == _ended.end()) {
      return false;
    }
    ended->second.frame = nameOf(context.getState()->getFrameStamp());
    _changed.notify_all();
    if (isStopping(context)) {
      return false;
    }
    ++ended->second.frames;
    _countFrames();
    if (_awaited.erase(&context) == 0 || !_awaited.empty()) {
      return false;
    }
    _isOpen = false;
    return _detaches = true;
  }
  // Expect the mutex to be held.
  void _countFrames() {
    const auto least = std::min_element(_ended.begin(), _ended.end(),
                                        [](const auto& a, const auto& b) { return a.second.frames < b.second.frames; });
    _frames = std::max(_frames, least->second.frames);
  }
  bool _hasEnded() const { return _awaited.empty() && !_detaches; }

  osg::ref_ptr<DecrementalCompileOperation> _removal;
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  std::map<osg::ref_ptr<osg::GraphicsContext>, End> _ended;
  std::uint64_t _frames = 0;                 // that have ended in all contexts
  FrameName _settled;                        // the last announced frame
  std::set<osg::GraphicsContext*> _awaited;  // of the announced frame
  bool _isOpen = false;                      // announced, and nothing has been detached
  bool _detaches = false;                    // the last context is at it
};

class SafeRemoval::Completion : public DecrementalCompileOperation::DeleteCompletedCallback {
 public:
  /// Hides the node until it has been detached. If it is hidden already, it stays so.
  void hide(osg::Node& node) {
    _mask = node.getNodeMask();
    node.setNodeMask(0);
  }
  void deleteCompleted(DecrementalCompileOperation::DeleteSet* set) override {
    if (set->_node->getNodeMask() == 0) {
      set->_node->setNodeMask(_mask);
    }
    _isDone = true;
    _promise.set_value(true);
  }
  std::future<bool> future() { return _promise.get_future(); }

 protected:
  ~Completion() override {
    if (!_isDone) {
      _promise.set_value(false);
    }
  }

 private:
  std::promise<bool> _promise;
  osg::Node::NodeMask _mask = 0;
  bool _isDone = false;
};

SafeRemoval::SafeRemoval(osgViewer::ViewerBase& viewer)
    : _viewer(viewer),
      _removal(new DecrementalCompileOperation),
      _start(new FrameStart(*this)),
      _end(new FrameEnd(*_removal)) {
  _viewer.addUpdateOperation(_start);
  _followContexts();
  _end->settle(latestFrameOf(_viewer));
}

SafeRemoval::~SafeRemoval() {
  const PausedThreads paused(_viewer);
  _viewer.removeUpdateOperation(_start);
  _end->follow({});
}

std::future<bool> SafeRemoval::remove(osg::Group* parent, osg::Node* child) {
  if (parent == nullptr || child == nullptr || !parent->containsNode(child)) {
    return readyFuture(false);
  }
  const osg::ref_ptr<Completion> completion = new Completion;
  if (child->getNumParents() == 1) {
    completion->hide(*child);
  }
  const osg::ref_ptr<DecrementalCompileOperation::DeleteSet> request =
      new DecrementalCompileOperation::DeleteSet(parent, child);
  request->_deleteCompletedCallback = completion;
  _removal->add(request);
  requestRedraw(_viewer);
  return completion->future();
}

std::size_t SafeRemoval::pending() const {
  const OpenThreads::ScopedLock<OpenThreads::Mutex> held(*_removal->getToCompiledMutex());
  return _removal->getToCompile().size();
}

void SafeRemoval::frame() {
  if (_viewer.done()) {
    return;
  }
  _waitForOtherFrames();
  _isAnnounced = true;
  _viewer.frame();
  _isAnnounced = false;
  _waitForFrame();
  if (_end->settle(latestFrameOf(_viewer)) && !_viewer.done()) {
    (*_removal)(static_cast<osg::GraphicsContext*>(nullptr));
  }
}

// The application may have drawn the latest frame. A context that has not ended it in time may have nothing to draw, or
// much: stopping its thread waits for it.
void SafeRemoval::_waitForOtherFrames() {
  const FrameName latest = latestFrameOf(_viewer);
  if (_viewer.areThreadsRunning() && !_end->isSettled(latest) && !_end->waitFor(latest, contextsOf(_viewer))) {
    const PausedThreads paused(_viewer);
  }
}

// OSG has handled the frame's events, so windows may have been opened or closed.
void SafeRemoval::_startFrame() {
  if (_isAnnounced) {
    _followContexts();
    _end->expectFrame();
  }
}

// A viewer that is done does not draw the frame that it has started. Update callbacks may close windows, too.
void SafeRemoval::_waitForFrame() {
  do {
    _end->awaitOnly(contextsOf(_viewer));
  } while (_viewer.areThreadsRunning() && !_viewer.done() && !_end->waitForFrame());
}

void SafeRemoval::_followContexts() {
  const Contexts contexts = contextsOf(_viewer);
  if (_end->lacks(contexts)) {
    const PausedThreads paused(_viewer);
    _end->follow(contexts);
  } else {
    _end->follow(contexts);
  }
}

std::uint64_t SafeRemoval::frameCount() const {
  return _end->frames();
}

}  // namespace QuorOsgUtils
