#include <QuorOsgUtils/DecrementalCompileOperation.h>

#include <OpenThreads/ScopedLock>

#include <algorithm>
#include <thread>

namespace QuorOsgUtils {

namespace {

using Lock = OpenThreads::ScopedLock<OpenThreads::Mutex>;

}  // namespace

DecrementalCompileOperation::DeleteCompletedCallback::~DeleteCompletedCallback() = default;

DecrementalCompileOperation::DeleteSet::DeleteSet() = default;

DecrementalCompileOperation::DeleteSet::DeleteSet(osg::Group* group, osg::Node* node) : _group(group), _node(node) {}

DecrementalCompileOperation::DeleteSet::DeleteSet(const DeleteSet& other) = default;

DecrementalCompileOperation::DeleteSet& DecrementalCompileOperation::DeleteSet::operator=(const DeleteSet& other) =
    default;

DecrementalCompileOperation::DeleteSet::~DeleteSet() = default;

bool DecrementalCompileOperation::DeleteSet::deleteop() {
  osg::ref_ptr<osg::Group> group;
  if (_group.lock(group)) {
    group->removeChild(_node.get());
  }
  return true;
}

/// A thread's exclusive right to finish the requests of an operation. It is a claim and not a lock: a thread that does
/// not get it leaves its requests to the owner instead of waiting, because the owner may wait for a lock of the
/// application that this thread holds. The owner may claim again from within a run.
class DecrementalCompileOperation::Claim {
 public:
  explicit Claim(DecrementalCompileOperation& operation) : _operation(operation) {}
  Claim(const Claim&) = delete;
  Claim& operator=(const Claim&) = delete;
  ~Claim() {
    if (!_owned) {
      return;
    }
    const Lock lock(_operation._toCompileMutex);
    --_operation._claims;
  }

  /// Copies the pending requests: in the first call, and in later ones if another thread has left requests since. False
  /// when this thread has nothing more to do. The owner releases the claim under the same lock under which it checks
  /// for requests that were left, so none is missed.
  bool take(DeleteSets& sets) {
    const Lock lock(_operation._toCompileMutex);
    if (!(_owned ? _continue() : _begin())) {
      return false;
    }
    _operation._requestsLeft = false;
    sets = _operation._toCompile;
    return true;
  }

 private:
  bool _begin() {
    const std::thread::id self = std::this_thread::get_id();
    if (_operation._claims != 0 && _operation._owner != self) {
      _operation._requestsLeft = true;
      return false;
    }
    _operation._owner = self;
    ++_operation._claims;
    return _owned = true;
  }

  bool _continue() {
    if (_operation._requestsLeft) {
      return true;
    }
    --_operation._claims;
    return _owned = false;
  }

  DecrementalCompileOperation& _operation;
  bool _owned = false;
};

DecrementalCompileOperation::DecrementalCompileOperation()
    : osg::Referenced(true), osg::GraphicsOperation("DecrementalCompileOperation", true) {}

DecrementalCompileOperation::~DecrementalCompileOperation() = default;

bool DecrementalCompileOperation::isActive() const {
  return !_contexts.empty();
}

void DecrementalCompileOperation::setTargetFrameRate(double targetFrameRate) {
  _targetFrameRate = targetFrameRate;
}

double DecrementalCompileOperation::getTargetFrameRate() {
  return _targetFrameRate;
}

void DecrementalCompileOperation::setMinimumTimeAvailableForGLCompileAndDeletePerFrame(double seconds) {
  _minimumTimePerFrameSeconds = seconds;
}

double DecrementalCompileOperation::getMinimumTimeAvailableForGLCompileAndDeletePerFrame() {
  return _minimumTimePerFrameSeconds;
}

void DecrementalCompileOperation::setMaximumNumOfObjectsToDeletePerFrame(unsigned int count) {
  _maximumObjectsPerFrame = count;
}

unsigned int DecrementalCompileOperation::getMaximumNumOfObjectsToDeletePerFrame() {
  return _maximumObjectsPerFrame;
}

void DecrementalCompileOperation::setFlushTimeRatio(double ratio) {
  _flushTimeRatio = ratio;
}

double DecrementalCompileOperation::getFlushTimeRatio() {
  return _flushTimeRatio;
}

void DecrementalCompileOperation::setConservativeTimeRatio(double ratio) {
  _conservativeTimeRatio = ratio;
}

double DecrementalCompileOperation::getConservativeTimeRatio() {
  return _conservativeTimeRatio;
}

void DecrementalCompileOperation::setCurrentFrameNumber(unsigned int frameNumber) {
  _currentFrameNumber = frameNumber;
}

unsigned int DecrementalCompileOperation::getCurrentFrameNumber() {
  return _currentFrameNumber;
}

void DecrementalCompileOperation::setDeleteAllTillFrameNumber(unsigned int frameNumber) {
  _deleteAllTillFrameNumber = frameNumber;
}

unsigned int DecrementalCompileOperation::getDeleteAllTillFrameNumber() {
  return _deleteAllTillFrameNumber;
}

void DecrementalCompileOperation::compileAllForNextFrame(unsigned int numFramesToDeleteAll) {
  _deleteAllTillFrameNumber = _currentFrameNumber + numFramesToDeleteAll;
}

DecrementalCompileOperation::ContextSet& DecrementalCompileOperation::getContextSet() {
  return _contexts;
}

const DecrementalCompileOperation::ContextSet& DecrementalCompileOperation::getContextSet() const {
  return _contexts;
}

void DecrementalCompileOperation::assignContexts(std::vector<osg::GraphicsContext*>& contexts) {
  for (osg::GraphicsContext* const gc : contexts) {
    addGraphicsContext(gc);
  }
}

// The contexts may hold the operation's last references.
void DecrementalCompileOperation::removeContexts(std::vector<osg::GraphicsContext*>& contexts) {
  const osg::ref_ptr<DecrementalCompileOperation> kept = isActive() ? this : nullptr;
  for (osg::GraphicsContext* const gc : contexts) {
    removeGraphicsContext(gc);
  }
}

void DecrementalCompileOperation::addGraphicsContext(osg::GraphicsContext* gc) {
  if (gc == nullptr || _contexts.count(gc) != 0) {
    return;
  }
  gc->add(this);
  _contexts.insert(gc);
}

// The context may hold the operation's last reference.
void DecrementalCompileOperation::removeGraphicsContext(osg::GraphicsContext* gc) {
  if (_contexts.count(gc) == 0) {
    return;
  }
  const osg::ref_ptr<DecrementalCompileOperation> kept = this;
  gc->remove(this);
  _contexts.erase(gc);
}

void DecrementalCompileOperation::add(osg::Group* group, osg::Node* node) {
  add(new DeleteSet(group, node));
}

void DecrementalCompileOperation::add(DeleteSet* set) {
  if (set == nullptr) {
    return;
  }
  const Lock lock(_toCompileMutex);
  _toCompile.emplace_back(set);
}

void DecrementalCompileOperation::remove(DeleteSet* set) {
  if (set != nullptr) {
    _unlink(set);
  }
}

bool DecrementalCompileOperation::isEmpty() {
  return _toCompile.empty();
}

void DecrementalCompileOperation::operator()(osg::GraphicsContext* /*context*/) {
  _finishPending();
}

OpenThreads::Mutex* DecrementalCompileOperation::getToCompiledMutex() {
  return &_toCompileMutex;
}

DecrementalCompileOperation::DeleteSets& DecrementalCompileOperation::getToCompile() {
  return _toCompile;
}

void DecrementalCompileOperation::_finishPending() {
  Claim claim(*this);
  DeleteSets sets;
  while (claim.take(sets)) {
    deleteSets(sets);
  }
}

// The request is kept here and looked up again after its callback, since application code may change the list. No lock
// is held: removeChild, the callback and the destructors of what is dropped belong to the application.
void DecrementalCompileOperation::deleteSets(DeleteSets& sets) {
  if (&sets == &_toCompile) {
    return _finishPending();
  }
  while (!sets.empty()) {
    const osg::ref_ptr<DeleteSet> set = sets.front();
    if (set.valid()) {
      set->deleteop();
    }
    _unlink(set);
    const osg::ref_ptr<DeleteCompletedCallback> callback = set.valid() ? set->_deleteCompletedCallback : nullptr;
    if (callback.valid()) {
      callback->deleteCompleted(set);
    }
    const auto place = std::find(sets.begin(), sets.end(), set);
    if (place != sets.end()) {
      sets.erase(place);
    }
  }
}

// The reference is dropped after the mutex has been released: it may be the last one of a whole subgraph.
void DecrementalCompileOperation::_unlink(const DeleteSet* set) {
  DeleteSets unlinked;
  const Lock lock(_toCompileMutex);
  const auto place = std::find(_toCompile.begin(), _toCompile.end(), set);
  if (place != _toCompile.end()) {
    unlinked.splice(unlinked.begin(), _toCompile, place);
  }
}

}  // namespace QuorOsgUtils
