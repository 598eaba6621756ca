#include "manipulators/NavigationEvents.h"

#include <QuorOsgUtils/PointCloudNavigation.h>

#include <osg/Notify>

namespace QuorOsgUtils {

bool PointCloudNavigation::handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  using Event = osgGA::GUIEventAdapter;
  const Event::EventType type = ea.getEventType();
  if (type == Event::FRAME) {
    return handleFrame(ea, aa);
  }
  if (type == Event::RESIZE) {
    return handleResize(ea, aa);
  }
  if (ea.getHandled()) {
    return false;
  }
  switch (type) {
    case Event::MOVE:
      return handleMouseMove(ea, aa);
    case Event::DRAG:
      return handleMouseDrag(ea, aa);
    case Event::PUSH:
    case Event::DOUBLECLICK:
      return handleMousePush(ea, aa);
    case Event::RELEASE:
      return handleMouseRelease(ea, aa);
    case Event::KEYDOWN:
      return handleKeyDown(ea, aa);
    case Event::KEYUP:
      return handleKeyUp(ea, aa);
    case Event::SCROLL:
      return (_flags & PROCESS_MOUSE_WHEEL) != 0 && handleMouseWheel(ea, aa);
    default:
      return false;
  }
}

bool PointCloudNavigation::performMovement() {
  const std::optional<PointerMove> move = pointerMove(_ga_t1.get(), _ga_t0.get());
  if (!move) {
    return false;
  }
  double eventTimeDelta = _ga_t0->getTime() - _ga_t1->getTime();
  if (eventTimeDelta < 0.0) {
    OSG_WARN << "Manipulator warning: eventTimeDelta = " << eventTimeDelta << std::endl;
    eventTimeDelta = 0.0;
  }
  const double dx = move->toX - move->fromX;
  const double dy = move->toY - move->fromY;
  if (dx == 0.0 && dy == 0.0) {
    return false;
  }
  // Calls qualified with the class: an override of a per-button function does not change what a drag calls. Fixed by
  // the interface.
  switch (_ga_t1->getButtonMask()) {
    case osgGA::GUIEventAdapter::RIGHT_MOUSE_BUTTON:
      return PointCloudNavigation::performMovementRightMouseButton(eventTimeDelta, dx, dy);
    case osgGA::GUIEventAdapter::MIDDLE_MOUSE_BUTTON:
      return PointCloudNavigation::performMovementMiddleMouseButton(eventTimeDelta, dx, dy);
    default:
      return false;
  }
}

bool PointCloudNavigation::performMovementRightMouseButton(double eventTimeDelta, double dx, double dy) {
  return _stationModel ? performStationMovementRightMouseButton(eventTimeDelta, dx, dy)
                       : performNormalMovementRightMouseButton(eventTimeDelta, dx, dy);
}

bool PointCloudNavigation::performMovementMiddleMouseButton(double eventTimeDelta, double dx, double dy) {
  return _stationModel ? osgGA::OrbitManipulator::performMovementMiddleMouseButton(eventTimeDelta, dx, dy)
                       : performNormalMovementMiddleMouseButton(eventTimeDelta, dx, dy);
}

bool PointCloudNavigation::performNormalMovementMiddleMouseButton(double, double, double) {
  return false;
}

}  // namespace QuorOsgUtils
