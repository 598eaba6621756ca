#pragma once

#include "viewer/measure/Picker.h"
#include "viewer/navigate/StationControl.h"
#include "viewer/navigate/ViewControl.h"
#include "viewer/navigate/ViewHistory.h"
#include "viewer/navigate/ViewTransition.h"
#include "viewer/session/ScanSet.h"
#include "viewer/ui/Keys.h"
#include "viewer/ui/Messages.h"

#include <osg/BoundingBox>
#include <osg/Vec3d>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace QuorViewer {

/// The user's control of the view by keys: home, presets, back and forward, projection, a close look at the latest
/// pick. Until the user navigates, the view shows everything that has been loaded. Views that keys select are reached
/// by a short transition, unless that is switched off; any navigation stops it.
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
    bool animated = true;  ///< short transitions
  };

  explicit CameraControl(Dependencies dependencies) : _dependencies(dependencies) {}

  /// `control` may still be under construction; it must exist when the first key is pressed.
  static std::vector<KeyBinding> bindings(CameraControl& control);

  /// The user starts to change the view with the mouse: from now on it does not follow the content.
  void beginNavigation(bool byWheel);
  /// From now on the view does not follow the content.
  void stopFollowing() { _userNavigated = true; }
  /// The view follows the content again, and there are no views to go back to: no scan is left.
  void reset();
  /// Leaves the station, if at one, and shows all of `bounds` in the current direction. Returns that view.
  View zoomTo(const osg::BoundingBoxd& bounds);
  /// The bounds of all points, and a sample of them. `followContent` shows them.
  void setContent(const osg::BoundingBox& bounds, const std::vector<osg::Vec3f>& places);
  /// Until the user navigates, and unless at a station, shows all of the latest content, if it is new. Do not call it
  /// during a drag.
  void followContent();
  /// Ends a running transition with its last view, and adds the latest change to the history.
  void settle();
  /// The view, or the one that a running transition leads to.
  View viewAtRest() const;
  /// Continues a transition. Call it before each frame. True while it needs more frames.
  bool advance();
  /// Prints the view if it has changed since the last call.
  void printChangedView();

 private:
  using Clock = std::chrono::steady_clock;

  void _finishTransition();
  void _goHome();
  void _toggleProjection();
  void _lookAtPick();
  void _showPreset(QuorOsgUtils::ViewPreset preset, const char* name);
  void _goBack();
  void _goForward();
  void _goThrough(const std::optional<View>& view, const char* none);
  void _beginChange();
  void _endChange();
  View _restAtTarget();
  void _go(const View& shown, const View& view, const osg::Vec3d& fixed);
  void _start(const View& shown, const View& view, const osg::Vec3d& fixed);

  Dependencies _dependencies;
  bool _userNavigated = false;
  bool _contentIsNew = false;  // since the view followed it
  ViewHistory _history;
  ViewTransition _transition;
  std::optional<View> _beforeChange;  // before the latest change that is not yet in the history
  bool _projectionDue = false;        // to be switched after the transition
  Clock::time_point _latestNotch;
  std::string _latestView;
};

}  // namespace QuorViewer
