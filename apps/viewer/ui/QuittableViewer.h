#pragma once

#include <osgViewer/Viewer>

namespace QuorViewer {

/// OSG's viewer, except that only the application ends it. OSG closes a window at once when the user asks for it; here
/// that request reaches the event handlers, as QUIT_APPLICATION. No key ends the viewer by itself.
class QuittableViewer : public osgViewer::Viewer {
 public:
  QuittableViewer();

  void eventTraversal() override;

 private:
  void _turnCloseIntoQuit();
};

}  // namespace QuorViewer
