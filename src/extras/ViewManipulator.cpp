#include "extras/EventCopies.h"

#include <QuorOsgUtils/ViewManipulator.h>

#include <osg/Viewport>
#include <osgViewer/View>

namespace QuorOsgUtils {
namespace {

osg::ref_ptr<const osgGA::GUIEventAdapter> inViewport(const osgGA::GUIEventAdapter& ea, const osg::Camera* camera,
                                                      EventCopies& copies) {
  const osg::Viewport* const viewport = camera != nullptr ? camera->getViewport() : nullptr;
  if (viewport == nullptr || !(viewport->width() > 0.0 && viewport->height() > 0.0)) {
    return &ea;
  }
  const osg::ref_ptr<osgGA::GUIEventAdapter> event = copies.copyOf(ea);
  event->setInputRange(static_cast<float>(viewport->x()), static_cast<float>(viewport->y()),
                       static_cast<float>(viewport->x() + viewport->width()),
                       static_cast<float>(viewport->y() + viewport->height()));
  return event;
}

}  // namespace

// The camera and the scene are borrowed. A viewer's destructor ends the threads and contexts of its camera and the
// pagers of its scene, so it must find its own.
class ViewAdapter::AdaptedViewer : public osgViewer::Viewer {
 public:
  AdaptedViewer() : _ownCamera(_camera) {}

  void follow(osgViewer::View* view) {
    _view = view;
    _camera = view != nullptr ? view->getCamera() : _ownCamera.get();
    _scene = view != nullptr ? view->getScene() : nullptr;
  }

  EventCopies& eventCopies() { return _eventCopies; }

  void requestRedraw() override {
    if (_view != nullptr) {
      _view->requestRedraw();
    }
  }
  void requestContinuousUpdate(bool needed) override {
    if (_view != nullptr) {
      _view->requestContinuousUpdate(needed);
    }
  }
  void requestWarpPointer(float x, float y) override {
    if (_view != nullptr) {
      _view->requestWarpPointer(x, y);
    }
  }

 protected:
  ~AdaptedViewer() override { follow(nullptr); }

 private:
  osg::ref_ptr<osg::Camera> _ownCamera;
  osgViewer::View* _view = nullptr;
  EventCopies _eventCopies;
};

ViewAdapter::ViewAdapter() : _viewer(new AdaptedViewer) {}

ViewAdapter::~ViewAdapter() = default;

osgViewer::Viewer* ViewAdapter::viewer() const {
  return _viewer;
}

ViewAdapter::Following::Following(ViewAdapter& adapter, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa)
    : _adapter(adapter), _event(&ea), _actions(&aa) {
  auto* const view = dynamic_cast<osgViewer::View*>(aa.asView());
  if (view == nullptr) {
    return;
  }
  _adapter._viewer->follow(view);
  _event = inViewport(ea, view->getCamera(), _adapter._viewer->eventCopies());
  _actions = _adapter._viewer;
}

ViewAdapter::Following::~Following() {
  _adapter._viewer->follow(nullptr);
}

}  // namespace QuorOsgUtils
