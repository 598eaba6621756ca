#pragma once

#include "viewer/render/PointCloud.h"
#include "viewer/session/ScanLoader.h"
#include "viewer/session/ScanSet.h"
#include "viewer/ui/Keys.h"
#include "viewer/ui/Legend.h"

#include <optional>
#include <string>
#include <vector>

namespace QuorViewer {

/// What the user does with the look of the points: colouring, with the ranges and the legend that belong to it, and
/// size.
class CloudControl {
 public:
  /// All outlive the control.
  struct Host {
    PointCloud& cloud;
    Legend& legend;
    const ScanSet& scans;
    const ScanLoader& loader;
  };

  explicit CloudControl(Host host) : _host(host) {}

  /// `control` may be yet to be made, and is there when the first key comes.
  static std::vector<KeyBinding> bindings(CloudControl& control);

  /// As the user wishes, or else as fits the scans and a window of so many pixels.
  void start(std::optional<ColourMode> mode, std::optional<float> pointSizePixels, double windowPixels);

  /// Follows what is loaded.
  void updateRanges();

 private:
  void _setMode(ColourMode mode);
  void _changeSize(float stepPixels);
  void _updateLegend();

  Host _host;
};

}  // namespace QuorViewer
