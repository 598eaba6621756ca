#include "viewer/platform/KeyPosition.h"

#include <osgViewer/api/X11/GraphicsWindowX11>

namespace QuorViewer {

int positionOfKey(const osg::GraphicsContext& window, int unmodifiedKey) {
  constexpr int kOffset = 8;  // of X11's key codes
  const auto* const x11 = dynamic_cast<const osgViewer::GraphicsWindowX11*>(&window);
  if (x11 == nullptr || x11->getEventDisplay() == nullptr) {
    return 0;
  }
  const int code = XKeysymToKeycode(x11->getEventDisplay(), static_cast<KeySym>(unmodifiedKey));
  return code > kOffset ? code - kOffset : 0;
}

}  // namespace QuorViewer
