#pragma once

#include "viewer/render/PointCloud.h"
#include "viewer/session/Session.h"
#include "viewer/ui/Keys.h"
#include "viewer/ui/Legend.h"
#include "viewer/ui/Messages.h"

#include <optional>
#include <string>
#include <vector>

namespace QuorViewer {

/// The user's control of the look of the points: colouring, with its value ranges and legend, and size. The points are
/// never coloured by something that none of the scans has.
class CloudControl {
 public:
  /// All objects must outlive the control.
  struct Dependencies {
    PointCloud& cloud;
    Legend& legend;
    const Session& session;
    Messages& messages;
  };

  explicit CloudControl(Dependencies dependencies) : _dependencies(dependencies) {}

  /// `control` may still be under construction; it must exist when the first key is pressed.
  static std::vector<KeyBinding> bindings(CloudControl& control);

  /// Applies the given values. For missing ones, and for a colouring by something that no scan has, chooses defaults
  /// from the scans and the number of pixels in the window.
  void start(std::optional<ColourMode> mode, std::optional<float> pointSizePixels, double windowPixels);

  /// Updates the value ranges from the points loaded so far. If the scans that are left lack what they are coloured by,
  /// chooses another colouring.
  void updateRanges();

 private:
  bool _has(ColourMode mode) const;
  std::string _lackOf(ColourMode mode) const;
  ColourMode _start(ColourMode mode);
  void _chooseMode(ColourMode mode);
  void _chooseNextMode();
  void _leaveLackingMode();
  void _setMode(ColourMode mode);
  void _changeSize(float stepPixels);
  void _updateLegend();

  Dependencies _dependencies;
};

}  // namespace QuorViewer
