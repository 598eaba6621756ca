#pragma once

#include "viewer/measure/PickMarker.h"
#include "viewer/measure/Picker.h"
#include "viewer/session/ScanSet.h"
#include "viewer/ui/Messages.h"

namespace QuorViewer {

/// The user's picks: marks them in the window and reports them on the status bar and the terminal.
class PickControl {
 public:
  /// All outlive the control.
  struct Dependencies {
    Picker& picker;
    PickMarker& marker;
    const ScanSet& scans;
    Messages& messages;
  };

  explicit PickControl(Dependencies dependencies) : _dependencies(dependencies) {}

  /// Picks near a pixel, counted from the bottom left.
  void pick(int x, int y);
  /// Clears the latest pick and the marks.
  void clear();

 private:
  void _report(const PickedPoint& picked);

  Dependencies _dependencies;
};

}  // namespace QuorViewer
