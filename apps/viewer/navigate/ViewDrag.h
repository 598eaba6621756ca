#pragma once

#include "viewer/navigate/Navigator.h"

#include <osg/Camera>
#include <osg/Matrixd>
#include <osgGA/GUIEventHandler>

#include <functional>
#include <optional>
#include <utility>

namespace QuorViewer {

/// Notices drags, from the press of the first mouse button to the release of the last, so that they can be cancelled.
/// Must come before all other handlers of the pointer: they ignore the rest of a cancelled drag, because it is marked
/// as handled.
class ViewDrag : public osgGA::GUIEventHandler {
 public:
  /// Both outlive the handler. `begins` is called at the press, before the view is noted.
  ViewDrag(osg::Camera& camera, Navigator& navigator, std::function<void()> begins)
      : _camera(camera), _navigator(navigator), _begins(std::move(begins)) {}

  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

  /// True from the press of the first button to the release of the last, also after `cancel`.
  bool isActive() const { return _active; }
  /// Restores the view that the drag began with. False if there is no drag, or it is already cancelled.
  bool cancel();

 private:
  struct Start {
    ViewPose pose;
    osg::Matrixd projection;
  };

  osg::Camera& _camera;
  Navigator& _navigator;
  std::function<void()> _begins;
  std::optional<Start> _before;  // empty: no drag that can be cancelled
  bool _active = false;
  bool _cancelled = false;
};

}  // namespace QuorViewer
