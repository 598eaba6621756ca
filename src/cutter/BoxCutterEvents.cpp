#include <QuorOsgUtils/BoxCutterDragger.h>

#include <osg/Camera>
#include <osg/Viewport>
#include <osgGA/StandardManipulator>
#include <osgUtil/LineSegmentIntersector>
#include <osgViewer/View>

#include <algorithm>
#include <cmath>

namespace QuorOsgUtils {

namespace {

using Event = osgGA::GUIEventAdapter;

// The camera that draws the last node of a path.
osg::Camera* pickCameraOf(const osg::NodePath& path, osgViewer::View& view) {
  const auto found = std::find_if(path.rbegin(), path.rend(), [](osg::Node* node) {
    const osg::Camera* camera = node->asCamera();
    return camera != nullptr &&
           (camera->getReferenceFrame() != osg::Transform::RELATIVE_RF || camera->getNumParents() == 0);
  });
  return found != path.rend() ? (*found)->asCamera() : view.getCamera();
}

// World size of a pixel at the distance of the manipulator's centre. The tangent of the whole field of view, not of
// half of it, is fixed by the interface.
double pixelSizeAtFocus(const osg::Camera& camera, const osgViewer::View& view) {
  constexpr double kUnknown = 1.0;
  constexpr double kWidestDegrees = 75.0;
  constexpr double kPi = 3.141592653589793;
  const auto* manipulator = dynamic_cast<const osgGA::StandardManipulator*>(view.getCameraManipulator());
  const osg::Viewport* viewport = camera.getViewport();
  if (viewport == nullptr || manipulator == nullptr) {
    return kUnknown;
  }
  const int pixels = static_cast<int>(std::min(viewport->width(), viewport->height()));
  if (pixels <= 0) {
    return kUnknown;
  }
  osg::Vec3d eye, center, up;
  manipulator->getTransformation(eye, center, up);
  const double distance = (center - eye).length();
  double fieldDegrees = 0.0, aspectRatio = 0.0, nearPlane = 0.0, farPlane = 0.0;
  if (!camera.getProjectionMatrixAsPerspective(fieldDegrees, aspectRatio, nearPlane, farPlane)) {
    return distance / pixels;
  }
  return std::tan(std::min(fieldDegrees, kWidestDegrees) * kPi / 180.0) * distance / pixels;
}

}  // namespace

bool BoxCutterDragger::handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  if (ea.getHandled()) {
    return false;
  }
  auto* const view = dynamic_cast<osgViewer::View*>(&aa);
  if (view == nullptr || view->getCamera() == nullptr) {
    return false;
  }
  constexpr double kScreenScaleShare = 3.0;
  if (const osg::Viewport* viewport = view->getCamera()->getViewport()) {
    _screenScale = viewport->height() / kScreenScaleShare;
  }

  const bool leftButton = ea.getButton() == Event::LEFT_MOUSE_BUTTON;
  const bool releases = ea.getEventType() == Event::RELEASE && leftButton;
  const bool drags = ea.getEventType() == Event::DRAG && ea.getButtonMask() == Event::LEFT_MOUSE_BUTTON;
  if (ea.getEventType() == Event::PUSH && leftButton) {
    return _push(ea, *view);
  }
  if (!_draggerActive || (!drags && !releases)) {
    return false;
  }
  const bool handled = _followPointer(ea, aa);
  if (releases) {
    _draggerActive = false;
    _pointer.reset();
  }
  return handled;
}

bool BoxCutterDragger::_push(const osgGA::GUIEventAdapter& ea, osgViewer::View& view) {
  _pointer.reset();
  _pointer._pushX = ea.getX();
  _pointer._pushY = ea.getY();
  _pickHandle(ea, view);
  if (_pointer._hitList.empty() || !handle(_pointer, ea, view)) {
    return false;
  }
  _draggerActive = true;
  return true;
}

void BoxCutterDragger::_pickHandle(const osgGA::GUIEventAdapter& ea, osgViewer::View& view) {
  osgUtil::LineSegmentIntersector::Intersections hits;
  if (!view.computeIntersections(ea, hits, _intersectionMask)) {
    return;
  }
  const auto found = std::find_if(hits.begin(), hits.end(), [this](const auto& hit) {
    return std::find(hit.nodePath.begin(), hit.nodePath.end(), this) != hit.nodePath.end();
  });
  if (found == hits.end()) {
    return;
  }
  _pointer.addIntersection(found->nodePath, found->getLocalIntersectPoint());

  osg::Camera* const camera = pickCameraOf(found->nodePath, view);
  _pointer._pixelSize = pixelSizeAtFocus(*camera, view);
  _pointer._cameraToWorld = osg::Matrixd::inverse(camera->getViewMatrix());
  _pointer.setCamera(camera);
  _pointer.setMousePosition(ea.getX(), ea.getY());
}

bool BoxCutterDragger::_followPointer(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  _pointer._hitIter = _pointer._hitList.begin();
  _pointer.setMousePosition(ea.getX(), ea.getY());
  _pointer._dragX = ea.getX();
  _pointer._dragY = ea.getY();
  return handle(_pointer, ea, aa);
}

bool BoxCutterDragger::handle(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                              osgGA::GUIActionAdapter& aa) {
  static constexpr std::array<Handler, 6> kScale = {
      &BoxCutterDragger::handleLeftScale, &BoxCutterDragger::handleRightScale,  &BoxCutterDragger::handleFrontScale,
      &BoxCutterDragger::handleBackScale, &BoxCutterDragger::handleBottomScale, &BoxCutterDragger::handleTopScale};
  static constexpr std::array<Handler, 3> kTranslate = {&BoxCutterDragger::handleXTranslation,
                                                        &BoxCutterDragger::handleYTranslation,
                                                        &BoxCutterDragger::handleZTranslation};
  static constexpr std::array<Handler, 3> kRotate = {
      &BoxCutterDragger::handleXRotation, &BoxCutterDragger::handleYRotation, &BoxCutterDragger::handleZRotation};
  const auto anyTakes = [&](const auto& handlers) {
    return std::any_of(handlers.begin(), handlers.end(),
                       [&](Handler handler) { return (this->*handler)(pointer, ea, aa); });
  };
  switch (_type) {
    case CUTTER_ROTATE:
      return anyTakes(kRotate);
    case CUTTER_TRANSLATE:
      return anyTakes(kTranslate);
    case CUTTER_SCALE:
      return anyTakes(kScale);
  }
  return false;
}

void BoxCutterDragger::computeNodePathToRoot(osg::Node& node, osg::NodePath& path) {
  path.clear();
  const osg::NodePathList paths = node.getParentalNodePaths();
  if (!paths.empty()) {
    path = paths.front();
  }
}

}  // namespace QuorOsgUtils
