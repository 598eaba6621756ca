#include "ScanLoader.h"

#include "Format.h"

#include <QuorOsgUtils/FileManager.h>
#include <QuorOsgUtils/FilePtr.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <utility>

namespace QuorViewer {
namespace {

using QuorOsgUtils::FileCmd;
using QuorOsgUtils::FileManager;

std::uint64_t sizeOf(const std::string& path) {
  std::error_code gone;
  const std::uintmax_t size = std::filesystem::file_size(path, gone);
  return gone ? 0 : size;
}

// Mapped files are opened for writing as well, which is not everybody's right with every scan.
bool canBeMapped(const std::string& path) {
  return std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).is_open();
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
      _desk(std::make_shared<LoadDesk>()) {
  FileManager::getInstance()->startWorker();
}

ScanLoader::~ScanLoader() {
  for (unsigned int number = 1; number <= _loading.size(); ++number) cancel(number);
  FileManager::getInstance()->stopWorker();
}

void ScanLoader::start() {
  std::uint64_t points = 0;
  const auto firstNew = static_cast<unsigned int>(_loading.size() + 1);
  for (unsigned int number = firstNew; number <= _scans.count(); ++number) points += _scans.info(number).pointCount;
  const std::uint64_t thinning = _budget.thinningFor(points);
  for (unsigned int number = firstNew; number <= _scans.count(); ++number) _begin(number, thinning);
}

void ScanLoader::_begin(unsigned int scanNumber, std::uint64_t thinning) {
  const ScanInfo& info = _scans.info(scanNumber);
  auto scan = std::make_shared<LoadingScan>();
  _loading.push_back(scan);
  if (thinning == 0) {
    return _tellFailure(info.path + ": none of its points fits into " + inGibibytes(_budgetBytes) +
                        " beside those that show already");
  }
  scan->number = scanNumber;
  scan->origin = _scans.origin();
  scan->reader = _scans.reader(scanNumber).again();
  if (scan->reader->records() && canBeMapped(info.path)) _register(*scan);
  const std::uint64_t kept = thinnedCount(info.pointCount, thinning);
  _budget.take(kept);
  _pointsPlanned += kept;
  if (thinning > 1) _tellThinning(scanNumber, thinning);
  for (const PlannedChunk& planned : planLoad(info.pointCount, scan->reader->entryPoints(), thinning)) {
    _push(scan, planned);
  }
}

// A file that changes its size meanwhile counts as short as it ever was, since views end where the file ended when it
// was opened. Commands find a file by its name; those on scans that had the name before would now get this file, which
// may be shorter or another one, and go without.
void ScanLoader::_register(LoadingScan& scan) {
  const std::string& path = scan.reader->info().path;
  const std::uint64_t before = sizeOf(path);
  const osg::ref_ptr<QuorOsgUtils::FilePtr> file = new QuorOsgUtils::FilePtr(path.c_str());
  if (!file->isValid()) return;
  for (const std::shared_ptr<LoadingScan>& other : _loading) {
    if (other->reader && other->reader->info().path == path) other->mappedBytes = 0;
  }
  scan.mappedBytes = std::min(before, sizeOf(path));
  auto* command = new QuorOsgUtils::RegisterFile(file, FileCmd::High);
  command->setAutoDelete(true);
  FileManager::getInstance()->push(command);
}

// Ranges of values are wanted as soon as the sample shows; what the rest adds to them can wait.
void ScanLoader::_push(const std::shared_ptr<LoadingScan>& scan, const PlannedChunk& planned) {
  const auto chunk = std::make_shared<PointChunk>();
  const bool canWait = planned.turn == Turn::Later;
  auto* read = new ReadChunk(_desk, scan, planned, chunk);
  auto* measure = new MeasureChunk(_desk, scan, chunk, canWait ? FileCmd::Low : read->getPriority());
  if (!canWait) read->setNext(measure);
  _lettersDue += 2;
  if (planned.turn == Turn::First) _sampleLettersDue += 2;
  FileManager::getInstance()->push(read);
  if (canWait) FileManager::getInstance()->push(measure);
}

void ScanLoader::_tellThinning(unsigned int scanNumber, std::uint64_t thinning) {
  _thinning = std::max(_thinning, thinning);
  const ScanInfo& info = _scans.info(scanNumber);
  _listener.thinned("showing every " + ordinal(thinning) + " point of " + fileName(info.path) + ": " +
                    grouped(thinnedCount(info.pointCount, thinning)) + " of " + grouped(info.pointCount) +
                    ", to fit into " + inGibibytes(_budgetBytes));
}

void ScanLoader::_tellFailure(const std::string& error) {
  _failed = true;
  _listener.failed(error);
}

bool ScanLoader::step(std::chrono::milliseconds budget) {
  const auto end = std::chrono::steady_clock::now() + budget;
  bool any = false;
  do {
    std::optional<LoadLetter> letter = _desk->letters.take();
    if (!letter) {
      break;
    }
    any = true;
    _receive(std::move(*letter));
  } while (!_sampleEnded && std::chrono::steady_clock::now() < end);
  return any;
}

void ScanLoader::_receive(LoadLetter letter) {
  --_lettersDue;
  if (letter.ofSample && --_sampleLettersDue == 0) _sampleEnded = true;
  if (_loading.at(letter.scan - 1)->cancelled) {
    return;
  }
  if (letter.chunk && !letter.chunk->positions->empty()) {
    _pointsRead += letter.chunk->positions->size();
    _listener.loaded(letter.scan, *letter.chunk);
  }
  if (letter.summary) {
    _summary = std::move(*letter.summary);
  }
  if (!letter.error.empty()) {
    _tellFailure(letter.error);
  }
}

void ScanLoader::cancel(unsigned int scanNumber) {
  _loading.at(scanNumber - 1)->cancelled = true;
}

}  // namespace QuorViewer
