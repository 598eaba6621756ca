#include "viewer/session/ScanLoader.h"

#include "scan/platform/Platform.h"
#include "viewer/ui/Format.h"

#include <algorithm>
#include <filesystem>
#include <list>
#include <numeric>
#include <utility>
#include <vector>

namespace QuorViewer {
namespace {

using QuorOsgUtils::FileCmd;
using QuorOsgUtils::ReadOnlyFile;

std::string inGibibytes(std::uint64_t bytes) {
  constexpr double kGibibyte = 1024.0 * 1024.0 * 1024.0;
  constexpr int kDecimals = 4;
  std::string size = fixed(static_cast<double>(bytes) / kGibibyte, kDecimals);
  size.erase(size.find_last_not_of('0') + 1);
  return (size.back() == '.' ? size.substr(0, size.size() - 1) : size) + " GiB";
}

}  // namespace

ScanLoader::ScanLoader(ScanSet& scans, std::uint64_t budgetBytes, Listener listener)
    : _scans(scans),
      _budgetBytes(budgetBytes),
      _budget(budgetBytes),
      _listener(std::move(listener)),
      _context(std::make_shared<LoadContext>()) {}

ScanLoader::~ScanLoader() {
  for (const auto& [number, scan] : _loading) {
    scan->stop.requestStop();
  }
}

void ScanLoader::start(const std::function<LoadExtent(unsigned int scanNumber)>& extentOf) {
  std::vector<unsigned int> fresh = _scans.numbers();
  fresh.erase(
      std::remove_if(fresh.begin(), fresh.end(), [this](unsigned int number) { return _loading.count(number); }),
      fresh.end());
  std::map<unsigned int, LoadExtent> extents;
  std::uint64_t points = 0;
  for (const unsigned int number : fresh) {
    extents[number] = extentOf ? extentOf(number) : LoadExtent::Whole;
    points += extents[number] == LoadExtent::Whole ? _scans.info(number).pointCount : 0;
  }
  const std::uint64_t decimation = _budget.decimationFor(points, _besideWhole);
  for (const unsigned int number : fresh) {
    _begin(number, decimation, extents[number]);
  }
}

void ScanLoader::_begin(unsigned int scanNumber, std::uint64_t decimation, LoadExtent extent) {
  const ScanInfo& info = _scans.info(scanNumber);
  auto scan = std::make_shared<LoadingScan>();
  _loading[scanNumber] = scan;
  if (decimation == 0 && extent == LoadExtent::Whole) {
    scan->decimation = 0;
    return _reportFailure(scanNumber, info.path + ": none of its points fit into " + inGibibytes(_budgetBytes) +
                                          " in addition to those already shown");
  }
  scan->number = scanNumber;
  scan->origin = _scans.origin();
  try {
    scan->reader = _scans.reader(scanNumber).clone();
  } catch (const ScanError& error) {
    return _reportFailure(scanNumber, error.what());
  }
  if (extent == LoadExtent::Whole) {
    _prepare(scan, decimation);
  } else if (extent == LoadExtent::Sample) {
    _prepareSample(scan);
  }
}

// A file that cannot be opened for mapping is read through its reader.
void ScanLoader::_openIfMappable(LoadingScan& scan) {
  if (!scan.reader->records()) {
    return;
  }
  const osg::ref_ptr<ReadOnlyFile> file = new ReadOnlyFile(scan.reader->info().path);
  if (file->isValid()) {
    scan.file = file;
  }
}

// With many scans there may be memory for smaller samples only, or for none.
std::vector<PlannedChunk> ScanLoader::_planFittingSample(const ScanReader& reader) const {
  const std::uint64_t points = reader.info().pointCount;
  LoadSizes sizes;
  const std::uint64_t planned = points > 2 * sizes.sample ? sizes.sample : points;  // a small scan is its own sample
  const std::uint64_t decimation = _budget.decimationFor(planned, _besideSamples);
  if (decimation == 0) {
    return {};
  }
  if (decimation > 1) {
    sizes.sample = std::max<std::uint64_t>(std::min(sizes.sample, points / 2) / decimation, 1);
  }
  return planSample(points, reader.entryPoints(), sizes);
}

void ScanLoader::_prepareSample(const std::shared_ptr<LoadingScan>& scan) {
  _openIfMappable(*scan);
  for (const PlannedChunk& planned : _planFittingSample(*scan->reader)) {
    scan->pointsPlanned += planned.points.count;
    _push(scan, planned);
  }
  _budget.take(scan->pointsPlanned);
  _pointsPlanned += scan->pointsPlanned;
}

void ScanLoader::_prepare(const std::shared_ptr<LoadingScan>& scan, std::uint64_t decimation) {
  const ScanInfo& info = scan->reader->info();
  _openIfMappable(*scan);
  scan->decimation = decimation;
  scan->pointsPlanned = decimatedCount(info.pointCount, decimation);
  _budget.take(scan->pointsPlanned);
  _pointsPlanned += scan->pointsPlanned;
  if (decimation > 1) {
    _reportDecimation(*scan);
  }
  for (const PlannedChunk& planned : planLoad(info.pointCount, scan->reader->entryPoints(), decimation)) {
    _push(scan, planned);
  }
}

// Value ranges are needed as soon as the sample is shown; what the rest adds to them can wait.
void ScanLoader::_push(const std::shared_ptr<LoadingScan>& scan, const PlannedChunk& planned) {
  const auto chunk = std::make_shared<PointChunk>();
  const bool canWait = planned.phase == LoadPhase::Remainder;
  const auto read = std::make_shared<ReadChunk>(_context, scan, planned, chunk);
  _resultsDue += 2;
  if (planned.phase == LoadPhase::Sample) {
    _sampleResultsDue += 2;
  }
  submit(_jobs, read);
  submit(_jobs, std::make_shared<MeasureChunk>(_context, scan, chunk, canWait ? FileCmd::Low : read->priority()));
}

void ScanLoader::_reportDecimation(const LoadingScan& scan) {
  const ScanInfo& info = _scans.info(scan.number);
  _listener.decimated("showing every " + ordinal(scan.decimation) + " point of " + fileName(info.path) + ": " +
                      grouped(scan.pointsPlanned) + " of " + grouped(info.pointCount) + ", to fit into " +
                      inGibibytes(_budgetBytes));
}

void ScanLoader::_reportFailure(unsigned int scanNumber, const std::string& error) {
  _failed = true;
  _listener.failed(scanNumber, error);
}

bool ScanLoader::step(std::chrono::milliseconds budget) {
  const auto end = std::chrono::steady_clock::now() + budget;
  bool any = false;
  do {
    std::optional<LoadResult> result = _context->results.tryPop();
    if (!result) {
      break;
    }
    any = true;
    _receive(std::move(*result));
  } while (!_sampleCompleted && std::chrono::steady_clock::now() < end);
  return any;
}

void ScanLoader::_receive(LoadResult result) {
  --_resultsDue;
  if (result.ofSample && --_sampleResultsDue == 0) {
    _sampleCompleted = true;
  }
  if (result.summary) {
    _summary = std::move(*result.summary);
  }
  const auto loading = _loading.find(result.scan);
  if (loading == _loading.end() || loading->second != result.of.lock()) {
    return;
  }
  if (result.chunk && !result.chunk->positions->empty() && !loading->second->discarded) {
    _pointsRead += result.chunk->positions->size();
    loading->second->pointsRead += result.chunk->positions->size();
    _listener.loaded(result.scan, *result.chunk);
  }
  if (!result.error.empty()) {
    _reportFailure(result.scan, result.error);
  }
  if (!result.treeError.empty()) {
    _listener.treeDamaged(result.scan, result.treeError);
  }
}

void ScanLoader::measure(unsigned int scanNumber, std::unique_ptr<PointTree> tree) {
  if (!_loading.at(scanNumber)->reader) {
    return;
  }
  ++_resultsDue;
  ++_sampleResultsDue;
  submit(_jobs, std::make_shared<MeasureTree>(_context, _loading.at(scanNumber), std::move(tree)));
}

void ScanLoader::addSample(unsigned int scanNumber, const PointChunk& chunk) {
  const std::shared_ptr<LoadingScan> scan = _loading.at(scanNumber);
  if (!scan->reader) {
    return;
  }
  const std::uint64_t count = chunk.positions->size();
  scan->pointsPlanned += count;
  _pointsPlanned += count;
  _budget.take(count);
  LoadResult result;
  result.scan = scanNumber;
  result.of = scan;
  result.chunk = chunk;
  _resultsDue += 2;
  _receive(std::move(result));
  const auto measured = std::make_shared<PointChunk>(chunk);
  submit(_jobs, std::make_shared<MeasureChunk>(_context, scan, measured, FileCmd::Normal));
}

void ScanLoader::_countOut(LoadingScan& scan) {
  _pointsRead -= std::exchange(scan.pointsRead, 0);
  _pointsPlanned -= scan.pointsPlanned;
  _budget.giveBack(std::exchange(scan.pointsPlanned, 0));
}

void ScanLoader::discard(unsigned int scanNumber) {
  LoadingScan& scan = *_loading.at(scanNumber);
  _countOut(scan);
  scan.discarded = true;
}

void ScanLoader::reload(unsigned int scanNumber, LoadExtent extent) {
  close(scanNumber);
  _begin(scanNumber, _budget.decimationFor(_scans.info(scanNumber).pointCount, _besideWhole), extent);
}

void ScanLoader::close(unsigned int scanNumber) {
  const std::shared_ptr<LoadingScan> scan = _loading.at(scanNumber);
  _loading.erase(scanNumber);
  scan->stop.requestStop();
  _countOut(*scan);
  ++_resultsDue;
  // High priority, because the scan's later jobs do nothing.
  const auto result = std::make_shared<std::list<LoadResult>>(1);
  _jobs.submit(std::string(), FileCmd::High, [context = _context, scanNumber, result](QuorOsgUtils::FileJob&) {
    removeFromStatistics(*context, scanNumber, std::move(*result));
  });
}

std::uint64_t ScanLoader::decimation() const {
  return std::accumulate(
      _loading.begin(), _loading.end(), std::uint64_t{1},
      [](std::uint64_t most, const auto& loading) { return std::max(most, loading.second->decimation); });
}

}  // namespace QuorViewer
