#include "manipulators/NavigationEvents.h"

#include <osg/Notify>

#include <atomic>
#include <cmath>

namespace QuorOsgUtils {

bool isLeftButtonAlone(const osgGA::GUIEventAdapter& ea) {
  return ea.getButtonMask() == osgGA::GUIEventAdapter::LEFT_MOUSE_BUTTON;
}

osgViewer::Viewer* viewerOf(osgGA::GUIActionAdapter& aa) {
  osg::View* const view = aa.asView();
  auto* const viewer = dynamic_cast<osgViewer::Viewer*>(view);
  static std::atomic_flag told = ATOMIC_FLAG_INIT;
  if (view && !viewer && !told.test_and_set()) {
    OSG_WARN << "A point-cloud manipulator does not place its pivot, show its marker or zoom by the wheel, because its "
                "view is no osgViewer::Viewer. Use a ViewManipulator in an osgViewer::CompositeViewer."
             << std::endl;
  }
  return viewer;
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
