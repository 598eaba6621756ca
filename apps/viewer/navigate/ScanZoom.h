#pragma once

#include "viewer/measure/Picker.h"
#include "viewer/navigate/CameraControl.h"
#include "viewer/session/Session.h"
#include "viewer/ui/Keys.h"
#include "viewer/ui/Messages.h"

#include <osg/Vec2i>

#include <deque>
#include <functional>
#include <vector>

namespace QuorViewer {

/// Zooms to one scan: to the one under the pointer, or else to the next of the open scans.
class ScanZoom {
 public:
  /// All outlive the zoom.
  struct Dependencies {
    CameraControl& camera;
    Picker& picker;
    const Session& session;
    Messages& messages;
    std::function<osg::Vec2i()> pointer;  ///< its pixel, from the bottom left
  };

  explicit ScanZoom(Dependencies dependencies) : _dependencies(std::move(dependencies)) {}

  /// `zoom` may still be under construction; it must exist when the first key is pressed.
  static std::vector<KeyBinding> bindings(ScanZoom& zoom);

  /// The next zoom goes to this scan, wherever the pointer is; with several offers, the first goes to the first.
  void offer(unsigned int scan) { _offered.push_back(scan); }
  void withdrawOffers() { _offered.clear(); }

 private:
  void _zoom();
  unsigned int _chooseScan();
  unsigned int _nextScan() const;
  void _show(unsigned int scan);

  Dependencies _dependencies;
  std::deque<unsigned int> _offered;
  unsigned int _latest = 0;
  View _latestView;
};

}  // namespace QuorViewer
