#pragma once

#include "viewer/session/ScanSet.h"

#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/Vec2f>
#include <osg/Vec2i>
#include <osg/Vec3d>

#include <cstdint>
#include <optional>
#include <string>

namespace QuorViewer {

/// Everything known of a picked point.
struct PickedPoint {
  unsigned int scan = 0;
  std::uint64_t point = 0;   ///< index in its file
  osg::Vec3d coordinates;    ///< as the file states them
  osg::Vec3d localPosition;  ///< relative to the local origin, as drawn
  int decimals = 0;          ///< that the file's coordinates are good for
  unsigned int classification = 0;
  unsigned int intensity = 0;
  unsigned int returnNumber = 0;
  unsigned int returns = 0;
  std::optional<double> distance;  ///< from the point picked before, in world units
};

/// Finds out which point is under a pixel, from the captured frame alone.
class Picker {
 public:
  /// Both outlive the picker.
  Picker(QuorOsgUtils::ScreenCaptureTool& tool, ScanSet& scans) : _tool(tool), _scans(scans) {}

  /// Picks near a pixel, counted from the bottom left. Empty beside the cloud: the latest pick then stays the one that
  /// the next distance is measured from. Throws ScanError when the file can no longer be read.
  std::optional<PickedPoint> pick(int x, int y);

  /// The scan whose point is near a pixel, the same way. Nothing beside the cloud.
  std::optional<unsigned int> scanAt(int x, int y);
  /// Forgets the latest pick. The next one has no distance.
  void forget() { _latest.reset(); }

  /// The pixel of a point near the window's fraction (0 to 1, from the bottom left), searched ever farther.
  std::optional<osg::Vec2i> pixelOfAnyPointNear(const osg::Vec2f& fraction);

  const std::optional<PickedPoint>& latest() const { return _latest; }
  /// How many points have been picked so far.
  unsigned int count() const { return _count; }

 private:
  std::optional<PickedPoint> _readCapturedPoint(int x, int y);

  QuorOsgUtils::ScreenCaptureTool& _tool;
  ScanSet& _scans;
  std::optional<PickedPoint> _latest;
  unsigned int _count = 0;
};

/// The pick for the status bar.
std::string statusText(const PickedPoint& pick);
/// The pick for the standard output: "picked x y z class … intensity … return … of … point … of FILE distance …".
std::string outputText(const PickedPoint& pick, const std::string& file);

}  // namespace QuorViewer
