#include "viewer/session/Session.h"

#include "viewer/ui/Format.h"

#include <algorithm>
#include <utility>

namespace QuorViewer {

Session::Session(const std::vector<std::string>& paths, std::uint64_t memoryBytes, Dependencies dependencies,
                 Listener listener)
    : _dependencies(dependencies),
      _listener(std::move(listener)),
      _scans(paths),
      _loader(_scans, memoryBytes,
              {[this](unsigned int scan, const PointChunk& chunk) { _dependencies.cloud.add(scan, chunk); },
               [this](const std::string& error) { _reportError(error); },
               [this](const std::string& note) { _dependencies.messages.print(note); }}),
      _pathEntry(new ScanEntry(_dependencies.hud, [this](const std::string& path) { add(path); })) {}

bool Session::loadNextChunks(std::chrono::milliseconds budget, const std::function<bool()>& mayShowProgress) {
  if (_loaded && _loader.finished()) {
    return false;
  }
  const bool anyArrived = _loader.step(budget);
  if (anyArrived) {
    _listener.pointsAdded();
  }
  if (_loaded) {  // a scan was closed since: an updated summary of the rest is due
    if (_loader.finished()) {
      _dependencies.viewer.requestRedraw();
    }
  } else if (_loader.finished()) {
    _finishLoading();
  } else if (_loader.pollSampleCompleted() || (_loader.pointsRead() != _pointsShown && mayShowProgress())) {
    _showProgress();
  }
  return anyArrived;
}

void Session::add(const std::string& path) {
  try {
    _scans.add(path);
    _dependencies.messages.print("adding " + path);
    _loader.start();
    _loaded = false;
    _listener.scanAdded();
  } catch (const ScanError& error) {
    _reportError(error.what());
  }
}

void Session::close(unsigned int scan) {
  const std::string name = fileName(_scans.info(scan).path);
  _loader.close(scan);
  const osg::ref_ptr<osg::Node> points = _dependencies.cloud.release(scan);
  _scans.close(scan);
  _listener.scanClosed(points);
  _dependencies.messages.print("closed " + name);
  _dependencies.messages.show(name + (_scans.isEmpty() ? " is closed; press A to add a scan" : " is closed"));
}

void Session::_showProgress() {
  _pointsShown = _loader.pointsRead();
  const std::uint64_t total = std::max<std::uint64_t>(_loader.pointsPlanned(), 1);
  _dependencies.hud.setProgress(static_cast<double>(_pointsShown) / static_cast<double>(total));
  if (!_pathEntry->isOpen()) {
    _dependencies.messages.showProgress("Loading " + grouped(_pointsShown) + " of " + grouped(total) + " points");
  }
  _terminalProgress.show(_pointsShown, total);
  _dependencies.viewer.requestRedraw();
}

void Session::_finishLoading() {
  _loaded = true;
  _listener.pointsLoaded();
  _dependencies.hud.setProgress(1.0);
  _terminalProgress.clear();
  _logNewScans();
  if (!_scans.isEmpty()) {
    _dependencies.messages.print("loaded " + std::to_string(_loader.pointsRead()) + " points");
  }
  _showFinalMessage();
  _dependencies.viewer.requestRedraw();
}

void Session::_showFinalMessage() {
  if (!_latestError.empty()) {
    _dependencies.messages.show(std::exchange(_latestError, std::string()));
  } else if (!_pathEntry->isOpen() && !_scans.isEmpty()) {
    _dependencies.messages.show("Click a point to see its coordinates; H shows the help");
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
  _dependencies.messages.log(info.path + ": " + info.format + ", " + grouped(info.pointCount) + " points" + extent);
  if (info.localOnly) {
    printError(info.path + ": " + info.format +
               " stores single-precision coordinates; large (georeferenced) coordinates lose accuracy");
  }
}

void Session::_reportError(const std::string& error) {
  _dependencies.messages.reportError(error);
  if (!_loaded) {
    _latestError = error;
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

std::string Session::pointCountText() const {
  const std::string decimated = _loader.decimation() > 1 ? ", every " + ordinal(_loader.decimation()) : std::string();
  return grouped(_loader.pointsRead()) + " points" + decimated;
}

}  // namespace QuorViewer
