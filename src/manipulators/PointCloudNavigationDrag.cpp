#include "manipulators/NavigationEvents.h"
#include "manipulators/PanStep.h"
#include "manipulators/PivotMarker.h"
#include "manipulators/ScenePick.h"

#include <QuorOsgUtils/PointCloudNavigation.h>

#include <osg/Group>

namespace QuorOsgUtils {

namespace {

osg::Group* sceneGroupOf(osgViewer::Viewer& viewer) {
  osg::Node* scene = viewer.getSceneData();
  return scene ? scene->asGroup() : nullptr;
}

}  // namespace

bool PointCloudNavigation::handleMousePush(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  if (isLeftButtonAlone(ea)) {
    return false;
  }
  return _stationModel ? handleStationMousePush(ea, aa) : handleNormalMousePush(ea, aa);
}

bool PointCloudNavigation::handleNormalMousePush(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  if (osgViewer::Viewer* viewer = viewerOf(aa)) {
    placePivot(ea, *viewer);
  }
  return osgGA::StandardManipulator::handleMousePush(ea, aa);
}

bool PointCloudNavigation::handleMouseDrag(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  if (isLeftButtonAlone(ea)) {
    return false;
  }
  return _stationModel ? osgGA::StandardManipulator::handleMouseDrag(ea, aa) : handleNormalMouseDrag(ea, aa);
}

bool PointCloudNavigation::handleNormalMouseDrag(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  setViewCenter(osg::Vec3d());
  if (ea.getButtonMask() == osgGA::GUIEventAdapter::RIGHT_MOUSE_BUTTON) {
    if (_lockPerspective) {
      return false;
    }
    _showPivotMarker(aa);
  }
  const bool isHandled = osgGA::StandardManipulator::handleMouseDrag(ea, aa);
  if (ea.getButtonMask() != osgGA::GUIEventAdapter::MIDDLE_MOUSE_BUTTON) {
    return isHandled;
  }
  return _panToPointer(aa) && isHandled;
}

bool PointCloudNavigation::handleMouseRelease(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  if (!isLeftButtonAlone(ea) && viewerOf(aa)) {
    hidePivotMarker(*_pivotIndicator);
  }
  return false;
}

void PointCloudNavigation::_showPivotMarker(osgGA::GUIActionAdapter& aa) {
  osgViewer::Viewer* viewer = viewerOf(aa);
  osg::Group* scene = viewer && _pivotIndicator->getNumParents() == 0 ? sceneGroupOf(*viewer) : nullptr;
  if (scene) {
    scene->addChild(_pivotIndicator);
  }
}

bool PointCloudNavigation::_panToPointer(osgGA::GUIActionAdapter& aa) {
  osg::Camera* camera = cameraOf(aa);
  const std::optional<ViewState> state = camera ? viewStateOf(*camera) : std::nullopt;
  if (!state || !_ga_t0 || !_ga_t1) {
    return false;
  }
  const osg::Vec2d from(_ga_t1->getX(), _ga_t1->getY());
  const osg::Vec2d to(_ga_t0->getX(), _ga_t0->getY());
  const std::optional<osg::Vec3d> movement = panMovement(*state, capturedPanDepth(*camera, to.x(), to.y()), from, to);
  if (!movement) {
    return false;
  }
  _center += *movement;
  return true;
}

bool PointCloudNavigation::swingAboutPivot(double eventTimeDelta, double dx, double dy, double angleFactor) {
  const std::optional<PointerMove> move = pointerMove(_ga_t1.get(), _ga_t0.get());
  if (!move || !canTurn()) {
    return false;
  }
  osgGA::OrbitManipulator::performMovementLeftMouseButton(eventTimeDelta, dx, dy);
  osg::Vec3d axis;
  float angle = 0.0f;
  trackball(axis, angle, move->toX, move->toY, move->fromX, move->fromY);
  angle = static_cast<float>(angle * angleFactor);
  const osg::Matrixd swing(osg::Quat(angle, axis).inverse());
  _center = _pivotPoint + (_center - _pivotPoint) * swing;
  return true;
}

}  // namespace QuorOsgUtils
