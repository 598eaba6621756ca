#include "scan/index/IndexBuilder.h"

#include "scan/index/ChunkPlan.h"
#include "scan/index/GridPoints.h"
#include "scan/index/NodeWriter.h"
#include "scan/index/PointBuckets.h"
#include "scan/index/PreviewPoints.h"
#include "scan/index/SubtreeBuilder.h"
#include "scan/index/Workers.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <thread>
#include <utility>
#include <vector>

namespace QuorViewer {
namespace {

// One level of buckets divides a cube into 2^5 along each axis.
constexpr std::uint32_t kBucketLevels = 5;
constexpr std::uint64_t kMostAtOnePlace = 4000000;
constexpr std::uint64_t kSamplePoints = 50000;
constexpr std::uint64_t kBlockPoints = std::uint64_t{1} << 17;
constexpr std::uint64_t kFewestChunkPoints = 4 * SubtreeBuilder::kLeafPoints;
constexpr std::uint64_t kMostChunkPoints = std::uint64_t{1} << 23;

/// One build.
class Build {
 public:
  Build(const ScanReader& scan, IndexSink& sink, const IndexSettings& settings, IndexProgress& progress)
      : _scan(scan),
        _sink(sink),
        _progress(progress),
        _temporaryPath(settings.temporaryPath),
        _preview(settings.preview),
        _bucketBytes(settings.memoryBytes / 8),
        _threads(settings.threads > 0 ? settings.threads : std::max(1U, std::thread::hardware_concurrency())),
        _chunkPoints(std::clamp(settings.memoryBytes / 2 / _threads / SubtreeBuilder::kBytesPerPoint,
                                kFewestChunkPoints, kMostChunkPoints)) {}

  void run(const IndexedScan& identity) {
    const ScanInfo& info = _scan.info();
    _progress.all = 2 * std::max<std::uint64_t>(info.pointCount, 1);
    osg::BoundingBoxd bounds = info.bounds;
    if (!bounds.valid()) {
      _distribute(_findBounds(), bounds);
    } else if (!_distribute(bounds, bounds) || _isTooCoarseFor(bounds)) {
      _progress.steps = 0;
      const osg::BoundingBoxd actual = bounds;
      _distribute(actual, bounds);
    }
    _splitLargeBuckets();
    _buildChunks(identity);
    _progress.steps = _progress.all.load();
  }

 private:
  using Visit = std::function<void(const GridPoints& points)>;

  /// Reads the scan on all threads. `visit` is called for each block, on any of them. The first time, the points are
  /// also shown as a preview.
  osg::BoundingBoxd _readAll(const Visit& visit, bool& anyOutside);
  osg::BoundingBoxd _findBounds();
  /// Sorts the points into buckets. False if some are outside of `expected`; `actual` gets the bounds of all points.
  bool _distribute(const osg::BoundingBoxd& expected, osg::BoundingBoxd& actual);
  /// Whether stated bounds that are far too large have enlarged the steps of the grid.
  bool _isTooCoarseFor(const osg::BoundingBoxd& actual) const {
    return actual.valid() && IndexGrid::around(_scan.info(), actual).step() != _grid.step();
  }
  void _addToSample(const std::vector<IndexPoint>& points);
  void _append(std::uint32_t level, const std::vector<IndexPoint>& points);
  void _splitLargeBuckets();
  void _requireDivisible() const;
  void _buildChunks(const IndexedScan& identity);
  void _buildChunk(const ChunkPlan& plan, const Chunk& chunk, NodeWriter& writer);
  void _advance(std::uint64_t steps) {
    _progress.steps += steps;
    if (_progress.cancelled) {
      throw IndexCancelled();
    }
  }

  const ScanReader& _scan;
  IndexSink& _sink;
  IndexProgress& _progress;
  std::string _temporaryPath;
  IndexPreview _preview;  // of what is still to be read for the first time
  std::uint64_t _bucketBytes;
  unsigned _threads;
  std::uint64_t _chunkPoints;
  IndexGrid _grid;
  std::unique_ptr<PointBuckets> _buckets;
  std::mutex _sampleMutex;
  std::vector<IndexPoint> _sample;  // every n-th record
};

osg::BoundingBoxd Build::_readAll(const Visit& visit, bool& anyOutside) {
  const std::uint64_t count = _scan.info().pointCount;
  const std::uint64_t entry = std::max<std::uint64_t>(_scan.entryPoints(), 1);
  const std::uint64_t block = std::max<std::uint64_t>((kBlockPoints + entry - 1) / entry, 1) * entry;
  std::vector<std::unique_ptr<ScanReader>> readers;
  for (unsigned thread = 0; thread < _threads; ++thread) {
    readers.push_back(_scan.clone());
  }
  std::mutex mutex;
  osg::BoundingBoxd bounds;
  forEachOnThreads(_threads, (count + block - 1) / block, [&](unsigned thread, std::uint64_t number) {
    GridPoints points(_scan, _grid);
    PreviewPoints preview(_scan, _preview, number * block, points);
    PointSink& to = _preview.show ? static_cast<PointSink&>(preview) : points;
    const std::uint64_t end = std::min((number + 1) * block, count);
    for (std::uint64_t first = number * block; first < end;) {  // a block may be the whole scan
      const auto length = static_cast<std::uint32_t>(std::min(kBlockPoints, end - first));
      points.startAt(first, length);
      readers[thread]->decode({first, 1, length}, to);
      visit(points);
      _advance(length);
      first += length;
    }
    preview.flush();
    const std::lock_guard<std::mutex> lock(mutex);
    bounds.expandBy(points.bounds());
    anyOutside = anyOutside || points.anyOutside();
  });
  _preview.show = nullptr;
  return bounds;
}

osg::BoundingBoxd Build::_findBounds() {
  _progress.all += _scan.info().pointCount;
  bool ignored = false;
  return _readAll([](const GridPoints&) {}, ignored);
}

bool Build::_distribute(const osg::BoundingBoxd& expected, osg::BoundingBoxd& actual) {
  _grid = IndexGrid::around(_scan.info(), expected.valid() ? expected : osg::BoundingBoxd(0, 0, 0, 0, 0, 0));
  _buckets = std::make_unique<PointBuckets>(_temporaryPath, _bucketBytes);
  _sample.clear();
  bool anyOutside = false;
  actual = _readAll(
      [this](const GridPoints& points) {
        _addToSample(points.points());
        _append(kBucketLevels, points.points());
      },
      anyOutside);
  return !anyOutside;
}

void Build::_addToSample(const std::vector<IndexPoint>& points) {
  constexpr std::uint64_t kLeastStep = 16;
  const auto step = static_cast<std::uint32_t>(std::max(_scan.info().pointCount / kSamplePoints, kLeastStep));
  const std::lock_guard<std::mutex> lock(_sampleMutex);
  std::copy_if(points.begin(), points.end(), std::back_inserter(_sample),
               [step](const IndexPoint& point) { return point.record % step == 0; });
}

// A counting sort: all points lie in one cube, which the buckets divide.
void Build::_append(std::uint32_t level, const std::vector<IndexPoint>& points) {
  constexpr std::uint32_t kMask = (1U << kBucketLevels) - 1U;
  const auto placeOf = [&](const IndexPoint& point) { return _grid.placeOf(point.grid); };
  const auto codeOf = [&](const IndexPoint& point) {
    const NodeKey key = IndexGrid::nodeAt(level, placeOf(point));
    return (key.x & kMask) | (key.y & kMask) << kBucketLevels | (key.z & kMask) << 2 * kBucketLevels;
  };
  std::vector<std::uint32_t> codes(points.size());
  std::vector<std::size_t> ends(std::size_t{1} << 3 * kBucketLevels, 0);
  std::transform(points.begin(), points.end(), codes.begin(), codeOf);
  for (const std::uint32_t code : codes) {
    ++ends[code];
  }
  std::partial_sum(ends.begin(), ends.end(), ends.begin());
  std::vector<IndexPoint> sorted(points.size());
  for (std::size_t i = points.size(); i-- > 0;) {
    sorted[--ends[codes[i]]] = points[i];
  }
  for (std::size_t begin = 0; begin < sorted.size();) {
    const std::uint32_t code = codeOf(sorted[begin]);
    const std::size_t end = code + 1 < ends.size() ? ends[code + 1] : sorted.size();
    _buckets->append(IndexGrid::nodeAt(level, placeOf(sorted[begin])), sorted.data() + begin, end - begin);
    begin = end;
  }
}

void Build::_splitLargeBuckets() {
  for (std::uint32_t level = kBucketLevels; level < IndexGrid::kDeepestLevel; level += kBucketLevels) {
    for (const auto& [key, count] : _buckets->counts()) {
      if (key.level == level && count > _chunkPoints) {
        _buckets->drain(key, [&, level = level](const std::vector<IndexPoint>& block) {
          _append(level + kBucketLevels, block);
          _advance(0);
        });
      }
    }
  }
  _requireDivisible();
}

// The deepest buckets are smaller than a step of nearly any grid.
void Build::_requireDivisible() const {
  const std::uint64_t most = std::max(_chunkPoints, kMostAtOnePlace);
  for (const auto& [key, count] : _buckets->counts()) {
    if (count > most) {
      throw ScanError(_scan.info().path + ": " + std::to_string(count) +
                      " points at one place; an index holds at most " + std::to_string(most) + " there");
    }
  }
}

void Build::_buildChunks(const IndexedScan& identity) {
  const ChunkPlan plan(_buckets->counts(), _chunkPoints);
  NodeWriter writer(_sink, _grid, plan.keys());
  forEachOnThreads(_threads, plan.chunks().size(), [&](unsigned, std::uint64_t number) {
    const Chunk& chunk = plan.chunks()[static_cast<std::size_t>(number)];
    _buildChunk(plan, chunk, writer);
    _advance(chunk.points);
  });
  writer.finish(identity, _scan.info().hasColour, std::move(_sample));
}

void Build::_buildChunk(const ChunkPlan& plan, const Chunk& chunk, NodeWriter& writer) {
  std::vector<IndexPoint> points;
  points.reserve(static_cast<std::size_t>(chunk.points));
  for (const NodeKey& bucket : chunk.buckets) {
    const std::vector<IndexPoint> part = _buckets->take(bucket);
    points.insert(points.end(), part.begin(), part.end());
  }
  SubtreeBuilder builder(_grid, chunk.key, [&](const NodeKey& key, std::vector<IndexPoint> ofNode) {
    writer.add(key, std::move(ofNode));
    _advance(0);
  });
  builder.build(std::move(points), [&](const NodeKey& ancestor) { return plan.mayGive(chunk.key, ancestor); });
  writer.completeChunk(chunk.key);
}

}  // namespace

void buildIndex(const ScanReader& scan, const IndexedScan& identity, IndexSink& sink, const IndexSettings& settings,
                IndexProgress& progress) {
  if (scan.info().pointCount > kMostIndexedRecords) {
    throw ScanError(scan.info().path + ": the scan has " + std::to_string(scan.info().pointCount) +
                    " records; an index holds at most " + std::to_string(kMostIndexedRecords));
  }
  Build(scan, sink, settings, progress).run(identity);
}

}  // namespace QuorViewer
