#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace QuorViewer {

/// Consecutive points of a scan.
struct PointSpan {
  std::uint64_t first = 0;
  std::uint64_t end = 0;  ///< exclusive

  bool contains(std::uint64_t point) const { return point >= first && point < end; }
  std::uint64_t count() const { return end - first; }
};

/// Points of a scan, each `step` after the previous one in the file.
struct PointRun {
  std::uint64_t first = 0;  ///< index in the file
  std::uint64_t step = 1;
  std::uint32_t count = 0;

  /// Number of points in the file from the first one of the run to the last, both included.
  std::uint64_t span() const { return count > 0 ? (count - 1) * step + 1 : 0; }
  /// The part of the run before point `end` of the file.
  PointRun before(std::uint64_t end) const {
    const std::uint64_t fit = end > first ? (end - first - 1) / step + 1 : 0;
    return {first, step, static_cast<std::uint32_t>(std::min<std::uint64_t>(count, fit))};
  }
};

/// Points of a scan at regular intervals: runs of equal length at equal distances; the last run may be cut short. A few
/// numbers thus give the file index of any of them, even if others were left out.
struct PointRange {
  std::uint64_t first = 0;  ///< index in the file
  std::uint32_t count = 0;
  std::uint64_t step = 1;                                            ///< between the points of a run
  std::uint32_t perRun = std::numeric_limits<std::uint32_t>::max();  ///< points in a run, at least 1
  std::uint64_t runStep = 0;                                         ///< between the first points of two runs

  /// The file index of the point at `place`, counted from 0.
  std::uint64_t at(std::uint32_t place) const { return first + place / perRun * runStep + place % perRun * step; }
};

/// Calls `visit` with each run of a range, in order.
template <typename Visitor>
void forEachRun(const PointRange& range, const Visitor& visit) {
  for (std::uint32_t place = 0; place < range.count;) {
    const std::uint32_t length = std::min(range.perRun, range.count - place);
    visit(PointRun{range.at(place), range.step, length});
    place += length;
  }
}

}  // namespace QuorViewer
