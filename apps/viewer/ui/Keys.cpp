#include "viewer/ui/Keys.h"

#include <algorithm>

namespace QuorViewer {

bool KeyHandler::handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  if (ea.getHandled() || ea.getEventType() != osgGA::GUIEventAdapter::KEYDOWN) {
    return false;
  }
  for (const KeyBinding& binding : _bindings) {
    if (std::find(binding.keys.begin(), binding.keys.end(), ea.getKey()) != binding.keys.end()) {
      ea.getButtonMask() == 0 ? binding.action() : _held();
      aa.requestRedraw();
      return true;
    }
  }
  return false;
}

}  // namespace QuorViewer
