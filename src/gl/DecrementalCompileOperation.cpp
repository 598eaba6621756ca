#include <QuorOsgUtils/DecrementalCompileOperation.h>

#include <OpenThreads/ScopedLock>

#include <algorithm>
#include <mutex>

namespace QuorOsgUtils {

namespace {

using Lock = OpenThreads::ScopedLock<OpenThreads::Mutex>;

// Groups and shared children keep lists of each other without a lock, so the graphics threads of several contexts take
// turns, also those of different operations. A node's destructor may come back here. Never destroyed, since threads may
// outlive the process's static objects.
std::recursive_mutex& sceneMutex() {
  static auto* const mutex = new std::recursive_mutex;
  return *mutex;
}

}  // namespace

DecrementalCompileOperation::DeleteCompletedCallback::~DeleteCompletedCallback() = default;

DecrementalCompileOperation::DeleteSet::DeleteSet() = default;

DecrementalCompileOperation::DeleteSet::DeleteSet(osg::Group* group, osg::Node* node) : _group(group), _node(node) {}

DecrementalCompileOperation::DeleteSet::DeleteSet(const DeleteSet& other) = default;

DecrementalCompileOperation::DeleteSet& DecrementalCompileOperation::DeleteSet::operator=(const DeleteSet& other) =
    default;

DecrementalCompileOperation::DeleteSet::~DeleteSet() = default;

bool DecrementalCompileOperation::DeleteSet::deleteop() {
  const std::lock_guard<std::recursive_mutex> alone(sceneMutex());
  osg::ref_ptr<osg::Group> group;
  if (_group.lock(group)) group->removeChild(_node.get());
  return true;
}

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
  for (osg::GraphicsContext* const gc : contexts) addGraphicsContext(gc);
}

// The contexts may hold the operation's last references.
void DecrementalCompileOperation::removeContexts(std::vector<osg::GraphicsContext*>& contexts) {
  const osg::ref_ptr<DecrementalCompileOperation> kept = isActive() ? this : nullptr;
  for (osg::GraphicsContext* const gc : contexts) removeGraphicsContext(gc);
}

void DecrementalCompileOperation::addGraphicsContext(osg::GraphicsContext* gc) {
  if (gc == nullptr || _contexts.count(gc) != 0) return;
  gc->add(this);
  _contexts.insert(gc);
}

// As above, for one context.
void DecrementalCompileOperation::removeGraphicsContext(osg::GraphicsContext* gc) {
  if (_contexts.count(gc) == 0) return;
  const osg::ref_ptr<DecrementalCompileOperation> kept = this;
  gc->remove(this);
  _contexts.erase(gc);
}

void DecrementalCompileOperation::add(osg::Group* group, osg::Node* node) {
  add(new DeleteSet(group, node));
}

void DecrementalCompileOperation::add(DeleteSet* set) {
  if (set == nullptr) return;
  const Lock lock(_toCompileMutex);
  _toCompile.emplace_back(set);
}

void DecrementalCompileOperation::remove(DeleteSet* set) {
  if (set != nullptr) unlink(set);
}

bool DecrementalCompileOperation::isEmpty() {
  return _toCompile.empty();
}

void DecrementalCompileOperation::operator()(osg::GraphicsContext* /*context*/) {
  DeleteSets sets;
  {
    const Lock lock(_toCompileMutex);
    sets = _toCompile;
  }
  if (!sets.empty()) deleteSets(sets);
}

OpenThreads::Mutex* DecrementalCompileOperation::getToCompiledMutex() {
  return &_toCompileMutex;
}

DecrementalCompileOperation::DeleteSets& DecrementalCompileOperation::getToCompile() {
  return _toCompile;
}

// The turn's request is taken out of the list beforehand, so that the list may be the pending one itself.
void DecrementalCompileOperation::deleteSets(DeleteSets& sets) {
  while (!sets.empty()) {
    DeleteSets turn;
    turn.splice(turn.begin(), sets, sets.begin());
    DeleteSet* const set = turn.front().get();
    if (set != nullptr) set->deleteop();
    unlink(set);
    const osg::ref_ptr<DeleteCompletedCallback> callback = set != nullptr ? set->_deleteCompletedCallback : nullptr;
    if (callback.valid()) callback->deleteCompleted(set);
    const std::lock_guard<std::recursive_mutex> alone(sceneMutex());
    turn.clear();
  }
}

// What is unlinked goes after the mutex has been given back: with it may go a whole subgraph.
void DecrementalCompileOperation::unlink(const DeleteSet* set) {
  DeleteSets unlinked;
  const Lock lock(_toCompileMutex);
  const auto place = std::find(_toCompile.begin(), _toCompile.end(), set);
  if (place != _toCompile.end()) unlinked.splice(unlinked.begin(), _toCompile, place);
}

}  // namespace QuorOsgUtils
