#include "viewer/navigate/CameraControl.h"

#include <osgGA/GUIEventAdapter>

#include <optional>
#include <utility>

namespace QuorViewer {
namespace {

using Key = osgGA::GUIEventAdapter::KeySymbol;

}  // namespace

std::vector<KeyBinding> CameraControl::bindings(CameraControl& control) {
  using QuorOsgUtils::ViewPreset;
  const auto preset = [&control](ViewPreset which, const char* name) {
    return [&control, which, name] { control._showPreset(which, name); };
  };
  return {
      {{'o', 'O'}, "O", "orthographic or perspective", [&control] { control._toggleProjection(); }},
      {{Key::KEY_Home, Key::KEY_KP_Home, ' '}, "Home, Space", "show everything", [&control] { control._goHome(); }},
      {{'f', 'F'}, "F", "zoom to the picked point", [&control] { control._lookAtPick(); }},
      {{Key::KEY_F2}, "F2, F3", "view from the top, from the bottom", preset(ViewPreset::Top, "top")},
      {{Key::KEY_F3}, "", "", preset(ViewPreset::Bottom, "bottom")},
      {{Key::KEY_F4}, "F4, F5", "view from the front, from the back", preset(ViewPreset::Front, "front")},
      {{Key::KEY_F5}, "", "", preset(ViewPreset::Back, "back")},
      {{Key::KEY_F6}, "F6, F7", "view from the left, from the right", preset(ViewPreset::Left, "left")},
      {{Key::KEY_F7}, "", "", preset(ViewPreset::Right, "right")},
      {{Key::KEY_F8}, "F8", "isometric view", preset(ViewPreset::Isometric, "isometric")},
      {{Key::KEY_Left}, "Alt+Left", "previous view", [&control] { control._goBack(); }, Modifier::kAlt},
      {{Key::KEY_Right}, "Alt+Right", "next view", [&control] { control._goForward(); }, Modifier::kAlt},
  };
}

void CameraControl::setContent(const osg::BoundingBox& bounds, const std::vector<osg::Vec3f>& places) {
  _dependencies.view.setContent({bounds._min, bounds._max}, places);
  _contentIsNew = true;
}

// At a station the content stays new, because the view that is restored afterwards does not show it.
void CameraControl::followContent() {
  if (!_dependencies.station.isAtStation() && std::exchange(_contentIsNew, false) && !_userNavigated) {
    _transition.stop();
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

// All notches of the wheel without a pause are one gesture. What is done at a station does not change the view that is
// restored afterwards.
void CameraControl::beginNavigation(bool byWheel) {
  constexpr std::chrono::seconds kPause(1);
  const Clock::time_point now = Clock::now();
  const bool continues = byWheel && now - _latestNotch < kPause;
  _userNavigated = _userNavigated || !_dependencies.station.isAtStation();
  _finishTransition();
  if (!continues) {
    _beginChange();
  }
  _latestNotch = byWheel ? now : Clock::time_point();
}

void CameraControl::reset() {
  _userNavigated = false;
  _contentIsNew = false;
  _history.clear();
  _beforeChange.reset();
  _latestNotch = {};
  _transition.stop();
}

void CameraControl::settle() {
  _finishTransition();
  _endChange();
}

void CameraControl::_finishTransition() {
  if (_transition.isRunning()) {
    _dependencies.view.setView(_transition.target());
    _transition.stop();
  }
  if (std::exchange(_projectionDue, false)) {
    _dependencies.view.toggleProjection();
  }
}

bool CameraControl::advance() {
  if (_transition.isRunning()) {
    _dependencies.view.setView(_transition.advance(Clock::now()));
  } else {
    _finishTransition();
  }
  return _transition.isRunning() || _projectionDue;
}

View CameraControl::zoomTo(const osg::BoundingBoxd& bounds) {
  _dependencies.station.leave();
  const View shown = _restAtTarget();
  View view = _dependencies.view.viewOf(bounds);
  _go(shown, view, view.pose.centre);
  return view;
}

void CameraControl::_goHome() {
  _dependencies.station.leave();
  const bool follows = !_userNavigated;
  const View shown = _restAtTarget();
  const View home = _dependencies.view.homeView();
  _go(shown, home, home.pose.centre);
  _userNavigated = !follows;
  _contentIsNew = false;
}

// The depth in the middle of the view is that of a drawn frame: during a transition the switch waits for its last,
// unless something else ends the transition.
void CameraControl::_toggleProjection() {
  if (_dependencies.station.isAtStation()) {
    _dependencies.messages.show("Orthographic projection is not available at a station; press L to leave it");
  } else if (_transition.isRunning()) {
    _projectionDue = !_projectionDue;
  } else {
    _dependencies.view.toggleProjection();
  }
}

void CameraControl::_lookAtPick() {
  const std::optional<PickedPoint>& picked = _dependencies.picker.latest();
  if (!picked) {
    return _dependencies.messages.show("Pick a point first, with a left click");
  }
  _dependencies.station.leave();
  const View shown = _restAtTarget();
  _go(shown, _dependencies.view.closeView(picked->localPosition), picked->localPosition);
}

void CameraControl::_showPreset(QuorOsgUtils::ViewPreset preset, const char* name) {
  if (_dependencies.station.isAtStation()) {
    return _dependencies.messages.show("View presets are not available at a station; press L to leave it");
  }
  const View shown = _restAtTarget();
  const osg::Vec3d pivot = _dependencies.view.pivot();
  _go(shown, _dependencies.view.presetView(preset), pivot);
  _dependencies.messages.show(std::string("View: ") + name);
}

void CameraControl::_goBack() {
  _endChange();
  if (_dependencies.station.isAtStation()) {
    return _dependencies.station.leave();
  }
  _goThrough(_history.back(viewAtRest()), "There is no earlier view");
}

void CameraControl::_goForward() {
  _endChange();
  if (_dependencies.station.isAtStation()) {
    return _dependencies.messages.show("View history is not available at a station; press L to leave it");
  }
  _goThrough(_history.forward(viewAtRest()), "There is no later view");
}

void CameraControl::_goThrough(const std::optional<View>& view, const char* none) {
  if (!view) {
    return _dependencies.messages.show(none);
  }
  _userNavigated = true;
  _start(_dependencies.view.view(), *view, view->pose.centre);
}

// A change enters the history only if it has changed the view: not a press without a drag, nor a cancelled drag.
void CameraControl::_beginChange() {
  _endChange();
  if (!_dependencies.station.isAtStation()) {
    _beforeChange = viewAtRest();
  }
}

void CameraControl::_endChange() {
  _latestNotch = {};
  const std::optional<View> before = std::exchange(_beforeChange, std::nullopt);
  if (before && !_dependencies.station.isAtStation() && !isSameView(*before, viewAtRest())) {
    _history.leave(*before);
  }
}

// Returns the view that is shown, and sets the one that a running transition leads to.
View CameraControl::_restAtTarget() {
  View shown = _dependencies.view.view();
  _beginChange();
  _dependencies.view.setView(viewAtRest());
  return shown;
}

void CameraControl::_go(const View& shown, const View& view, const osg::Vec3d& fixed) {
  _userNavigated = true;
  _start(shown, view, fixed);
}

void CameraControl::_start(const View& shown, const View& view, const osg::Vec3d& fixed) {
  _transition.stop();
  if (_dependencies.animated) {
    _dependencies.view.setView(shown);
    _transition.start(shown, view, fixed, Clock::now());
  } else {
    _dependencies.view.setView(view);
  }
}

View CameraControl::viewAtRest() const {
  return _transition.isRunning() ? _transition.target() : _dependencies.view.view();
}

}  // namespace QuorViewer
