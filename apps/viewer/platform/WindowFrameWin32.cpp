#include "viewer/platform/WindowFrame.h"

namespace QuorViewer {

WindowRectangle rectangleOf(osgViewer::GraphicsWindow& window) {
  WindowRectangle rectangle;
  window.getWindowRectangle(rectangle.x, rectangle.y, rectangle.width, rectangle.height);
  return rectangle;
}

}  // namespace QuorViewer
