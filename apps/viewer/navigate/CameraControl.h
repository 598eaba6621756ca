#pragma once

#include "viewer/measure/Picker.h"
#include "viewer/navigate/StationControl.h"
#include "viewer/navigate/ViewControl.h"
#include "viewer/session/ScanSet.h"
#include "viewer/ui/Keys.h"
#include "viewer/ui/Messages.h"

#include <osg/BoundingBox>

#include <string>
#include <vector>

namespace QuorViewer {

/// The user's control of the view by keys: home, projection, a close look at the latest pick. Until the user navigates,
/// the view shows everything that has been loaded.
class CameraControl {
 public:
  /// All outlive the control.
  struct Dependencies {
    ViewControl& view;
    StationControl& station;
    const Picker& picker;
    const ScanSet& scans;
    Messages& messages;
    bool verbose = false;  ///< print each new view
  };

  explicit CameraControl(Dependencies dependencies) : _dependencies(dependencies) {}

  /// `control` may still be under construction; it must exist when the first key is pressed.
  static std::vector<KeyBinding> bindings(CameraControl& control);

  /// From now on the view stays as the user has set it, or follows the content.
  void setUserNavigated(bool navigated) { _userNavigated = navigated; }
  /// The bounds of all points, and a sample of them.
  void setContent(const osg::BoundingBox& bounds, const std::vector<osg::Vec3f>& places);
  /// Prints the view if it has changed since the last call.
  void printChangedView();

 private:
  void _goHome();
  void _toggleProjection();
  void _lookAtPick();

  Dependencies _dependencies;
  bool _userNavigated = false;
  std::string _latestView;
};

}  // namespace QuorViewer
