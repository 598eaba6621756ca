#include "viewer/platform/WindowEvents.h"

namespace QuorViewer {

// On Windows all events go into the event queue at once.
bool hasNewsForNextFrame(osgViewer::GraphicsWindow& /*window*/) {
  return false;
}

}  // namespace QuorViewer
