#pragma once

#include <QuorOsgUtils/DecrementalCompileOperation.h>

#include <osgViewer/Viewer>

#include <cstdint>

namespace QuorViewer {

/// Draws a viewer's frames one at a time, whatever threads the viewer draws on: `draw` ends when the frame's work on
/// the graphics thread has ended. So between two frames the scene is the caller's alone, and what leaves it for good
/// leaves on the graphics thread, behind the frame's drawing, where nobody walks the scene.
class FrameLoop {
 public:
  /// Expects a realized viewer with one window, which draws on the calling thread so far. From now on it has the
  /// threads of the model; the end stops them.
  FrameLoop(osgViewer::Viewer& viewer, osgViewer::ViewerBase::ThreadingModel threading);
  FrameLoop(const FrameLoop&) = delete;
  FrameLoop& operator=(const FrameLoop&) = delete;
  ~FrameLoop();

  void draw();
  /// Hides `child`, and has it taken out of `parent` at the end of the next frame. Requests the frames it takes until
  /// all that only the child needed of the graphics card is free again.
  void remove(osg::Group* parent, osg::Node* child);

  /// The vertex buffers on the graphics card at the end of the latest frame.
  std::uint64_t gpuBufferBytes() const;

 private:
  class FrameEnd;

  osgViewer::Viewer& _viewer;
  osg::ref_ptr<osg::GraphicsContext> _context;
  osg::ref_ptr<QuorOsgUtils::DecrementalCompileOperation> _removal;
  osg::ref_ptr<FrameEnd> _end;
  int _framesDue = 0;
};

}  // namespace QuorViewer
