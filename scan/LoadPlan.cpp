#include "scan/LoadPlan.h"

#include <algorithm>
#include <limits>

namespace QuorViewer {

namespace {

constexpr std::uint64_t kMostSpan = std::numeric_limits<std::uint32_t>::max();

std::uint64_t divideUp(std::uint64_t number, std::uint64_t by) {
  return number / by + (number % by != 0 ? 1 : 0);
}

/// Divides the scan into segments of equal length; the start of each belongs to the sample.
class Planner {
 public:
  Planner(std::uint64_t pointCount, std::uint64_t thinning, const LoadSizes& sizes)
      : _pointCount(pointCount),
        _thinning(thinning),
        _mostPoints(std::clamp<std::uint64_t>(sizes.chunk, 1, std::max<std::uint64_t>(kMostSpan / thinning, 1))),
        _sizes(sizes) {}

  std::vector<PlannedChunk> plan(std::uint64_t entryPoints) {
    if (!_cutIntoSegments(entryPoints)) {
      _segment = _pointCount;
      _addPart(0, _segment, Turn::Plain);
      return std::move(_chunks);
    }
    const std::uint64_t sampled = std::max<std::uint64_t>(_sizes.sample / _segments(), 1) * _thinning;
    _addPart(0, sampled, Turn::First);
    _addPart(sampled, _segment - sampled, Turn::Later);
    return std::move(_chunks);
  }

 private:
  std::uint64_t _segments() const { return divideUp(_pointCount, _segment); }

  // False if a sample would be most of the scan, or come from too few places.
  bool _cutIntoSegments(std::uint64_t entryPoints) {
    if (thinnedCount(_pointCount, _thinning) <= 2 * _sizes.sample || entryPoints > _pointCount / _thinning) {
      return false;
    }
    const std::uint64_t step = entryPoints * _thinning;
    _segment = divideUp(divideUp(_pointCount, _sizes.runs), step) * step;
    return _segments() >= _sizes.fewestRuns;
  }

  /// Adds, from each segment, the `length` points that begin `offset` after its first.
  void _addPart(std::uint64_t offset, std::uint64_t length, Turn turn) {
    const std::uint64_t perRun = divideUp(length, _thinning);
    if (perRun >= _mostPoints) {
      return _addPieces(offset, length, turn);
    }
    const std::uint64_t together =
        std::min(_mostPoints / std::max<std::uint64_t>(perRun, 1), std::max<std::uint64_t>(kMostSpan / _segment, 1));
    for (std::uint64_t first = offset; first < _pointCount; first += together * _segment) {
      std::uint64_t count = 0;
      for (std::uint64_t run = 0; run < together; ++run) count += _keptOf(first + run * _segment, length);
      _add({first, static_cast<std::uint32_t>(count), _thinning, static_cast<std::uint32_t>(perRun), _segment}, turn);
    }
  }

  /// The same if one segment's part is larger than a chunk.
  void _addPieces(std::uint64_t offset, std::uint64_t length, Turn turn) {
    const std::uint64_t piece = _mostPoints * _thinning;
    for (std::uint64_t begin = offset; begin < _pointCount; begin += _segment) {
      for (std::uint64_t within = 0; within < length; within += piece) {
        const std::uint64_t count = _keptOf(begin + within, std::min(piece, length - within));
        _add({begin + within, static_cast<std::uint32_t>(count), _thinning}, turn);
      }
    }
  }

  void _add(const PointRange& points, Turn turn) {
    if (points.count > 0) _chunks.push_back({points, turn});
  }

  std::uint64_t _keptOf(std::uint64_t first, std::uint64_t length) const {
    return first < _pointCount ? thinnedCount(std::min(length, _pointCount - first), _thinning) : 0;
  }

  std::uint64_t _pointCount;
  std::uint64_t _thinning;
  std::uint64_t _mostPoints;
  LoadSizes _sizes;
  std::uint64_t _segment = 0;
  std::vector<PlannedChunk> _chunks;
};

}  // namespace

std::vector<PlannedChunk> planLoad(std::uint64_t pointCount, std::uint64_t entryPoints, std::uint64_t thinning,
                                   const LoadSizes& sizes) {
  if (pointCount == 0) return {};
  return Planner(pointCount, std::min(thinning, pointCount), sizes).plan(entryPoints);
}

std::uint64_t thinnedCount(std::uint64_t pointCount, std::uint64_t thinning) {
  return divideUp(pointCount, thinning);
}

std::uint64_t thinningFor(std::uint64_t pointCount, std::uint64_t mostPoints) {
  return std::max<std::uint64_t>(divideUp(pointCount, mostPoints), 1);
}

}  // namespace QuorViewer
