#include "viewer/navigate/StationControl.h"

#include "viewer/navigate/StationView.h"
#include "viewer/ui/Format.h"

#include <cmath>

namespace QuorViewer {
namespace {

constexpr double kEyeHeight = 1.6;
constexpr double kSeenShare = 1e-3;
constexpr int kCoordinateDecimals = 3;

std::string fieldOfViewText(double degrees, const char* unit) {
  return fixed(degrees, degrees < 1.0 ? 3 : 1) + unit;
}

}  // namespace

std::vector<KeyBinding> StationControl::bindings(StationControl& control) {
  return {{{'n', 'N'},
           "N",
           "orbit about the middle of the view or the point under the pointer",
           [&control] { control._swap(); }},
          {{'l', 'L'}, "L", "enter or leave the scanner station", [&control] { control._toggle(); }},
          {{'v', 'V'}, "V", "reset the field of view", [&control] { control._resetField(); }}};
}

void StationControl::_toggle() {
  if (isAtStation()) {
    leave();
    return _dependencies.messages.show("Previous view restored");
  }
  if (const std::optional<osg::Vec3d> station = _findStation()) {
    return _enter(*station);
  }
  _dependencies.messages.show("No station: left-click the point to stand on, then press L again");
}

void StationControl::_enter(const osg::Vec3d& station) {
  _viewBefore = _dependencies.view.view();
  _orthographicBefore = _dependencies.view.isOrthographic();
  const ViewControl& view = _dependencies.view;
  _dependencies.navigator.enterStation(
      station, stationRotation(station, view.places(), _viewBefore.pose.rotation, view.aspectRatio()));
  _resetField();
  _dependencies.messages.show(
      "Right drag looks around, the wheel changes the field of view, V resets it, L leaves the station");
  _dependencies.messages.print("station on " +
                               coordinates(station + _dependencies.scans.origin(), kCoordinateDecimals));
}

void StationControl::leave() {
  if (!isAtStation()) {
    return;
  }
  _dependencies.navigator.leaveStation();
  _dependencies.view.resetFieldOfView();
  if (_orthographicBefore) {
    _dependencies.view.toggleProjection();
  }
  _dependencies.view.setView(_viewBefore);
  _dependencies.messages.print("station off");
}

void StationControl::_swap() {
  _dependencies.navigator.swap();
  const bool aboutPointer = _dependencies.navigator.rotatesAboutPointer();
  const std::string when = isAtStation() ? "After leaving the station, right drag" : "Right drag";
  _dependencies.messages.show(
      when + (aboutPointer ? " orbits about the point under the pointer" : " orbits about the middle of the view"));
  _dependencies.messages.print(aboutPointer ? "navigation about the pointer" : "navigation about the middle");
}

void StationControl::_resetField() {
  if (isAtStation()) {
    _dependencies.view.setFieldOfView(kStationFieldDegrees);
    _shownField = kStationFieldDegrees;
  } else {
    _dependencies.messages.show("The field of view can be changed only at a station; press L to enter it");
  }
}

void StationControl::showFieldOfView() {
  const double degrees = _dependencies.view.fieldOfViewDegrees();
  if (isAtStation() && std::abs(degrees - _shownField) > kSeenShare * _shownField) {
    _shownField = degrees;
    _dependencies.messages.show("Field of view " + fieldOfViewText(degrees, " degrees"));
  }
}

std::string StationControl::summary() const {
  if (isAtStation()) {
    return "Station   ·   field of view " + fieldOfViewText(_dependencies.view.fieldOfViewDegrees(), "°");
  }
  const std::string projection = _dependencies.view.isOrthographic() ? "Orthographic" : "Perspective";
  return projection +
         (_dependencies.navigator.rotatesAboutPointer() ? "   ·   Orbit: pointer" : "   ·   Orbit: middle of view");
}

// Scans from a single station often have it at the origin of their coordinates, among their points.
std::optional<osg::Vec3d> StationControl::_findStation() const {
  const osg::Vec3d origin = _dependencies.scans.origin();
  if (_given) {
    return *_given - origin;
  }
  if (_dependencies.view.bounds().contains(-origin)) {
    return -origin;
  }
  const std::optional<PickedPoint>& picked = _dependencies.picker.latest();
  return picked ? std::optional<osg::Vec3d>(picked->localPosition + osg::Vec3d(0.0, 0.0, kEyeHeight)) : std::nullopt;
}

}  // namespace QuorViewer
