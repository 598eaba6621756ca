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
  Planner(std::uint64_t pointCount, std::uint64_t decimation, const LoadSizes& sizes)
      : _pointCount(pointCount),
        _decimation(decimation),
        _mostPoints(std::clamp<std::uint64_t>(sizes.chunk, 1, std::max<std::uint64_t>(kMostSpan / decimation, 1))),
        _sizes(sizes) {}

  std::vector<PlannedChunk> plan(std::uint64_t entryPoints) {
    if (!_cutIntoSegments(entryPoints)) {
      _segment = _pointCount;
      _addPart(0, _segment, LoadPhase::Whole);
      return std::move(_chunks);
    }
    const std::uint64_t sampled = std::max<std::uint64_t>(_sizes.sample / _segments(), 1) * _decimation;
    _addPart(0, sampled, LoadPhase::Sample);
    _addPart(sampled, _segment - sampled, LoadPhase::Remainder);
    return std::move(_chunks);
  }

 private:
  std::uint64_t _segments() const { return divideUp(_pointCount, _segment); }

  // False if a sample would be most of the scan, or come from too few places.
  bool _cutIntoSegments(std::uint64_t entryPoints) {
    if (decimatedCount(_pointCount, _decimation) <= 2 * _sizes.sample || entryPoints > _pointCount / _decimation) {
      return false;
    }
    const std::uint64_t step = entryPoints * _decimation;
    _segment = divideUp(divideUp(_pointCount, _sizes.runs), step) * step;
    return _segments() >= _sizes.fewestRuns;
  }

  /// Adds, from each segment, the `length` points that begin `offset` after its first.
  void _addPart(std::uint64_t offset, std::uint64_t length, LoadPhase phase) {
    const std::uint64_t perRun = divideUp(length, _decimation);
    if (perRun >= _mostPoints) {
      return _addPieces(offset, length, phase);
    }
    const std::uint64_t together =
        std::min(_mostPoints / std::max<std::uint64_t>(perRun, 1), std::max<std::uint64_t>(kMostSpan / _segment, 1));
    for (std::uint64_t first = offset; first < _pointCount; first += together * _segment) {
      std::uint64_t count = 0;
      for (std::uint64_t run = 0; run < together; ++run) {
        count += _keptOf(first + run * _segment, length);
      }
      _add({first, static_cast<std::uint32_t>(count), _decimation, static_cast<std::uint32_t>(perRun), _segment},
           phase);
    }
  }

  /// The same if one segment's part is larger than a chunk.
  void _addPieces(std::uint64_t offset, std::uint64_t length, LoadPhase phase) {
    const std::uint64_t piece = _mostPoints * _decimation;
    for (std::uint64_t begin = offset; begin < _pointCount; begin += _segment) {
      for (std::uint64_t within = 0; within < length; within += piece) {
        const std::uint64_t count = _keptOf(begin + within, std::min(piece, length - within));
        _add({begin + within, static_cast<std::uint32_t>(count), _decimation}, phase);
      }
    }
  }

  void _add(const PointRange& points, LoadPhase phase) {
    if (points.count > 0) {
      _chunks.push_back({points, phase});
    }
  }

  std::uint64_t _keptOf(std::uint64_t first, std::uint64_t length) const {
    return first < _pointCount ? decimatedCount(std::min(length, _pointCount - first), _decimation) : 0;
  }

  std::uint64_t _pointCount;
  std::uint64_t _decimation;
  std::uint64_t _mostPoints;
  LoadSizes _sizes;
  std::uint64_t _segment = 0;
  std::vector<PlannedChunk> _chunks;
};

}  // namespace

std::vector<PlannedChunk> planLoad(std::uint64_t pointCount, std::uint64_t entryPoints, std::uint64_t decimation,
                                   const LoadSizes& sizes) {
  if (pointCount == 0) {
    return {};
  }
  return Planner(pointCount, std::min(decimation, pointCount), sizes).plan(entryPoints);
}

std::vector<PlannedChunk> planSample(std::uint64_t pointCount, std::uint64_t entryPoints, const LoadSizes& sizes) {
  if (pointCount > 2 * sizes.sample) {
    std::vector<PlannedChunk> plan = planLoad(pointCount, entryPoints, 1, sizes);
    const auto isNoSample = [](const PlannedChunk& chunk) { return chunk.phase != LoadPhase::Sample; };
    plan.erase(std::remove_if(plan.begin(), plan.end(), isNoSample), plan.end());
    return plan;
  }
  return planLoad(pointCount, entryPoints, 1, sizes);
}

std::uint64_t decimatedCount(std::uint64_t pointCount, std::uint64_t decimation) {
  return divideUp(pointCount, decimation);
}

std::uint64_t decimationFor(std::uint64_t pointCount, std::uint64_t mostPoints) {
  return std::max<std::uint64_t>(divideUp(pointCount, mostPoints), 1);
}

}  // namespace QuorViewer
