#pragma once

#include <QuorOsgUtils/FrameSnapshot.h>

#include <osg/Camera>
#include <osg/Geometry>
#include <osg/Group>
#include <osg/Vec3>
#include <osgViewer/Viewer>

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace QuorTests {

using ThreadingModel = osgViewer::ViewerBase::ThreadingModel;

/// Every threading model of osgViewer, and its name for test names.
inline constexpr std::array kThreadingModels = {
    osgViewer::ViewerBase::SingleThreaded, osgViewer::ViewerBase::CullDrawThreadPerContext,
    osgViewer::ViewerBase::DrawThreadPerContext, osgViewer::ViewerBase::CullThreadPerCameraDrawThreadPerContext};
std::string nameOf(const testing::TestParamInfo<ThreadingModel>& model);

/// A parallelogram in world units. Its fragments write attachment 0: `colour`; 1: identifier, 11, 12, 13;
/// 2: the world position, 1; 3: identifier + 0.5, 0, 0, 1; 4: −identifier, 0, 0, 1.
struct IdentifiedQuad {
  osg::Vec3 corner;
  osg::Vec3 side;
  osg::Vec3 up;
  unsigned int identifier = 1;
  osg::Vec4 colour = osg::Vec4(1.0f, 0.0f, 0.0f, 1.0f);
};

/// The quad with a program of its own, which writes all attachments, with blending, lighting and face culling off.
osg::ref_ptr<osg::Geometry> createNode(const IdentifiedQuad& quad);
/// The same without a program or identifiers: an overlay.
osg::ref_ptr<osg::Geometry> createOverlay(const IdentifiedQuad& quad);

/// An initial draw callback that changes the camera's viewport between the cull and the draw, as the event thread may.
class LateViewport : public osg::Camera::DrawCallback {
 public:
  explicit LateViewport(const QuorOsgUtils::PixelRectangle& viewport) : _viewport(viewport) {}

  void operator()(osg::RenderInfo& renderInfo) const override {
    renderInfo.getCurrentCamera()->setViewport(_viewport.x, _viewport.y, _viewport.width, _viewport.height);
  }
  using osg::Camera::DrawCallback::operator();

 private:
  QuorOsgUtils::PixelRectangle _viewport;
};

/// A viewer on an off-screen context in a threading model. Add to the scene, set up the camera, then `draw`.
class OffscreenViewer {
 public:
  OffscreenViewer(int width, int height, ThreadingModel model);
  ~OffscreenViewer();
  OffscreenViewer(const OffscreenViewer&) = delete;
  OffscreenViewer& operator=(const OffscreenViewer&) = delete;

  /// False if no context is available; nothing else may be called then.
  bool valid() const;
  osgViewer::Viewer& viewer() { return *_viewer; }
  osg::Camera& camera() { return *_viewer->getCamera(); }
  osg::Group& scene() { return *_scene; }
  osg::GraphicsContext& context() { return *camera().getGraphicsContext(); }
  osg::State& state() { return *context().getState(); }

  /// Draws one frame and waits until it is drawn.
  void draw();
  /// Draws one frame as the threading model does it: the draw may still run when this returns.
  void startFrame();
  /// Ends the frames that are still drawn, and their threads, until the next frame.
  void finish();
  /// Ends the threads and makes the context current on this thread, until the next frame.
  void makeCurrent();

  /// The colours (RGBA bytes, bottom row first) of a frame-buffer object of the context; 0 is the context's own.
  std::vector<unsigned char> colours(GLuint frameBuffer, int x, int y, int width, int height);

 private:
  osg::ref_ptr<osgViewer::Viewer> _viewer;
  osg::ref_ptr<osg::Group> _scene;
  ThreadingModel _model;
  bool _isCurrent = false;  // on this thread
};

}  // namespace QuorTests
