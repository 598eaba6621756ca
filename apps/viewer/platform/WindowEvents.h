#pragma once

#include <osgViewer/GraphicsWindow>

namespace QuorViewer {

/// Whether the window system has sent an event that OSG reads only when it draws a frame. On X11 that is the request to
/// close the window, which a viewer that draws on demand would not see until its next frame. Call it on the thread that
/// handles the window's events.
bool hasNewsForNextFrame(osgViewer::GraphicsWindow& window);

}  // namespace QuorViewer
