#include "viewer/platform/WindowFrame.h"

#include <osgViewer/api/X11/GraphicsWindowX11>

#include <optional>

namespace QuorViewer {
namespace {

// Empty for a window directly on the desktop.
std::optional<Window> parentOf(Display* display, Window window) {
  Window root = 0;
  Window parent = 0;
  Window* children = nullptr;
  unsigned int count = 0;
  if (XQueryTree(display, window, &root, &parent, &children, &count) == 0) {
    return std::nullopt;
  }
  if (children != nullptr) {
    XFree(children);
  }
  return parent == root || parent == 0 ? std::nullopt : std::optional(parent);
}

// The window with the title bar, which a window manager has put around this one, or this one itself.
Window frameOf(Display* display, Window window) {
  while (const std::optional<Window> parent = parentOf(display, window)) {
    window = *parent;
  }
  return window;
}

}  // namespace

// The position to be set is that of the frame. OSG's own record of it is wrong by the frame's thickness, or twice the
// position where there is no frame.
WindowRectangle rectangleOf(osgViewer::GraphicsWindow& window) {
  WindowRectangle rectangle;
  window.getWindowRectangle(rectangle.x, rectangle.y, rectangle.width, rectangle.height);
  auto* const x11 = dynamic_cast<osgViewer::GraphicsWindowX11*>(&window);
  if (x11 != nullptr && x11->getEventDisplay() != nullptr) {
    Window root = 0;
    unsigned int width = 0, height = 0, border = 0, depth = 0;
    XGetGeometry(x11->getEventDisplay(), frameOf(x11->getEventDisplay(), x11->getWindow()), &root, &rectangle.x,
                 &rectangle.y, &width, &height, &border, &depth);
  }
  return rectangle;
}

}  // namespace QuorViewer
