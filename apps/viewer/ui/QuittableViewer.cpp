#include "viewer/ui/QuittableViewer.h"

namespace QuorViewer {

QuittableViewer::QuittableViewer() {
  setKeyEventSetsDone(0);
  setQuitEventSetsDone(false);
}

void QuittableViewer::eventTraversal() {
  _turnCloseIntoQuit();
  osgViewer::Viewer::eventTraversal();
}

// The traversal takes only events that are older than its frame stamp, and all of those are in the queue by now. One
// that arrives in between, from the graphics thread, is changed before the next traversal. The copy shares its events
// with the queue.
void QuittableViewer::_turnCloseIntoQuit() {
  Windows windows;
  getWindows(windows);
  for (osgViewer::GraphicsWindow* window : windows) {
    window->checkEvents();
    osgGA::EventQueue::Events events;
    window->getEventQueue()->copyEvents(events);
    for (const osg::ref_ptr<osgGA::Event>& event : events) {
      osgGA::GUIEventAdapter* const input = event->asGUIEventAdapter();
      if (input != nullptr && input->getEventType() == osgGA::GUIEventAdapter::CLOSE_WINDOW) {
        input->setEventType(osgGA::GUIEventAdapter::QUIT_APPLICATION);
      }
    }
  }
}

}  // namespace QuorViewer
