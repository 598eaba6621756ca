#pragma once

#include "viewer/measure/Picker.h"
#include "viewer/navigate/Navigator.h"
#include "viewer/navigate/ViewControl.h"
#include "viewer/session/ScanSet.h"
#include "viewer/ui/Keys.h"
#include "viewer/ui/Messages.h"

#include <osg/Vec3d>

#include <optional>
#include <string>
#include <vector>

namespace QuorViewer {

/// Navigation by keys: about the middle, about the pointer, or at a scanner station, where the view only rotates and
/// the wheel changes the field of view. Reports changes on the status bar and the terminal.
class StationControl {
 public:
  /// All objects must outlive the control.
  struct Dependencies {
    Navigator& navigator;
    ViewControl& view;
    const Picker& picker;
    const ScanSet& scans;
    Messages& messages;
  };

  /// `station`, in the scans' own coordinates, takes precedence over the scans' origin and the user's picks.
  StationControl(Dependencies dependencies, std::optional<osg::Vec3d> station)
      : _dependencies(dependencies), _given(station) {}

  /// The control must outlive the bindings; it may still be under construction when this is called.
  static std::vector<KeyBinding> bindings(StationControl& control);

  bool isAtStation() const { return _dependencies.navigator.isAtStation(); }
  /// Leaves the station, if at one, and restores the view from before.
  void leave();
  /// Shows the field of view if it has changed since the last call.
  void showFieldOfView();
  /// The navigation part of the status bar.
  std::string summary() const;

 private:
  void _toggle();
  void _enter(const osg::Vec3d& station);
  void _swap();
  void _resetField();
  std::optional<osg::Vec3d> _findStation() const;

  Dependencies _dependencies;
  std::optional<osg::Vec3d> _given;
  View _viewBefore;
  bool _orthographicBefore = false;
  double _shownField = 0.0;
};

}  // namespace QuorViewer
