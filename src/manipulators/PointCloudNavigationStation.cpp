#include "manipulators/NavigationEvents.h"

#include <QuorOsgUtils/PointCloudNavigation.h>

namespace QuorOsgUtils {

bool PointCloudNavigation::handleStationMousePush(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  _pivotPoint = _stationCenter;
  return osgGA::StandardManipulator::handleMousePush(ea, aa);
}

bool PointCloudNavigation::handleStationMouseDrag(const osgGA::GUIEventAdapter&, osgGA::GUIActionAdapter&) {
  return false;
}

bool PointCloudNavigation::performStationMovementRightMouseButton(double eventTimeDelta, double dx, double dy) {
  return swingAboutPivot(eventTimeDelta, dx, dy, _rotationFactor);
}

bool PointCloudNavigation::swingAboutPivot(double eventTimeDelta, double dx, double dy, double angleFactor) {
  const std::optional<PointerMove> move = pointerMove(_ga_t1.get(), _ga_t0.get());
  if (!move || !canTurn()) return false;
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
