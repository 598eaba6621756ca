#pragma once

#include <QuorOsgUtils/SafeRemoval.h>

#include <osgViewer/Viewer>

#include <chrono>
#include <cstdint>
#include <memory>

namespace QuorViewer {

/// Draws a viewer's frames one at a time, in any threading model, by the library's `SafeRemoval`: `draw` returns when
/// the frame's work on the graphics thread has ended. So between two frames only the caller uses the scene. All
/// graphics memory that has become free is returned at the end of each frame.
class FrameLoop {
 public:
  /// Expects a realized viewer with one window, which draws on the calling thread so far. Starts the threads of the
  /// model; the destructor stops them.
  FrameLoop(osgViewer::Viewer& viewer, osgViewer::ViewerBase::ThreadingModel threading);
  FrameLoop(const FrameLoop&) = delete;
  FrameLoop& operator=(const FrameLoop&) = delete;
  ~FrameLoop();

  /// Handles the events that have arrived since, without drawing: the pointer may move over a large scan at no cost.
  /// True if a frame is due, because a redraw was requested or the scene needs an update. If one was due before, the
  /// events are left to it.
  bool handleEvents();
  /// Handles events and draws.
  void draw();
  /// Whether a frame that only shows progress may be drawn: with such frames drawing takes at most a fifth of the time,
  /// however long a frame of the points loaded so far takes.
  bool isProgressFrameDue() const;
  /// Hides `child` and queues its removal from `parent` at the end of the next frame. Requests frames until all
  /// graphics memory used only by the child has been freed.
  void remove(osg::Group* parent, osg::Node* child);
  /// The same for a small part of a scan: the memory that becomes free is soon used again, so no further frames are
  /// drawn to return it.
  void removePart(osg::Group* parent, osg::Node* child);

  /// The number of frames drawn so far.
  std::uint64_t frameCount() const;
  /// Size of the vertex buffers on the graphics card at the end of the latest frame.
  std::uint64_t gpuBufferBytes() const;

 private:
  class GraphicsMemory;

  bool _isFrameDue() const;
  void _drawAndWait();

  osgViewer::Viewer& _viewer;
  osg::ref_ptr<osg::GraphicsContext> _context;
  osg::ref_ptr<GraphicsMemory> _memory;
  std::unique_ptr<QuorOsgUtils::SafeRemoval> _removal;
  int _framesDue = 0;
  std::chrono::steady_clock::time_point _latestDrawEnd;
  std::chrono::steady_clock::duration _latestDrawDuration{};
};

}  // namespace QuorViewer
