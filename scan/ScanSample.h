#pragma once

#include "scan/RawPoint.h"
#include "scan/Scan.h"

#include <cstdint>
#include <vector>

namespace QuorViewer {

/// Where to look into a scan to learn what it is like without reading all of it.
struct SampleRuns {
  std::vector<std::uint64_t> firstPoints;  ///< ascending, without repetition
  std::uint32_t length = 0;                ///< of each run; the last may be cut off by the scan's end
};

/// Runs spread evenly over a scan, each beginning at a multiple of `step` (compressed scans can be entered only there).
/// The fewer places there are to begin, the longer each run, so that the sample has its size all the same.
SampleRuns spreadRuns(std::uint64_t pointCount, std::uint64_t step);

/// The nearest whole number, a coordinate of a local origin.
double wholeNumber(double value);

/// How colours are to be brought to 8 bits.
struct ColourDepth {
  bool present = false;  ///< false where all colours seen are black: scanners without camera write that
  unsigned shift = 0;    ///< to the right: 8 for values of 16 bits, 0 for values of 8 bits in fields of 16
};

/// What a sample tells of its scan.
class ScanSample {
 public:
  void reserve(std::size_t count) { _points.reserve(count); }
  void add(const RawPoint& point) { _points.push_back(point); }

  ColourDepth colourDepth() const;
  bool anyIntensity() const;
  bool anyClassification() const;

  /// Whole numbers near the median of the sampled points, which a few stray points cannot pull away as they would the
  /// mean or the middle of the box. The grid's own offset, rounded, where no point was sampled.
  osg::Vec3d origin(const osg::Vec3d& scale, const osg::Vec3d& offset) const;

  /// Fills in all that the sample tells; scale and offset must be known. `coloured`: the format has colours at all.
  void complete(ScanInfo& info, bool coloured) const;

 private:
  double _median(std::int32_t RawPoint::*axis) const;

  std::vector<RawPoint> _points;
};

}  // namespace QuorViewer
