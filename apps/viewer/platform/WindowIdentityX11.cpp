#include "viewer/platform/WindowIdentity.h"

#include <osgViewer/api/X11/GraphicsWindowX11>

#include <X11/Xatom.h>
#include <X11/Xutil.h>

namespace QuorViewer {
namespace {

void setClass(Display* display, Window window, std::string program) {
  XClassHint hint;
  hint.res_name = program.data();
  hint.res_class = program.data();
  XSetClassHint(display, window, &hint);
}

// Each icon is its width, its height and its pixels. Xlib takes 32-bit values as long, whatever the size of that.
void setIcons(Display* display, Window window, const std::vector<Icon>& icons) {
  constexpr int kBits = 32;
  std::vector<unsigned long> values;
  for (const Icon& icon : icons) {
    values.insert(values.end(), 2, static_cast<unsigned long>(icon.size));
    values.insert(values.end(), icon.pixels.begin(), icon.pixels.end());
  }
  XChangeProperty(display, window, XInternAtom(display, "_NET_WM_ICON", False), XA_CARDINAL, kBits, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(values.data()), static_cast<int>(values.size()));
}

}  // namespace

void identifyWindow(osgViewer::GraphicsWindow& window, const std::string& program, const std::vector<Icon>& icons) {
  auto* const x11 = dynamic_cast<osgViewer::GraphicsWindowX11*>(&window);
  if (x11 != nullptr && x11->getEventDisplay() != nullptr) {
    setClass(x11->getEventDisplay(), x11->getWindow(), program);
    setIcons(x11->getEventDisplay(), x11->getWindow(), icons);
    XFlush(x11->getEventDisplay());
  }
}

}  // namespace QuorViewer
