#include "viewer/ui/PointerHandler.h"

#include <cmath>

namespace QuorViewer {
namespace {

constexpr float kClickSlackPixels = 3.0f;

// The window system counts rows from the top, starting at 0. OSG turns its row r into height - r, which is one more
// than the pixel's row from the bottom.
osg::Vec2i pixelOf(const osgGA::GUIEventAdapter& ea) {
  return {static_cast<int>(ea.getX()), static_cast<int>(ea.getY()) - 1};
}

}  // namespace

bool PointerHandler::handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  using Event = osgGA::GUIEventAdapter;
  _pixel = pixelOf(ea);
  const bool left = ea.getButton() == Event::LEFT_MOUSE_BUTTON;
  if (ea.getHandled()) {
    _pressed = false;
    return false;
  }
  if (ea.getEventType() == Event::PUSH || ea.getEventType() == Event::DOUBLECLICK) {
    _pressed = left;
    _pressX = ea.getX();
    _pressY = ea.getY();
    if (!left) {
      _navigated();
    }
  } else if (ea.getEventType() == Event::SCROLL) {
    _navigated();
  } else if (ea.getEventType() == Event::RELEASE && left && _pressed) {
    _release(ea, aa);
  }
  return false;
}

void PointerHandler::_release(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  _pressed = false;
  if (std::hypot(ea.getX() - _pressX, ea.getY() - _pressY) > kClickSlackPixels) {
    return;
  }
  _clicked(_pixel.x(), _pixel.y());
  aa.requestRedraw();
}

}  // namespace QuorViewer
