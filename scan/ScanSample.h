#pragma once

#include "scan/PointRange.h"
#include "scan/RawPoint.h"
#include "scan/Scan.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace QuorViewer {

/// The last point up to a given one at which reading can start; it never decreases if the given one increases.
using EntryBefore = std::function<std::uint64_t(std::uint64_t point)>;

/// Where to sample a scan without reading all of it: runs spread evenly over it, in order, without overlap, each
/// beginning where reading can start. The fewer such points there are, the longer the runs, so that the sample keeps
/// its size.
std::vector<PointSpan> spreadRuns(std::uint64_t pointCount, const EntryBefore& entryBefore);
/// The same for a scan that can be entered at each point.
std::vector<PointSpan> spreadRuns(std::uint64_t pointCount);

/// The nearest whole number, a coordinate of a local origin.
double wholeNumber(double value);

/// How to convert colours to 8 bits.
struct ColourDepth {
  bool present = false;  ///< false if all colours seen are black, as scanners without a camera write
  unsigned shift = 0;    ///< to the right: 8 for 16-bit values, 0 for 8-bit values in 16-bit fields
};

/// What a sample shows about its scan.
class ScanSample {
 public:
  void add(const RawPoint& point) { _points.push_back(point); }

  ColourDepth colourDepth() const;
  bool anyIntensity() const;
  bool anyClassification() const;

  /// Whole numbers near the median of the sampled points: unlike the mean or the middle of the box, the median is not
  /// shifted by a few outliers. The grid's own offset, rounded, if no point was sampled.
  osg::Vec3d origin(const osg::Vec3d& scale, const osg::Vec3d& offset) const;

  /// Fills in everything that the sample shows; scale and offset must be known. `coloured`: whether the format has
  /// colours.
  void complete(ScanInfo& info, bool coloured) const;

 private:
  double _median(std::int32_t RawPoint::*axis) const;

  std::vector<RawPoint> _points;
};

}  // namespace QuorViewer
