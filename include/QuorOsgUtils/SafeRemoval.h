#pragma once

#include <QuorOsgUtils/DecrementalCompileOperation.h>
#include <QuorOsgUtils/Export.h>

#include <osg/Group>
#include <osg/Node>
#include <osg/ref_ptr>
#include <osgViewer/ViewerBase>

#include <cstddef>
#include <cstdint>
#include <future>

namespace QuorOsgUtils {

/// Removes nodes from a scene that is being drawn, in every threading model and with any number of windows: hides a
/// node at once, detaches it on a graphics thread when no traversal can hold it, and says when that has happened.
///
///     viewer.realize();
///     QuorOsgUtils::SafeRemoval removal(viewer);
///     while (!viewer.done()) {
///       removal.frame();  // instead of viewer.frame()
///     }
///     ...
///     std::future<bool> removed = removal.remove(scans, closedScan);
///
/// `frame` draws a frame and returns when every graphics thread has ended its work on it. So only the caller uses the
/// scene between two frames, also where OSG's own `frame` returns earlier (DrawThreadPerContext and
/// CullThreadPerCameraDrawThreadPerContext). Nodes are detached at the end of a frame, by the graphics thread that ends
/// last: then all contexts have been culled and drawn, and the viewer's thread waits in `frame`.
///
/// Windows may be opened and closed, also while a frame handles its events. `frame` stops the viewer's threads for a
/// moment when it finds a new one.
///
/// Frames that the application draws by `viewer.frame()` detach nothing; requests wait for the next `frame`, which
/// first waits until the latest of those frames has ended. If a window has not ended it after 0.2 seconds, `frame`
/// stops the viewer's threads, which waits for them, and restarts them. It does not wait for updates without drawing.
///
/// Freed memory: OSG's draw lists hold what they drew last for up to two more frames, and OSG deletes GL objects in the
/// frames after that, each within a time limit. An application that draws on demand draws four frames to free all.
///
/// Ownership: holds a reference to the viewer's contexts; the viewer must outlive the object. A request holds its node
/// and observes its parent. When it is destroyed, futures of requests that are still pending become false, and their
/// nodes stay hidden. Constructor and destructor stop the viewer's threads, if they run, and start them again.
/// Threads: the viewer's thread, which calls `frame`: between frames, in event handlers and in update callbacks.
/// GL: no GL calls of its own. The contexts' graphics threads, or the viewer's thread in the single-threaded model, run
/// the last operation of a frame with their context current.
/// Errors: nothing is thrown. Traversals by other threads of the application (intersections, a database pager) are not
/// known here: do not let them overlap `frame` while they use a part of the scene from which nodes are removed.
class QUOR_OSG_UTILS_EXPORT SafeRemoval {
 public:
  /// Expects a realized viewer. Windows that are added later are found at the next `frame`.
  explicit SafeRemoval(osgViewer::ViewerBase& viewer);
  SafeRemoval(const SafeRemoval&) = delete;
  SafeRemoval& operator=(const SafeRemoval&) = delete;
  ~SafeRemoval();

  /// Hides `child` by the node mask 0 and queues its removal from `parent`; requests a redraw of all views. A child
  /// that has other parents is not hidden, because it stays visible there. When it has been detached it gets its mask
  /// back. The future becomes true on a graphics thread when the child has been detached, at the end of the next
  /// `frame` (on the viewer's thread in the single-threaded model, or if an update callback has just closed a window).
  /// It is false at once if `child` is no child of `parent`, and becomes false if this object is destroyed before.
  std::future<bool> remove(osg::Group* parent, osg::Node* child);
  /// Number of requests that have not been carried out.
  std::size_t pending() const;

  /// Draws a frame and waits as described above. Returns at once if the viewer is done.
  void frame();
  /// Number of frames, drawn by any function, whose work has ended in all contexts.
  std::uint64_t frameCount() const;

 private:
  class FrameEnd;
  class FrameStart;
  class Completion;

  void _followContexts();
  void _startFrame();
  void _waitForFrame();
  void _waitForOtherFrames();

  osgViewer::ViewerBase& _viewer;
  osg::ref_ptr<DecrementalCompileOperation> _removal;
  osg::ref_ptr<FrameStart> _start;
  osg::ref_ptr<FrameEnd> _end;
  bool _isAnnounced = false;  // the viewer's frame is that of `frame`
};

}  // namespace QuorOsgUtils
