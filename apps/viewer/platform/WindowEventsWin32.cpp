#include "viewer/platform/WindowEvents.h"

namespace QuorViewer {

// Here all that comes goes into the event queue at once.
bool hasNewsForNextFrame(osgViewer::GraphicsWindow& /*window*/) {
  return false;
}

}  // namespace QuorViewer
