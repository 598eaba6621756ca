#include "viewer/ui/Scrolling.h"

namespace QuorViewer {

int scrollDirection(const osgGA::GUIEventAdapter& ea) {
  using Event = osgGA::GUIEventAdapter;
  switch (ea.getScrollingMotion()) {
    case Event::SCROLL_UP:
      return 1;
    case Event::SCROLL_DOWN:
      return -1;
    case Event::SCROLL_2D:  // touchpads
      return static_cast<int>(ea.getScrollingDeltaY() > 0.0f) - static_cast<int>(ea.getScrollingDeltaY() < 0.0f);
    case Event::SCROLL_NONE:
    case Event::SCROLL_LEFT:
    case Event::SCROLL_RIGHT:
      break;
  }
  return 0;
}

}  // namespace QuorViewer
