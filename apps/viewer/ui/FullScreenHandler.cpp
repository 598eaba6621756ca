#include "viewer/ui/FullScreenHandler.h"

#include <osgViewer/Viewer>

namespace QuorViewer {

// On the release: a key that is held repeats its press.
bool FullScreenHandler::handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  const bool isToggle = ea.getEventType() == osgGA::GUIEventAdapter::KEYUP &&
                        ea.getKey() == osgGA::GUIEventAdapter::KEY_F11 && !ea.getHandled();
  auto* const view = dynamic_cast<osgViewer::View*>(&aa);
  if (!isToggle || view == nullptr) {
    return false;
  }
  osgViewer::ViewerBase::Windows windows;
  view->getViewerBase()->getWindows(windows);
  for (osgViewer::GraphicsWindow* window : windows) {
    _toggle(*window);
  }
  aa.requestRedraw();
  return true;
}

void FullScreenHandler::_toggle(osgViewer::GraphicsWindow& window) {
  if (_before) {
    window.setWindowDecoration(true);
    window.setWindowRectangle(_before->x, _before->y, _before->width, _before->height);
    _before.reset();
  } else {
    unsigned int width = 0, height = 0;
    osg::GraphicsContext::getWindowingSystemInterface()->getScreenResolution(*window.getTraits(), width, height);
    _before = rectangleOf(window);
    window.setWindowDecoration(false);
    window.setWindowRectangle(0, 0, static_cast<int>(width), static_cast<int>(height));
  }
  window.grabFocusIfPointerInWindow();
}

}  // namespace QuorViewer
