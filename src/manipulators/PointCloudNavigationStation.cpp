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

}  // namespace QuorOsgUtils
