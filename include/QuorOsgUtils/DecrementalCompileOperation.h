#pragma once

#include <QuorOsgUtils/Export.h>

#include <OpenThreads/Mutex>
#include <osg/GraphicsContext>
#include <osg/GraphicsThread>
#include <osg/Group>
#include <osg/Node>
#include <osg/Referenced>
#include <osg/observer_ptr>
#include <osg/ref_ptr>

#include <list>
#include <set>
#include <thread>
#include <vector>

namespace QuorOsgUtils {

/// Removes subgraphs from the scene on the graphics thread, between frames, instead of on the thread that requests it.
///
///     osg::ref_ptr<DecrementalCompileOperation> removal = new DecrementalCompileOperation;
///     removal->addGraphicsContext(window);
///     ...
///     removal->add(scans, closedScan);  // detached the next time the window's context runs its operations
///
/// Each run processes all requests that are pending at that time: it detaches each node from its group, calls the
/// request's callback and drops the request. When the last reference to the node is released, its GL objects go to
/// OSG's lists of deleted objects, which are flushed in the following frames.
///
/// The settings (`setTargetFrameRate` to `setDeleteAllTillFrameNumber`) are only stored for the application. No run
/// uses them; this is fixed by the interface.
///
/// Lifecycle: a request is pending from `add` until the next run on any context, or until `remove`. A callback may add
/// and remove requests: those it adds wait for the next run; those it removes are still processed if the current run
/// has already taken them. A request that is queued twice is processed twice. The group of a request is only observed:
/// if it no longer exists, nothing is detached and the request is finished as usual.
///
/// Ownership: each context holds a reference to the operation. The operation holds raw pointers to its contexts, so
/// remove a context before it is destroyed. The operation's destructor does not remove it from any context.
///
/// Threads: `add` and `remove` may be called from any thread. Add and remove contexts only while their graphics threads
/// are idle, or from a callback on the context's own thread: OSG reads its list of operations without a lock. Each
/// context runs the operation on its graphics thread. The nodes that are detached must not be traversed at the same
/// time, so in threading models that update or cull while another thread draws, the application decides when to queue
/// requests. Settings, `isActive` and `isEmpty` are read and written without a lock.
///
/// Several contexts: at most one thread at a time processes the requests of an operation, and no thread waits for it. A
/// run that starts while another thread is processing requests leaves the pending ones to that thread and returns
/// immediately. The processing thread handles them before its own run ends, unless application code throws; then they
/// wait for the next run. So nodes are detached and destroyed by one thread at a time, and each request is processed
/// once. Only the callback means that a request is finished; the return of a run does not. A nested run on the same
/// thread executes immediately; the outer run then checks again for remaining requests.
///
/// Locks: no lock is held while application code runs. Overridden `removeChild` functions, destructors of nodes and
/// groups, and callbacks may take any lock, even one that another thread holds while it calls this operation. Do not
/// wait for a callback while holding a lock that application code inside a run takes.
///
/// Restrictions: OSG changes groups without a lock, and each removal also updates all ancestors of the group. So two
/// operations whose runs may overlap need separate scene graphs. The same applies to direct calls of `deleteop` or
/// `deleteSets` that may overlap a run. A callback that always adds another request keeps a run busy as long as other
/// runs overlap it.
///
/// Cost: removing n children of one group one by one takes O(n²) time (10,000: 0.2 s; 100,000: half a minute), all
/// within one run. Queue their common parent instead.
///
/// GL: no GL calls; the current context is not changed.
class QUOR_OSG_UTILS_EXPORT DecrementalCompileOperation : public osg::GraphicsOperation {
 public:
  class DeleteSet;

  /// Called when a request has been finished, on the thread that finished it. Applications derive from it.
  class QUOR_OSG_UTILS_EXPORT DeleteCompletedCallback : public virtual osg::Referenced {
   public:
    /// `set` is no longer pending and lives at least until the call returns.
    virtual void deleteCompleted(DeleteSet* set) = 0;

   protected:
    ~DeleteCompletedCallback() override;
  };

  /// A request: the child to detach from its parent.
  class QUOR_OSG_UTILS_EXPORT DeleteSet : public osg::Referenced {
   public:
    /// An empty request, which detaches nothing.
    DeleteSet();
    /// The request to detach `node` from `group`.
    DeleteSet(osg::Group* group, osg::Node* node);
    ///@{
    /// Copies the group, the node and the callback.
    DeleteSet(const DeleteSet& other);
    DeleteSet& operator=(const DeleteSet& other);
    ///@}

    /// Detaches the node from the group on the calling thread, without any lock, if the group still exists and the node
    /// is its child. Always true.
    bool deleteop();

    osg::observer_ptr<osg::Group> _group;  ///< the parent; not kept alive
    osg::ref_ptr<osg::Node> _node;         ///< the child to detach
    /// Default: null. Set it before the request is added.
    osg::ref_ptr<DeleteCompletedCallback> _deleteCompletedCallback;

   protected:
    ~DeleteSet() override;
  };

  using DeleteSets = std::list<osg::ref_ptr<DeleteSet>>;  ///< requests, in order of arrival
  using ContextSet = std::set<osg::GraphicsContext*>;     ///< contexts that have this operation

  /// The operation's name is "DecrementalCompileOperation". Contexts keep it in their queues after each run.
  DecrementalCompileOperation();
  DecrementalCompileOperation(const DecrementalCompileOperation&) = delete;
  DecrementalCompileOperation& operator=(const DecrementalCompileOperation&) = delete;
  ~DecrementalCompileOperation() override;

  /// Whether this operation has been added to any context.
  bool isActive() const;

  ///@{
  /// Frames per second. Default: 100.
  void setTargetFrameRate(double targetFrameRate);
  double getTargetFrameRate();
  ///@}

  ///@{
  /// Seconds. Default: 0.001.
  void setMinimumTimeAvailableForGLCompileAndDeletePerFrame(double seconds);
  double getMinimumTimeAvailableForGLCompileAndDeletePerFrame();
  ///@}

  ///@{
  /// A number of objects. Default: 20.
  void setMaximumNumOfObjectsToDeletePerFrame(unsigned int count);
  unsigned int getMaximumNumOfObjectsToDeletePerFrame();
  ///@}

  ///@{
  /// Shares of a frame's time. Default: 0.5 each.
  void setFlushTimeRatio(double ratio);
  double getFlushTimeRatio();
  void setConservativeTimeRatio(double ratio);
  double getConservativeTimeRatio();
  ///@}

  ///@{
  /// Frame numbers. Default: 0 each.
  void setCurrentFrameNumber(unsigned int frameNumber);
  unsigned int getCurrentFrameNumber();
  void setDeleteAllTillFrameNumber(unsigned int frameNumber);
  unsigned int getDeleteAllTillFrameNumber();
  ///@}

  /// Sets the delete-all-till frame number to the current one plus `numFramesToDeleteAll`; the sum wraps at 2^32.
  void compileAllForNextFrame(unsigned int numFramesToDeleteAll);

  ///@{
  /// The contexts to which this operation has been added.
  ContextSet& getContextSet();
  const ContextSet& getContextSet() const;
  ///@}

  ///@{
  /// Add this operation to contexts, or remove it. Null, contexts that already have it (when adding) and contexts that
  /// do not have it (when removing) are ignored.
  void assignContexts(std::vector<osg::GraphicsContext*>& contexts);
  void removeContexts(std::vector<osg::GraphicsContext*>& contexts);
  void addGraphicsContext(osg::GraphicsContext* gc);
  void removeGraphicsContext(osg::GraphicsContext* gc);
  ///@}

  /// Queues the removal of `node` from `group`.
  void add(osg::Group* group, osg::Node* node);
  ///@{
  /// Queue a request, or remove its first occurrence from the queue. Null and requests that are not queued are ignored.
  void add(DeleteSet* set);
  void remove(DeleteSet* set);
  ///@}

  /// Whether no request is pending.
  bool isEmpty();

  /// Runs the operation. Contexts call it; a direct call, also with null, does the same on the calling thread. The
  /// operation must exist until the call returns: hold a reference, as contexts do.
  void operator()(osg::GraphicsContext* context) override;
  using osg::GraphicsOperation::operator();

  ///@{
  /// The pending requests in order of arrival, and the mutex to hold while accessing them. The mutex is not recursive:
  /// while holding it, make no other call that uses the queue.
  OpenThreads::Mutex* getToCompiledMutex();
  DeleteSets& getToCompile();
  ///@}

 protected:
  /// Finishes the requests of the list, front to back, on the calling thread. Each is removed from the list after its
  /// callback. Called with the pending list itself, it does the same as a run.
  void deleteSets(DeleteSets& sets);

 private:
  class Claim;

  void _finishPending();
  void _unlink(const DeleteSet* set);

  double _targetFrameRate = 100.0;
  double _minimumTimePerFrameSeconds = 0.001;
  unsigned int _maximumObjectsPerFrame = 20;
  double _flushTimeRatio = 0.5;
  double _conservativeTimeRatio = 0.5;
  unsigned int _currentFrameNumber = 0;
  unsigned int _deleteAllTillFrameNumber = 0;
  OpenThreads::Mutex _toCompileMutex;
  DeleteSets _toCompile;
  ContextSet _contexts;

  // The thread that processes requests; also guarded by the mutex.
  std::thread::id _owner;
  unsigned int _claims = 0;  ///< nesting depth of runs on the owner's thread
  bool _requestsLeft = false;
};

}  // namespace QuorOsgUtils
