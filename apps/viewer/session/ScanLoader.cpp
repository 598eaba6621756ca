#include "viewer/session/ScanLoader.h"

#include "scan/platform/Platform.h"
#include "viewer/ui/Format.h"

#include <QuorOsgUtils/FileManager.h>
#include <QuorOsgUtils/FilePtr.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <utility>
#include <vector>

namespace QuorViewer {
namespace {

using QuorOsgUtils::FileCmd;
using QuorOsgUtils::FileManager;

std::uint64_t sizeOf(const std::string& path) {
  std::error_code gone;
  const std::uintmax_t size = std::filesystem::file_size(toPath(path), gone);
  return gone ? 0 : size;
}

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
      _context(std::make_shared<LoadContext>()) {
  FileManager::getInstance()->startWorker();
}

ScanLoader::~ScanLoader() {
  for (const auto& [number, scan] : _loading) {
    scan->cancelled = true;
  }
  FileManager::getInstance()->stopWorker();
}

void ScanLoader::start() {
  std::vector<unsigned int> fresh = _scans.numbers();
  fresh.erase(
      std::remove_if(fresh.begin(), fresh.end(), [this](unsigned int number) { return _loading.count(number); }),
      fresh.end());
  std::uint64_t points = 0;
  for (const unsigned int number : fresh) {
    points += _scans.info(number).pointCount;
  }
  const std::uint64_t decimation = _budget.decimationFor(points);
  for (const unsigned int number : fresh) {
    _begin(number, decimation);
  }
}

void ScanLoader::_begin(unsigned int scanNumber, std::uint64_t decimation) {
  const ScanInfo& info = _scans.info(scanNumber);
  auto scan = std::make_shared<LoadingScan>();
  _loading[scanNumber] = scan;
  if (decimation == 0) {
    return _reportFailure(info.path + ": none of its points fit into " + inGibibytes(_budgetBytes) +
                          " in addition to those already shown");
  }
  scan->number = scanNumber;
  scan->origin = _scans.origin();
  scan->reader = _scans.reader(scanNumber).clone();
  // Mapping opens the file for writing too, and the file may be read-only.
  if (scan->reader->records() && isWritable(info.path)) {
    _register(*scan);
  }
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

// If the file changes its size meanwhile, the smaller size counts, because views end where the file ended when it was
// opened. Commands find a file by its name; those on earlier scans with this name would now get this file, which may be
// shorter or a different one, so these scans are read without mapping.
void ScanLoader::_register(LoadingScan& scan) {
  const std::string& path = scan.reader->info().path;
  const std::uint64_t before = sizeOf(path);
  const osg::ref_ptr<QuorOsgUtils::FilePtr> file = new QuorOsgUtils::FilePtr(path.c_str());
  if (!file->isValid()) {
    return;
  }
  for (const auto& [number, other] : _loading) {
    if (other->reader && other->reader->info().path == path) {
      other->mappedBytes = 0;
    }
  }
  scan.mappedBytes = std::min(before, sizeOf(path));
  auto* command = new QuorOsgUtils::RegisterFile(file, FileCmd::High);
  command->setAutoDelete(true);
  FileManager::getInstance()->push(command);
}

// Value ranges are needed as soon as the sample is shown; what the rest adds to them can wait.
void ScanLoader::_push(const std::shared_ptr<LoadingScan>& scan, const PlannedChunk& planned) {
  const auto chunk = std::make_shared<PointChunk>();
  const bool canWait = planned.phase == LoadPhase::Remainder;
  auto* read = new ReadChunk(_context, scan, planned, chunk);
  auto* measure = new MeasureChunk(_context, scan, chunk, canWait ? FileCmd::Low : read->getPriority());
  if (!canWait) {
    read->setNext(measure);
  }
  _resultsDue += 2;
  if (planned.phase == LoadPhase::Sample) {
    _sampleResultsDue += 2;
  }
  FileManager::getInstance()->push(read);
  if (canWait) {
    FileManager::getInstance()->push(measure);
  }
}

void ScanLoader::_reportDecimation(const LoadingScan& scan) {
  const ScanInfo& info = _scans.info(scan.number);
  _listener.decimated("showing every " + ordinal(scan.decimation) + " point of " + fileName(info.path) + ": " +
                      grouped(scan.pointsPlanned) + " of " + grouped(info.pointCount) + ", to fit into " +
                      inGibibytes(_budgetBytes));
}

void ScanLoader::_reportFailure(const std::string& error) {
  _failed = true;
  _listener.failed(error);
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
  if (loading == _loading.end()) {
    return;
  }
  if (result.chunk && !result.chunk->positions->empty()) {
    _pointsRead += result.chunk->positions->size();
    loading->second->pointsRead += result.chunk->positions->size();
    _listener.loaded(result.scan, *result.chunk);
  }
  if (!result.error.empty()) {
    _reportFailure(result.error);
  }
}

void ScanLoader::close(unsigned int scanNumber) {
  const std::shared_ptr<LoadingScan> scan = _loading.at(scanNumber);
  _loading.erase(scanNumber);
  scan->cancelled = true;
  _pointsRead -= scan->pointsRead;
  _pointsPlanned -= scan->pointsPlanned;
  _budget.giveBack(scan->pointsPlanned);

  const std::string& path = _scans.info(scanNumber).path;
  auto* removal = new RemoveFromStatistics(_context, path, scanNumber);
  if (scan->mappedBytes > 0) {
    auto* closeFile = new QuorOsgUtils::CloseFile(path, FileCmd::High);
    closeFile->setAutoDelete(true);
    removal->setNext(closeFile);
  }
  ++_resultsDue;
  FileManager::getInstance()->push(removal);
}

std::uint64_t ScanLoader::decimation() const {
  return std::accumulate(
      _loading.begin(), _loading.end(), std::uint64_t{1},
      [](std::uint64_t most, const auto& loading) { return std::max(most, loading.second->decimation); });
}

}  // namespace QuorViewer
