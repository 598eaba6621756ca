#include "manipulators/ScenePick.h"

#include <osg/Notify>
#include <osg/Viewport>

#include <atomic>
#include <vector>

namespace QuorOsgUtils {

namespace {

const std::vector<float> kNoDepths;

// The depth image starts at the viewport, but these classes read it at window positions (fixed by the interface).
void tellIfOffset(const DepthImage& image) {
  static std::atomic_flag told = ATOMIC_FLAG_INIT;
  if ((image.x != 0 || image.y != 0) && !told.test_and_set()) {
    OSG_WARN << "A point-cloud manipulator picks wrong points, because the viewport of its camera does not start at "
                "(0, 0). Use a CapturedCamera and a ViewManipulator."
             << std::endl;
  }
}

float pickSceneDepthPoint(const PickFrame& frame, int x, int y, osg::Vec3d& point) {
  if (!frame.contains(x, y)) {
    return 0.0f;
  }
  const int column = wholePixel(x - frame.origin().x());
  const int row = wholePixel(y - frame.origin().y());
  const std::optional<float> found = sceneDepth(frame.depths(), column, row);
  if (!found) {
    return 0.0f;
  }
  const float depth = *found != kBackgroundDepth ? *found : frame.middleDepth();
  const auto world = windowToWorld(frame.state(), osg::Vec3d(column, row, depth));
  if (!world) {
    return 0.0f;
  }
  point = *world;
  return depth;
}

}  // namespace

PickFrame::PickFrame(osg::Camera& camera) {
  osg::Camera::DrawCallback* const callback = camera.getPostDrawCallback();
  if (const auto* source = dynamic_cast<const SnapshotSource*>(callback)) {
    _snapshot = source->latest();
    _isSnapshot = true;
  } else if (auto* tool = dynamic_cast<ScreenCaptureTool*>(callback)) {
    _buffer = &tool->getFrameBuffer();
    _buffer->lock();
  }
}

PickFrame::~PickFrame() {
  if (_buffer) {
    _buffer->release();
  }
}

DepthImage PickFrame::depths() const {
  if (_buffer) {
    DepthImage image{_buffer->getDepthBuffer(), 0, 0, 0, 0};
    _buffer->getViewPort(image.x, image.y, image.width, image.height);
    tellIfOffset(image);
    return image;
  }
  return _snapshot ? DepthImage{_snapshot->depths, 0, 0, _snapshot->region.width, _snapshot->region.height}
                   : DepthImage{kNoDepths, 0, 0, 0, 0};
}

ViewState PickFrame::state() const {
  if (_buffer) {
    int x = 0, y = 0, width = 0, height = 0;
    _buffer->getViewPort(x, y, width, height);
    return {_buffer->getViewMatrix(), _buffer->getProjectionMatrix(), static_cast<double>(x),
            static_cast<double>(y),   static_cast<double>(width),     static_cast<double>(height)};
  }
  return _snapshot ? viewStateOf(*_snapshot) : ViewState();
}

osg::Vec2d PickFrame::origin() const {
  return _snapshot ? osg::Vec2d(_snapshot->region.x, _snapshot->region.y) : osg::Vec2d();
}

bool PickFrame::contains(int x, int y) const {
  return _buffer || (_snapshot && _snapshot->region.contains(x, y));
}

osg::Vec2d PickFrame::inImage(double x, double y) const {
  return _buffer ? osg::Vec2d(x, y) : osg::Vec2d(wholePixel(x), wholePixel(y)) - origin();
}

osg::Vec2d PickFrame::middle(double width, double height) const {
  const osg::Vec2d start = _snapshot ? osg::Vec2d(_snapshot->viewport.x, _snapshot->viewport.y) : osg::Vec2d();
  return start + osg::Vec2d(width, height) * 0.5;
}

float PickFrame::middleDepth() const {
  float minDepth = 0.0f;
  float maxDepth = 0.0f;
  if (_buffer) {
    _buffer->getMinAndMaxDepth(minDepth, maxDepth);
  } else if (_snapshot) {
    minDepth = _snapshot->minDepth;
    maxDepth = _snapshot->maxDepth;
  }
  return (minDepth + maxDepth) * 0.5f;
}

ViewState viewStateOf(const FrameSnapshot& snapshot) {
  const PixelRectangle& viewport = snapshot.viewport;
  return {snapshot.viewMatrix,
          snapshot.projectionMatrix,
          static_cast<double>(viewport.x) - snapshot.region.x,
          static_cast<double>(viewport.y) - snapshot.region.y,
          static_cast<double>(viewport.width),
          static_cast<double>(viewport.height)};
}

std::optional<ViewState> viewStateOf(const osg::Camera& camera) {
  const osg::Viewport* viewport = camera.getViewport();
  if (!viewport || !(viewport->width() > 0.0 && viewport->height() > 0.0)) {
    return std::nullopt;
  }
  return ViewState{camera.getViewMatrix(), camera.getProjectionMatrix(),
                   viewport->x(),          viewport->y(),
                   viewport->width(),      viewport->height()};
}

float pickSceneDepthPoint(int x, int y, osg::Vec3d& point, osg::View* view) {
  osg::Camera* camera = view ? view->getCamera() : nullptr;
  if (!camera) {
    return 0.0f;
  }
  const PickFrame frame(*camera);
  return frame ? pickSceneDepthPoint(frame, x, y, point) : 0.0f;
}

float pickMiddleDepthPoint(osg::Vec3d& point, osg::View& view) {
  osg::Camera* const camera = view.getCamera();
  const osg::Viewport* const viewport = camera ? camera->getViewport() : nullptr;
  if (!viewport) {
    return 0.0f;
  }
  const PickFrame frame(*camera);
  const osg::Vec2d middle = frame.middle(viewport->width(), viewport->height());
  return frame ? pickSceneDepthPoint(frame, wholePixel(middle.x()), wholePixel(middle.y()), point) : 0.0f;
}

double capturedPanDepth(osg::Camera& camera, double x, double y) {
  const PickFrame frame(camera);
  if (!frame) {
    return 0.0;
  }
  if (!frame.contains(wholePixel(x), wholePixel(y))) {
    return frame.middleDepth();
  }
  const osg::Vec2d place = frame.inImage(x, y);
  return panDepth(frame.depths(), place.x(), place.y(), frame.middleDepth());
}

}  // namespace QuorOsgUtils
