#pragma once

#include <QuorOsgUtils/DecrementalCompileOperation.h>

#include <osgViewer/Viewer>

#include <chrono>
#include <cstdint>

namespace QuorViewer {

/// Draws a viewer's frames one at a time, in any threading model: `draw` returns when the frame's work on the graphics
/// thread has ended. So between two frames only the caller uses the scene. Nodes are removed on the graphics thread,
/// after the frame's drawing, outside traversals.
class FrameLoop {
 public:
  /// Expects a realized viewer with one window, which draws on the calling thread so far. Starts the threads of the
  /// model; the destructor stops them.
  FrameLoop(osgViewer::Viewer& viewer, osgViewer::ViewerBase::ThreadingModel threading);
  FrameLoop(const FrameLoop&) = delete;
  FrameLoop& operator=(const FrameLoop&) = delete;
  ~FrameLoop();

  void draw();
  /// Whether a frame that only shows progress may be drawn: with such frames drawing takes at most a fifth of the time,
  /// however long a frame of the points loaded so far takes.
  bool isProgressFrameDue() const;
  /// Hides `child` and queues its removal from `parent` at the end of the next frame. Requests frames until all
  /// graphics memory used only by the child has been freed.
  void remove(osg::Group* parent, osg::Node* child);

  /// Size of the vertex buffers on the graphics card at the end of the latest frame.
  std::uint64_t gpuBufferBytes() const;

 private:
  class FrameEnd;

  void _drawAndWait();

  osgViewer::Viewer& _viewer;
  osg::ref_ptr<osg::GraphicsContext> _context;
  osg::ref_ptr<QuorOsgUtils::DecrementalCompileOperation> _removal;
  osg::ref_ptr<FrameEnd> _end;
  int _framesDue = 0;
  std::chrono::steady_clock::time_point _latestDrawEnd;
  std::chrono::steady_clock::duration _latestDrawDuration{};
};

}  // namespace QuorViewer
