#pragma once

#include "viewer/session/ScanSet.h"

#include <QuorOsgUtils/FrameSnapshot.h>

#include <osg/Vec2f>
#include <osg/Vec2i>
#include <osg/Vec3d>

#include <cstdint>
#include <optional>
#include <string>

namespace QuorViewer {

/// Everything known about a picked point.
struct PickedPoint {
  unsigned int scan = 0;
  std::uint64_t point = 0;   ///< index in its file
  osg::Vec3d coordinates;    ///< as stored in the file
  osg::Vec3d localPosition;  ///< relative to the local origin, as drawn
  int decimals = 0;          ///< significant decimals of the file's coordinates
  unsigned int classification = 0;
  unsigned int intensity = 0;
  unsigned int returnNumber = 0;
  unsigned int returns = 0;
  std::optional<double> distance;  ///< from the previously picked point, in world units
};

/// Finds the point under a pixel, using only the captured frame.
class Picker {
 public:
  /// Both outlive the picker.
  Picker(const QuorOsgUtils::SnapshotSource& frames, ScanSet& scans) : _frames(frames), _scans(scans) {}

  /// Picks near a pixel, counted from the bottom left. Returns nothing if no point is near; the next distance is then
  /// still measured from the latest pick. Throws ScanError if the file can no longer be read.
  std::optional<PickedPoint> pick(int x, int y);

  /// The scan of the point near a pixel, found in the same way. Nothing if no point is near.
  std::optional<unsigned int> scanAt(int x, int y);
  /// Clears the latest pick, so that the next one has no distance.
  void clearLatest() { _latest.reset(); }

  /// The pixel of a point near a position in the window (0 to 1, from the bottom left), searched in a growing radius.
  std::optional<osg::Vec2i> pixelOfAnyPointNear(const osg::Vec2f& fraction);

  const std::optional<PickedPoint>& latest() const { return _latest; }
  /// How many points have been picked so far.
  unsigned int count() const { return _count; }

 private:
  std::optional<PickedPoint> _readCapturedPoint(int x, int y);

  const QuorOsgUtils::SnapshotSource& _frames;
  ScanSet& _scans;
  std::optional<PickedPoint> _latest;
  unsigned int _count = 0;
};

/// The pick for the status bar.
std::string statusText(const PickedPoint& pick);
/// The pick for the standard output: "picked x y z class … intensity … return … of … point … of FILE distance …".
std::string outputText(const PickedPoint& pick, const std::string& file);

}  // namespace QuorViewer
