#include "viewer/session/Session.h"

#include "viewer/ui/Format.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <utility>

namespace QuorViewer {
namespace {

// The terminal has all of them.
std::string asOneLine(const std::vector<std::string>& notices) {
  constexpr std::size_t kMostBytes = 160;
  std::string line = notices.front();
  for (std::size_t number = 1; number < notices.size(); ++number) {
    if (line.size() + notices[number].size() > kMostBytes) {
      return line + "; " + grouped(notices.size() - number) + " more: see the terminal";
    }
    line += "; " + notices[number];
  }
  return line;
}

constexpr unsigned int kNoScan = 0;  // scans are numbered from 1

}  // namespace

Session::Session(const std::vector<std::string>& paths, std::uint64_t memoryBytes, const TreeSettings& trees,
                 Dependencies dependencies, Listener listener)
    : _dependencies(dependencies),
      _listener(std::move(listener)),
      _memory(memoryBytes),
      _scans(paths),
      _fit(_scans, _dependencies.cloud),
      _loader(_scans, memoryBytes,
              {[this](unsigned int scan, const PointChunk& chunk) { _dependencies.cloud.add(scan, chunk); },
               [this](unsigned int scan, const std::string& error) { _reportError(scan, error); },
               [this](const std::string& note) { _dependencies.messages.print(note); },
               [this](unsigned int scan, const std::string& error) { replaceDamaged(scan, error); }}),
      _trees(trees),
      _pathEntry(new ScanEntry(_dependencies.hud, [this](const std::string& path) { add(path); })) {
  _reportUnopened(paths.size());
}

// What the file manager's worker still does for trees must not delay the end.
Session::~Session() {
  _dependencies.detail.cancelReads();
}

void Session::start() {
  std::map<unsigned int, std::pair<LoadExtent, std::unique_ptr<PointTree>>> opened;
  _shareMemory();
  _loader.start([&](unsigned int scan) {
    auto& [extent, tree] = opened[scan];
    extent = _openTree(scan, tree);
    if (extent != LoadExtent::Whole) {
      _reserveBesideWhole();
    }
    return extent;
  });
  for (auto& [scan, tree] : opened) {
    _showOrBuildTree(scan, tree.first, std::move(tree.second));
  }
  _reportMisfits(_fit.checkOpened());
}

void Session::_showOrBuildTree(unsigned int scan, LoadExtent extent, std::unique_ptr<PointTree> tree) {
  if (tree) {
    _loader.measure(scan, tree->clone());
    _dependencies.detail.open(scan, std::move(tree), _scans.origin());
  } else if (extent == LoadExtent::Sample) {
    _shareMemory();
    _trees.build(scan, _scans.reader(scan), _scans.origin());
  }
}

void Session::_shareMemory() {
  const std::uint64_t whole = _wholeBytes();
  const std::uint64_t held = _dependencies.detail.heldBytes();
  const std::uint64_t build = _trees.buildBytes();
  _trees.setMemory({_memory.forBuild(whole, held), _memory.forIndex(whole, held)});
  _dependencies.detail.setMemory(_memory.forNodes(whole + held + build));
  if (_drawsTrees()) {
    _reserveBesideWhole();
  } else {
    _loader.setReserved(0, 0);
  }
}

void Session::_reserveBesideWhole() {
  const std::uint64_t held = _dependencies.detail.heldBytes();
  _loader.setReserved(_memory.besideWhole(held, _trees.buildBytes()), _memory.besideSamples(held));
}

bool Session::_drawsTrees() const {
  const std::vector<unsigned int> scans = _scans.numbers();
  return std::any_of(scans.begin(), scans.end(), [this](unsigned int scan) {
    return _dependencies.detail.isOpen(scan) || _trees.isBuilding(scan);
  });
}

LoadExtent Session::_openTree(unsigned int scan, std::unique_ptr<PointTree>& tree, bool printsNote) {
  const ScanInfo& info = _scans.info(scan);
  if (!_trees.wants(scan, info) || !_memory.allowsTrees(_wholeBytes())) {
    return LoadExtent::Whole;
  }
  try {
    ScanTrees::Opened opened = _trees.open(scan, info);
    if (printsNote && !opened.note.empty()) {
      _dependencies.messages.print(opened.note);
    }
    tree = std::move(opened.tree);
    return tree ? LoadExtent::Nothing : LoadExtent::Sample;
  } catch (const std::exception& error) {
    _reportError(scan, std::string(error.what()) + "; all points are loaded instead");
  }
  return LoadExtent::Whole;
}

// Without a moment in which neither the sample nor the tree is on screen: the sample stays until the tree shows as much
// as the view needs.
bool Session::_takeBuiltTrees() {
  if (_areScansInUse()) {
    return false;
  }
  std::optional<ScanTrees::Built> built = _trees.pollBuilt();
  if (!built) {
    return false;
  }
  const std::string change = _trees.changeOf(built->scan);
  if (!change.empty()) {
    noteChange(built->scan, change);
  } else if (built->tree) {
    _replaced[built->scan] = {_dependencies.cloud.release(built->scan), _loader.pointsReadOf(built->scan)};
    _loader.measure(built->scan, built->tree->clone());
    _loader.discard(built->scan);
    _pointsShown = _loader.pointsRead();
    _dependencies.detail.open(built->scan, std::move(built->tree), _scans.origin());
    _dependencies.viewer.requestRedraw();
    if (!built->text.empty()) {
      _dependencies.messages.print("index written to " + built->text);
    }
  } else {
    _reportError(built->scan, built->text + "; all points are loaded instead");
    _loadWhole(built->scan);
  }
  return true;
}

bool Session::_takePreview() {
  const std::optional<PointChunk> chunk = _trees.takePreview();
  if (chunk) {
    _loader.addSample(*_trees.current(), *chunk);
  }
  return chunk.has_value();
}

void Session::_loadWhole(unsigned int scan) {
  _replaced[scan] = {_dependencies.cloud.release(scan), _loader.pointsReadOf(scan)};
  _shareMemory();
  _loader.reload(scan);
  _loaded = false;
}

bool Session::_isReplaced(unsigned int scan, std::uint64_t points) const {
  return _dependencies.detail.isOpen(scan) ? _dependencies.detail.isComplete()
                                           : _loader.finished() || _loader.pointsReadOf(scan) >= points;
}

void Session::_removeReplaced() {
  for (auto replaced = _replaced.begin(); replaced != _replaced.end();) {
    const auto& [scan, before] = *replaced;
    if (!_isReplaced(scan, before.count)) {
      ++replaced;
      continue;
    }
    _listener.pointsReplaced(before.points);
    replaced = _replaced.erase(replaced);
  }
}

// The file may still be written, so it is looked at again after the interval.
void Session::noteChange(unsigned int scan, const std::string& change) {
  if (_changes.emplace(scan, change).second) {
    _filesSeen = std::chrono::steady_clock::now();
  }
}

// A change is noticed even if no node is read any more. A file that is still being written is left until it stays the
// same.
void Session::_watchFiles() {
  constexpr std::chrono::seconds kInterval(1);
  const auto now = std::chrono::steady_clock::now();
  if (now - _filesSeen < kInterval) {
    return;
  }
  _filesSeen = now;
  std::map<unsigned int, std::string> changes;
  for (const unsigned int scan : _scans.numbers()) {
    std::string change = _trees.changeOf(scan);
    if (!change.empty() && _changes[scan] == change) {
      replaceDamaged(scan, change);
    } else if (!change.empty()) {
      changes[scan] = std::move(change);
    }
  }
  _changes = std::move(changes);
}

bool Session::_areScansInUse() const {
  return _listener.areScansInUse && _listener.areScansInUse();
}

void Session::_replaceDamagedTrees() {
  if (_areScansInUse()) {
    return;
  }
  for (const auto& [scan, error] : std::exchange(_damaged, {})) {
    if (_scans.isOpen(scan) && (_dependencies.detail.isOpen(scan) || !_trees.changeOf(scan).empty())) {
      _replaceTree(scan, error);
    }
  }
}

void Session::_replaceTree(unsigned int scan, const std::string& error) {
  _trees.cancel(scan);
  _dropTree(scan);
  const bool hasChanged = !_trees.changeOf(scan).empty();
  // An index that does not fit the changed scan is not used anyway, and there may already be one that does.
  const bool wasIndex = hasChanged || _trees.refuse(scan, _scans.info(scan));
  if (!hasChanged || _reopen(scan, error)) {
    _reload(scan, error, wasIndex, hasChanged);
  }
}

void Session::_dropTree(unsigned int scan) {
  _dropReplaced(scan);
  if (_dependencies.detail.isOpen(scan)) {
    _dependencies.detail.close(scan).wait();  // Windows does not remove a file that is open
  }
  _listener.pointsReplaced(_dependencies.cloud.release(scan));
}

void Session::_dropReplaced(unsigned int scan) {
  const auto replaced = _replaced.find(scan);
  if (replaced != _replaced.end()) {
    _listener.pointsReplaced(replaced->second.points);
    _replaced.erase(replaced);
  }
}

bool Session::_reopen(unsigned int scan, const std::string& change) {
  try {
    _scans.reopen(scan);
    _trees.forget(scan);
    _trees.watch(scan, _scans.info(scan));
    return true;
  } catch (const ScanError& error) {
    close(scan);
    _reportError(kNoScan, change + "; the scan is closed: " + error.what());
  }
  return false;
}

void Session::_reload(unsigned int scan, const std::string& error, bool wasIndex, bool hasChanged) {
  std::unique_ptr<PointTree> tree;
  const bool mayRebuild = hasChanged || _rebuilt.insert(scan).second;
  const LoadExtent extent = mayRebuild ? _openTree(scan, tree, false) : LoadExtent::Whole;
  const std::string built = wasIndex ? "; the index is built again" : "; an index is built instead";
  _reportError(scan, error + (extent == LoadExtent::Whole ? "; all points are loaded instead"
                              : tree                      ? "; its index is used instead"
                                                          : built));
  _shareMemory();
  _loader.reload(scan, extent);
  _showOrBuildTree(scan, extent, std::move(tree));
  _loaded = false;
  _dependencies.viewer.requestRedraw();
}

std::string Session::indexedScan() const {
  const std::optional<unsigned int> scan = _trees.current();
  return scan ? fileName(_scans.info(*scan).path) : std::string();
}

bool Session::cancelIndex() {
  const std::optional<unsigned int> scan = _trees.current();
  if (!scan) {
    return false;
  }
  _trees.cancel(*scan);
  _loadWhole(*scan);
  const std::uint64_t decimation = _loader.decimationOf(*scan);
  const std::string instead = decimation == 0  ? "there is no memory to load its points"
                              : decimation > 1 ? "every " + ordinal(decimation) + " point is loaded instead"
                                               : "all points are loaded instead";
  const std::string text = "Index of " + fileName(_scans.info(*scan).path) + " cancelled; " + instead;
  _dependencies.messages.print(text);
  _dependencies.messages.show(text);
  return true;
}

bool Session::_receiveNodes() {
  _shareMemory();
  const bool any = _dependencies.detail.receive();
  const bool freesMemory = _dependencies.detail.readAhead();
  if (any || freesMemory || _dependencies.detail.mayRefine()) {
    _dependencies.viewer.requestRedraw();
  }
  _removeReplaced();
  return any;
}

bool Session::loadNextChunks(std::chrono::milliseconds budget, const std::function<bool()>& mayShowProgress) {
  const bool anyNodes = _receiveNodes();
  _watchFiles();
  _replaceDamagedTrees();
  _trees.forgetEnded();
  if (_loaded && _loader.finished()) {
    return anyNodes;
  }
  const bool anyArrived = _loader.step(budget) || _takePreview() || _takeBuiltTrees() || anyNodes;
  if (anyArrived) {
    _listener.pointsAdded();
  }
  if (_loaded) {  // a scan was closed since: an updated summary of the rest is due
    if (_loader.finished()) {
      _dependencies.viewer.requestRedraw();
    }
  } else if (_isFinished()) {
    _finishLoading();
  } else if (_loader.pollSampleCompleted() || (_progressDue() && mayShowProgress())) {
    _showProgress();
  }
  return anyArrived;
}

void Session::add(const std::string& path) {
  try {
    _scans.add(path);
    _dependencies.messages.print("adding " + path);
    _dependencies.messages.clearStanding(Standing::NoScan);
    _loaded = false;
    start();
    _listener.scanAdded();
  } catch (const ScanError& error) {
    _dependencies.messages.reportError(error.what());
  }
}

void Session::close(unsigned int scan) {
  const std::string name = fileName(_scans.info(scan).path);
  _loader.close(scan);
  _trees.cancel(scan);
  _trees.forget(scan);
  _dropReplaced(scan);
  if (_dependencies.detail.isOpen(scan)) {
    _dependencies.detail.close(scan);
  }
  const osg::ref_ptr<osg::Node> points = _dependencies.cloud.release(scan);
  _scans.close(scan);
  _listener.scanClosed(points);
  _dependencies.messages.print("closed " + name);
  _dependencies.messages.show(name + " is closed");
  if (_scans.isEmpty()) {
    _dependencies.messages.setStanding(Standing::NoScan, "No scan is open; press A to add one");
  }
}

bool Session::_progressDue() const {
  constexpr double kStep = 0.005;
  return _loader.pointsRead() != _pointsShown ||
         (_trees.current() && std::abs(_trees.progress() - _indexShown) >= kStep);
}

void Session::updateIndexProgress() {
  constexpr double kPercent = 100.0;
  if (!_loader.finished() || !_trees.current()) {
    return;
  }
  _indexShown = _trees.progress();
  _dependencies.hud.setProgress(_indexShown);
  _dependencies.messages.setStanding(
      Standing::Loading,
      "Indexing " + indexedScan() + ": " + fixed(kPercent * _indexShown, 0) + " %; press Esc to cancel");
}

void Session::_showProgress() {
  _pointsShown = _loader.pointsRead();
  if (_loader.finished() && _trees.current()) {
    _dependencies.viewer.requestRedraw();
    return updateIndexProgress();
  }
  const std::uint64_t total = std::max<std::uint64_t>(_loader.pointsPlanned(), 1);
  _dependencies.hud.setProgress(static_cast<double>(_pointsShown) / static_cast<double>(total));
  _dependencies.messages.setStanding(Standing::Loading,
                                     "Loading " + grouped(_pointsShown) + " of " + grouped(total) + " points");
  _terminalProgress.show(_pointsShown, total);
  _dependencies.viewer.requestRedraw();
}

void Session::_finishLoading() {
  _loaded = true;
  _listener.pointsLoaded();
  _dependencies.hud.setProgress(1.0);
  _dependencies.messages.clearStanding(Standing::Loading);
  _terminalProgress.clear();
  _logNewScans();
  _reportMisfits(_fit.checkLoaded());
  if (!_scans.isEmpty()) {
    _dependencies.messages.print("loaded " + std::to_string(_pointsReachable()) + " points");
  }
  _showFinalMessage();
  _dependencies.viewer.requestRedraw();
}

void Session::_showFinalMessage() {
  _showNotices();
  _notices.clear();
  if (!_scans.isEmpty() && !std::exchange(_hintShown, true)) {
    _dependencies.messages.setStanding(Standing::Hint, "Click a point to see its coordinates; H shows the help");
  }
}

// The extent of a scan is known once its points have been loaded.
void Session::_logNewScans() {
  for (const unsigned int number : _scans.numbers()) {
    if (number > _latestScanLogged) {
      _latestScanLogged = number;
      _logScan(number);
    }
  }
}

void Session::_logScan(unsigned int scan) {
  constexpr int kDecimals = 3;
  const ScanInfo& info = _scans.info(scan);
  const osg::BoundingBox bounds = _dependencies.cloud.boundsOf(scan);
  const std::string extent = bounds.valid() ? ", from " + coordinates(_scans.origin() + bounds._min, kDecimals) +
                                                  " to " + coordinates(_scans.origin() + bounds._max, kDecimals)
                                            : std::string();
  const std::string system = info.coordinateSystem.text();
  _dependencies.messages.log(info.path + ": " + info.format + ", " + grouped(info.pointCount) + " points" + extent +
                             (system.empty() ? "" : ", " + system));
  if (info.localOnly) {
    printError(info.path + ": " + info.format +
               " stores single-precision coordinates; large (georeferenced) coordinates lose accuracy");
  }
}

// Those on scans that have been closed since are left out.
void Session::_showNotices() {
  std::vector<std::string> texts;
  for (const auto& [scan, text] : _notices) {
    if (scan == kNoScan || _scans.isOpen(scan)) {
      texts.push_back(text);
    }
  }
  if (!texts.empty()) {
    _dependencies.messages.showResult(asOneLine(texts));
  }
}

void Session::_reportError(unsigned int scan, const std::string& error) {
  _dependencies.messages.reportError(error);
  if (!_loaded) {
    _notices.push_back({scan, error});
  }
}

void Session::_reportUnopened(std::size_t scanCount) {
  const std::vector<OpenFailure>& failures = _scans.failures();
  if (!failures.empty()) {
    printError(linesOf(failures));
    _notices.push_back({kNoScan, summaryOf(failures, scanCount)});
    _showNotices();
  }
}

void Session::_reportMisfits(const std::vector<FitReport>& reports) {
  for (const FitReport& report : reports) {
    _dependencies.messages.print(report.text);
    _notices.push_back({report.scan, report.text});
    if (report.isFar) {
      _listener.scanIsFar(report.scan);
    }
  }
  if (!reports.empty()) {
    _showNotices();
  }
}

std::string Session::title() const {
  std::string title = "quor_viewer";
  const char* before = ": ";
  for (const unsigned int number : _scans.numbers()) {
    title += std::exchange(before, ", ") + fileName(_scans.info(number).path);
  }
  return title;
}

std::uint64_t Session::_pointsReachable() const {
  std::uint64_t points = _loader.pointsRead();
  for (const unsigned int scan : _scans.numbers()) {
    if (_dependencies.detail.isOpen(scan)) {
      points += _scans.info(scan).pointCount;
    } else if (_trees.isBuilding(scan)) {
      points += _scans.info(scan).pointCount - _loader.pointsReadOf(scan);
    }
  }
  return points;
}

std::string Session::pointCountText() const {
  const std::string decimated = _loader.decimation() > 1 ? ", every " + ordinal(_loader.decimation()) : std::string();
  const LevelOfDetail& detail = _dependencies.detail;
  const std::uint64_t whole = _loader.pointsRead();
  const std::uint64_t all = _pointsReachable();
  const std::string loaded = ", " + grouped(whole + detail.loadedPoints()) + " loaded";
  const std::string parts = detail.isEmpty() && whole == all ? std::string()
                                                             : grouped(whole + detail.drawnPoints()) + " drawn" +
                                                                   (detail.isEmpty() ? "" : loaded) + " of ";
  return parts + grouped(all) + (all == 1 ? " point" : " points") + decimated;
}

}  // namespace QuorViewer
