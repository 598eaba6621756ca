#pragma once

#include <osgViewer/GraphicsWindow>

namespace QuorViewer {

/// Whether the window system has sent something that reaches the window's event queue only when a frame is drawn. On
/// X11 that is the request to close the window, which a viewer that draws on demand would miss until something else
/// happens. Call it on the thread that handles the window's events.
bool hasNewsForNextFrame(osgViewer::GraphicsWindow& window);

}  // namespace QuorViewer
