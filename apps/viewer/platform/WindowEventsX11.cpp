#include "viewer/platform/WindowEvents.h"

#include <osgViewer/api/X11/GraphicsWindowX11>

namespace QuorViewer {
namespace {

// The connection is shared with the graphics thread. This call must come before any other on X11, and older versions of
// Xlib do not make it themselves.
const bool kThreadsShareConnections = XInitThreads() != 0;

}  // namespace

// Only peeks: OSG takes the events when it swaps buffers, possibly at this moment on the graphics thread.
bool hasNewsForNextFrame(osgViewer::GraphicsWindow& window) {
  auto* const x11 = dynamic_cast<osgViewer::GraphicsWindowX11*>(&window);
  return kThreadsShareConnections && x11 != nullptr && x11->valid() && x11->getDisplay() != nullptr &&
         XEventsQueued(x11->getDisplay(), QueuedAfterReading) > 0;
}

}  // namespace QuorViewer
