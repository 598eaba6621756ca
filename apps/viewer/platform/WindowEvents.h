#pragma once

#include <osgViewer/GraphicsWindow>

namespace QuorViewer {

/// Whether the window system has sent something that reaches the window's event queue only when a frame is shown. On
/// X11 that is the wish to close the window, which a viewer that draws on demand would not hear of for as long as
/// nothing else happens. To be asked on the thread that handles the window's events.
bool hasNewsForNextFrame(osgViewer::GraphicsWindow& window);

}  // namespace QuorViewer
