#include "viewer/navigate/ViewDrag.h"

namespace QuorViewer {
namespace {

using Event = osgGA::GUIEventAdapter;

bool isPress(const Event& ea) {
  return ea.getEventType() == Event::PUSH || ea.getEventType() == Event::DOUBLECLICK;
}

}  // namespace

bool ViewDrag::handle(const Event& ea, osgGA::GUIActionAdapter& /*aa*/) {
  const bool isFirstPress = isPress(ea) && ea.getButton() != 0 && ea.getButtonMask() == ea.getButton();
  if (isFirstPress) {
    _begins();
    _active = true;
    _before = Start{_navigator.pose(), _camera.getProjectionMatrix()};
    _cancelled = false;
  } else if (ea.getEventType() == Event::RESIZE) {
    _before.reset();  // the projection no longer fits the window
  }
  const bool isRelease = ea.getEventType() == Event::RELEASE;
  const bool ignored = _cancelled && (isPress(ea) || isRelease || ea.getEventType() == Event::DRAG);
  if (isRelease && ea.getButtonMask() == 0) {
    _before.reset();
    _active = false;
    _cancelled = false;
  }
  return ignored;
}

bool ViewDrag::cancel() {
  if (!_before) {
    return false;
  }
  _navigator.endDrag();
  _navigator.setPose(_before->pose);
  _camera.setProjectionMatrix(_before->projection);
  _before.reset();
  _cancelled = true;
  return true;
}

}  // namespace QuorViewer
