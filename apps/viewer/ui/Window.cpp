#include "viewer/ui/Window.h"

#include "viewer/ui/Format.h"

#include <osg/GLExtensions>

namespace QuorViewer {
namespace {

constexpr int kLeftPixels = 60;
constexpr int kTopPixels = 60;
constexpr float kNeededGlVersion = 3.3F;

osg::ref_ptr<osg::GraphicsContext> createWindow(int width, int height, const std::string& title) {
  osg::ref_ptr<osg::GraphicsContext::Traits> traits = new osg::GraphicsContext::Traits;
  traits->readDISPLAY();
  traits->setUndefinedScreenDetailsToDefaultScreen();
  traits->x = kLeftPixels;
  traits->y = kTopPixels;
  traits->width = width;
  traits->height = height;
  traits->windowDecoration = true;
  traits->doubleBuffer = true;
  traits->windowName = title;
  return osg::GraphicsContext::createGraphicsContext(traits);
}

void checkOpenGl(osg::GraphicsContext& context) {
  context.makeCurrent();
  const float version = context.getState()->get<osg::GLExtensions>()->glVersion;
  context.releaseContext();
  if (version < kNeededGlVersion) {
    throw WindowError("this display offers OpenGL " + fixed(version, 1) + ", but 3.3 is required");
  }
}

}  // namespace

void openWindow(osgViewer::Viewer& viewer, int width, int height, const std::string& title) {
  osg::ref_ptr<osg::GraphicsContext> window = createWindow(width, height, title);
  if (!window.valid() || !window->valid()) {
    throw WindowError("no window can be opened: is there a display (the variable DISPLAY)?");
  }
  // The viewer counts GL errors itself, once per frame; OSG's own check would consume them.
  window->getState()->setCheckForGLErrors(osg::State::NEVER_CHECK_GL_ERRORS);
  osg::Camera& camera = *viewer.getCamera();
  camera.setGraphicsContext(window);
  camera.setViewport(0, 0, width, height);
  constexpr double kVerticalDegrees = 30.0;
  constexpr double kNear = 1.0;
  constexpr double kFar = 1000.0;
  camera.setProjectionMatrixAsPerspective(kVerticalDegrees, static_cast<double>(width) / height, kNear, kFar);
  camera.setDrawBuffer(GL_BACK);
  camera.setReadBuffer(GL_BACK);
  viewer.setThreadingModel(osgViewer::ViewerBase::SingleThreaded);  // before OSG starts threads by its own choice
  viewer.realize();
  if (!viewer.isRealized()) {
    throw WindowError("the window could not be shown on this display");
  }
  checkOpenGl(*window);
}

}  // namespace QuorViewer
