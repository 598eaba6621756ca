#include "extras/EventCopies.h"

#include <osg/CopyOp>

#include <algorithm>

namespace QuorOsgUtils {
namespace {

using Event = osgGA::GUIEventAdapter;

void copyPointer(const Event& from, Event& to) {
  to.setInputRange(from.getXmin(), from.getYmin(), from.getXmax(), from.getYmax());
  to.setX(from.getX());
  to.setY(from.getY());
  to.setMouseYOrientation(from.getMouseYOrientation());
  to.setButton(from.getButton());
  to.setButtonMask(from.getButtonMask());
  to.setScrollingMotion(from.getScrollingMotion());
  to.setScrollingDeltaX(from.getScrollingDeltaX());
  to.setScrollingDeltaY(from.getScrollingDeltaY());
}

void copyPen(const Event& from, Event& to) {
  to.setPenPressure(from.getPenPressure());
  to.setPenTiltX(from.getPenTiltX());
  to.setPenTiltY(from.getPenTiltY());
  to.setPenRotation(from.getPenRotation());
  to.setTabletPointerType(from.getTabletPointerType());
}

// OSG's events have no assignment. `from` is const only because handlers must not change it.
void copyEvent(const Event& from, Event& to) {
  to.setEventType(from.getEventType());
  to.setTime(from.getTime());
  to.setHandled(from.getHandled());
  to.setGraphicsContext(const_cast<Event&>(from).getGraphicsContext());
  to.setWindowX(from.getWindowX());
  to.setWindowY(from.getWindowY());
  to.setWindowWidth(from.getWindowWidth());
  to.setWindowHeight(from.getWindowHeight());
  to.setKey(from.getKey());
  to.setUnmodifiedKey(from.getUnmodifiedKey());
  to.setModKeyMask(from.getModKeyMask());
  copyPointer(from, to);
  copyPen(from, to);
}

}  // namespace

osg::ref_ptr<Event> EventCopies::copyOf(const Event& event) {
  if (event.getUserDataContainer() != nullptr || event.getTouchData() != nullptr) {
    return new Event(event, osg::CopyOp());
  }
  const auto unused =
      std::find_if(_copies.begin(), _copies.end(), [](const auto& copy) { return copy->referenceCount() == 1; });
  if (unused == _copies.end()) {
    _copies.push_back(new Event(event, osg::CopyOp()));
    return _copies.back();
  }
  copyEvent(event, **unused);
  return *unused;
}

}  // namespace QuorOsgUtils
