#include "viewer/ui/PointerHandler.h"

#include "viewer/ui/Scrolling.h"

#include <cmath>

namespace QuorViewer {
namespace {

using Event = osgGA::GUIEventAdapter;

constexpr float kClickSlackPixels = 3.0f;

// OSG's windows report the column and the row from the bottom left, counted from 0.
osg::Vec2i pixelOf(const osgGA::GUIEventAdapter& ea) {
  return {static_cast<int>(ea.getX()), static_cast<int>(ea.getY())};
}

// A drag with the left button alone moves a handle of the clip box, which requests its frames, or nothing.
bool mayChangeImage(const osgGA::GUIEventAdapter& ea) {
  switch (ea.getEventType()) {
    case Event::RELEASE:
      return true;
    case Event::SCROLL:
      return scrollDirection(ea) != 0;
    case Event::DRAG:
      return ea.getButtonMask() != Event::LEFT_MOUSE_BUTTON;
    default:
      return false;
  }
}

}  // namespace

bool PointerHandler::handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  _pixel = pixelOf(ea);
  if (mayChangeImage(ea)) {
    aa.requestRedraw();
  }
  const bool left = ea.getButton() == Event::LEFT_MOUSE_BUTTON;
  if (ea.getHandled()) {
    _pressed = false;
    return false;
  }
  if (ea.getEventType() == Event::PUSH || ea.getEventType() == Event::DOUBLECLICK) {
    _pressed = left;
    _pressX = ea.getX();
    _pressY = ea.getY();
    if (!left && ea.getButton() != 0) {
      _navigated(false);
    }
  } else if (ea.getEventType() == Event::SCROLL && scrollDirection(ea) != 0) {
    _navigated(true);
  } else if (ea.getEventType() == Event::RELEASE && left && _pressed) {
    _release(ea);
  }
  return false;
}

void PointerHandler::_release(const osgGA::GUIEventAdapter& ea) {
  _pressed = false;
  if (std::hypot(ea.getX() - _pressX, ea.getY() - _pressY) <= kClickSlackPixels) {
    _clicked(_pixel.x(), _pixel.y());
  }
}

}  // namespace QuorViewer
