#include "manipulators/NavigationEvents.h"

#include <cmath>

namespace QuorOsgUtils {

bool isLeftButtonAlone(const osgGA::GUIEventAdapter& ea) {
  return ea.getButtonMask() == osgGA::GUIEventAdapter::LEFT_MOUSE_BUTTON;
}

osgViewer::Viewer* viewerOf(osgGA::GUIActionAdapter& aa) {
  return dynamic_cast<osgViewer::Viewer*>(aa.asView());
}

osg::Camera* cameraOf(osgGA::GUIActionAdapter& aa) {
  osg::View* view = aa.asView();
  return view ? view->getCamera() : nullptr;
}

std::optional<WheelNotch> wheelNotchOf(const osgGA::GUIEventAdapter& ea) {
  if (ea.getScrollingMotion() == osgGA::GUIEventAdapter::SCROLL_UP) {
    return WheelNotch::Up;
  }
  if (ea.getScrollingMotion() == osgGA::GUIEventAdapter::SCROLL_DOWN) {
    return WheelNotch::Down;
  }
  return std::nullopt;
}

std::optional<PointerMove> pointerMove(const osgGA::GUIEventAdapter* from, const osgGA::GUIEventAdapter* to) {
  if (!from || !to) {
    return std::nullopt;
  }
  const PointerMove move{from->getXnormalized(), from->getYnormalized(), to->getXnormalized(), to->getYnormalized()};
  const bool isTold =
      std::isfinite(move.fromX) && std::isfinite(move.fromY) && std::isfinite(move.toX) && std::isfinite(move.toY);
  return isTold ? std::optional<PointerMove>(move) : std::nullopt;
}

}  // namespace QuorOsgUtils
