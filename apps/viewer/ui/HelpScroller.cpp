#include "viewer/ui/HelpScroller.h"

#include "viewer/ui/Scrolling.h"

#include <algorithm>

namespace QuorViewer {
namespace {

using Event = osgGA::GUIEventAdapter;

constexpr int kLinesPerNotch = 3;

int linesOfWheel(const Event& ea) {
  return -scrollDirection(ea) * (ea.getScrollingMotion() == Event::SCROLL_2D ? 1 : kLinesPerNotch);
}

int linesOfKey(int key, int page) {
  switch (key) {
    case Event::KEY_Down:
    case Event::KEY_KP_Down:
      return 1;
    case Event::KEY_Up:
    case Event::KEY_KP_Up:
      return -1;
    case Event::KEY_Page_Down:
    case Event::KEY_KP_Page_Down:
      return page;
    case Event::KEY_Page_Up:
    case Event::KEY_KP_Page_Up:
      return -page;
    default:
      return 0;
  }
}

}  // namespace

bool HelpScroller::handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  const HelpPanel& help = _hud.help();
  const int lines = !ea.getHandled() && help.isShown() && help.canScroll() ? _linesFor(ea) : 0;
  if (lines == 0) {
    return false;
  }
  _hud.help().scroll(lines);
  aa.requestRedraw();
  return true;
}

int HelpScroller::_linesFor(const osgGA::GUIEventAdapter& ea) const {
  if (ea.getEventType() == Event::SCROLL) {
    return linesOfWheel(ea);
  }
  const int page = std::max(_hud.help().linesShown() - 1, 1);
  return ea.getEventType() == Event::KEYDOWN ? linesOfKey(ea.getKey(), page) : 0;
}

}  // namespace QuorViewer
