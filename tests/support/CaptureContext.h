#pragma once

#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/Camera>
#include <osg/FrameBufferObject>
#include <osg/Group>
#include <osg/State>
#include <osgViewer/Viewer>

#include <array>
#include <functional>

namespace QuorTests {

/// The contents of one region of the five-attachment frame.
struct FrameContent {
  std::array<float, 4> colour{};
  std::array<unsigned int, 4> itemID{};
  std::array<float, 4> itemFloat{};
  std::array<float, 4> pcFloat{};
  std::array<int, 4> pcInt{};
  float depth = 1.0f;
};

/// A viewer on a real off-screen context, set up as an application does it: a frame-buffer object of five attachments
/// and a depth buffer of 32-bit floats on the camera's state set, cleared in the pre-draw callback, a
/// `ScreenCaptureTool` as the post-draw callback. Single-threaded: `draw` returns when the frame has been drawn and
/// captured.
class CaptureContext {
 public:
  CaptureContext(int width, int height);
  ~CaptureContext();

  /// False if no context is available; nothing else may be called then.
  bool valid() const;

  osgViewer::Viewer& viewer() { return *_viewer; }
  osg::Camera& camera() { return *_viewer->getCamera(); }
  osg::Group& scene() { return *_scene; }
  osg::State& state() { return *camera().getGraphicsContext()->getState(); }
  osg::FrameBufferObject& frameBufferObject() { return *_object; }
  QuorOsgUtils::ScreenCaptureTool& tool() { return *_tool; }
  QuorOsgUtils::ScreenCaptureTool::FrameBuffer& frame() { return _tool->getFrameBuffer(); }

  /// The clear values of every frame.
  void setBackground(const FrameContent& background);

  /// Runs in every frame after the scene's own drawing, with the frame-buffer object bound.
  void setPainter(std::function<void()> painter);

  /// Gives the frame a new size, and the camera a viewport of that size.
  void resize(int width, int height);

  void draw();

  /// Makes the context current for calls outside `draw`.
  void makeCurrent();

  /// For painters: fills a rectangle of the frame, all attachments and the depth, with exact values.
  void fill(int x, int y, int width, int height, const FrameContent& content);

 private:
  void attachImages(int width, int height);

  osg::ref_ptr<osgViewer::Viewer> _viewer;
  osg::ref_ptr<osg::Group> _scene;
  osg::ref_ptr<osg::FrameBufferObject> _object;
  osg::ref_ptr<QuorOsgUtils::ScreenCaptureTool> _tool;
  FrameContent _background;
  std::function<void()> _painter;
};

}  // namespace QuorTests
