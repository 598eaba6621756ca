#include "viewer/navigate/CameraControl.h"

#include <osgGA/GUIEventAdapter>

#include <optional>
#include <utility>

namespace QuorViewer {
namespace {

using Key = osgGA::GUIEventAdapter::KeySymbol;

}  // namespace

std::vector<KeyBinding> CameraControl::bindings(CameraControl& control) {
  return {
      {{'o', 'O'}, "O", "orthographic or perspective", [&control] { control._toggleProjection(); }},
      {{Key::KEY_Home, Key::KEY_KP_Home, ' '}, "Home, Space", "show everything", [&control] { control._goHome(); }},
      {{'f', 'F'}, "F", "zoom to the picked point", [&control] { control._lookAtPick(); }},
  };
}

void CameraControl::setContent(const osg::BoundingBox& bounds, const std::vector<osg::Vec3f>& places) {
  _dependencies.view.setContent({bounds._min, bounds._max}, places);
  if (!_userNavigated && !_dependencies.station.isAtStation()) {
    _dependencies.view.home();
  }
}

void CameraControl::printChangedView() {
  if (!_dependencies.verbose) {
    return;
  }
  std::string view = _dependencies.view.describe(_dependencies.scans.origin());
  if (view != _latestView) {
    _dependencies.messages.printState(view);
    _latestView = std::move(view);
  }
}

void CameraControl::_goHome() {
  _dependencies.station.leave();
  _dependencies.view.home();
}

void CameraControl::_toggleProjection() {
  if (_dependencies.station.isAtStation()) {
    _dependencies.messages.show("Orthographic projection is not available at a station; press L to leave it");
  } else {
    _dependencies.view.toggleProjection();
  }
}

void CameraControl::_lookAtPick() {
  if (const std::optional<PickedPoint>& picked = _dependencies.picker.latest()) {
    _dependencies.station.leave();
    _userNavigated = true;
    _dependencies.view.lookAt(picked->localPosition);
  } else {
    _dependencies.messages.show("Pick a point first, with a left click");
  }
}

}  // namespace QuorViewer
