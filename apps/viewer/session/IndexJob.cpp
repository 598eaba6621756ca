#include "viewer/session/IndexJob.h"

#include "scan/LoadPlan.h"
#include "scan/edit/LasWriter.h"
#include "scan/index/IndexPoint.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace QuorViewer {
namespace {

constexpr std::uint64_t kBuildBytesPerPoint = 104;  // in memory; a finished index has less than an IndexPoint for each

}  // namespace

IndexJob::IndexJob(const ScanReader& scan, IndexedScan identity, const osg::Vec3d& origin, const IndexCache& cache,
                   const TreeMemory& memory)
    : _scan(scan.clone()),
      _cache(cache),
      _identity(std::move(identity)),
      _memoryBytes(std::min(memory.build, scan.info().pointCount * kBuildBytesPerPoint)) {
  const std::uint64_t points = scan.info().pointCount;
  const bool fits = points * kBuildBytesPerPoint <= memory.build && points * sizeof(IndexPoint) <= memory.held;
  if (points > kMostPointsInMemory || !fits) {
    if (cache.folder().empty()) {
      throw ScanWriteError("the system has no cache folder; give one with --index-dir");
    }
    _path = cache.pathFor(_identity);
  }
  IndexSettings settings;
  settings.memoryBytes = memory.build;
  if (planSample(points, scan.entryPoints()).empty()) {
    settings.preview = {LoadSizes().sample, origin, [this](const PointChunk& chunk) { _preview.push(chunk); }};
  }
  _tree = std::async(std::launch::async, [this, settings] { return _build(settings); });
}

IndexJob::~IndexJob() {
  cancel();
  if (_tree.valid()) {
    _tree.wait();
  }
}

std::unique_ptr<PointTree> IndexJob::_build(const IndexSettings& settings) {
  if (!_path.empty()) {
    return _cache.build(*_scan, _identity, settings, _progress);
  }
  MemoryIndex index;
  buildIndex(*_scan, _identity, index, settings, _progress);
  return std::make_unique<IndexTree>(index.bytes());
}

double IndexJob::progress() const {
  return static_cast<double>(_progress.steps) / static_cast<double>(std::max<std::uint64_t>(_progress.all, 1));
}

bool IndexJob::isDone() const {
  return _tree.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

}  // namespace QuorViewer
