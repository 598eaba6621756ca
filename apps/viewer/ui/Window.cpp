#include "viewer/ui/Window.h"

#include "viewer/platform/WindowEvents.h"
#include "viewer/platform/WindowIdentity.h"
#include "viewer/ui/Format.h"
#include "viewer/ui/WindowIcon.h"

#include <osg/GLExtensions>

#include <algorithm>
#include <vector>

namespace QuorViewer {
namespace {

constexpr int kLeftPixels = 60;
constexpr int kTopPixels = 60;
constexpr float kNeededGlVersion = 3.3f;

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

// For lists of windows, switching between them, and docks.
std::vector<Icon> createIcons() {
  return {createIcon(16), createIcon(32), createIcon(48), createIcon(128)};
}

void checkOpenGl(osg::GraphicsContext& context) {
  context.makeCurrent();
  const float version = context.getState()->get<osg::GLExtensions>()->glVersion;
  context.releaseContext();
  if (version < kNeededGlVersion) {
    throw WindowError("this display supports OpenGL " + fixed(version, 1) + ", but 3.3 is required");
  }
}

osgViewer::ViewerBase::Windows windowsOf(osgViewer::Viewer& viewer) {
  osgViewer::ViewerBase::Windows windows;
  viewer.getWindows(windows);
  return windows;
}

}  // namespace

void openWindow(osgViewer::Viewer& viewer, int width, int height, const std::string& title) {
  osg::ref_ptr<osg::GraphicsContext> window = createWindow(width, height, title);
  if (!window.valid() || !window->valid()) {
    throw WindowError("no window can be opened; check that a display is available (DISPLAY)");
  }
  identifyWindow(static_cast<osgViewer::GraphicsWindow&>(*window), "quor_viewer", createIcons());
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

void setWindowTitle(osgViewer::Viewer& viewer, const std::string& title) {
  for (osgViewer::GraphicsWindow* window : windowsOf(viewer)) {
    window->setWindowName(title);
  }
}

bool hasWindowNews(osgViewer::Viewer& viewer) {
  const osgViewer::ViewerBase::Windows windows = windowsOf(viewer);
  return std::any_of(windows.begin(), windows.end(),
                     [](osgViewer::GraphicsWindow* window) { return hasNewsForNextFrame(*window); });
}

}  // namespace QuorViewer
