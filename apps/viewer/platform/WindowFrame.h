#pragma once

#include <osgViewer/GraphicsWindow>

namespace QuorViewer {

/// A window's position and size, as OSG's `setWindowRectangle` takes them.
struct WindowRectangle {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

/// Call it on the thread that handles the window's events.
WindowRectangle rectangleOf(osgViewer::GraphicsWindow& window);

}  // namespace QuorViewer
