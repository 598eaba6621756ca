#pragma once

#include "common/ProgressLine.h"
#include "viewer/render/PointCloud.h"
#include "viewer/session/ScanEntry.h"
#include "viewer/session/ScanLoader.h"
#include "viewer/session/ScanSet.h"
#include "viewer/ui/Hud.h"
#include "viewer/ui/Messages.h"

#include <osg/Node>
#include <osg/ref_ptr>
#include <osgGA/GUIActionAdapter>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace QuorViewer {

/// The open scans: opens, adds and closes them, loads their points into the cloud between frames, and reports progress
/// and failures to the user. One thread.
class Session {
 public:
  /// All outlive the session.
  struct Dependencies {
    PointCloud& cloud;
    Hud& hud;
    Messages& messages;
    osgGA::GUIActionAdapter& viewer;  ///< for redraws
  };

  struct Listener {
    std::function<void()> scanAdded;     ///< it is open; its points follow
    std::function<void()> pointsAdded;   ///< to the cloud
    std::function<void()> pointsLoaded;  ///< all points of all scans
    /// `points` has left the cloud's bounds, but is still a child of its node: the listener removes it. Null if none of
    /// the scan's points had been loaded.
    std::function<void(const osg::ref_ptr<osg::Node>& points)> scanClosed;
  };

  /// Opens the scans. Throws ScanError.
  Session(const std::vector<std::string>& paths, std::uint64_t memoryBytes, Dependencies dependencies,
          Listener listener);

  /// Starts to load. Throws ScanError.
  void start() { _loader.start(); }
  /// Adds what has been read meanwhile to the cloud, for at most `budget`. `mayShowProgress` says whether there is time
  /// for a frame that only shows progress. False if nothing had arrived.
  bool loadNextChunks(std::chrono::milliseconds budget, const std::function<bool()>& mayShowProgress);

  /// Opens one more scan and starts to load it. Reports the error if that fails.
  void add(const std::string& path);
  /// Expects an open scan.
  void close(unsigned int scan);
  /// Lets the user type the path of a scan to add.
  void openPathEntry() { _pathEntry->open(); }
  /// Handles the keys of that path. Must come before all other key handlers.
  osg::ref_ptr<osgGA::GUIEventHandler> pathHandler() const { return _pathEntry; }

  ScanSet& scans() { return _scans; }
  const ScanSet& scans() const { return _scans; }
  /// True once all points are loaded; false again when a scan is added.
  bool isLoaded() const { return _loaded; }
  /// Whether any scan has failed so far.
  bool anyFailed() const { return _loader.failed(); }
  /// Of the points loaded so far.
  const CloudSummary& summary() const { return _loader.summary(); }

  /// The window's title: the program and the scans.
  std::string title() const;
  /// The number of loaded points, and the decimation.
  std::string pointCountText() const;

 private:
  void _finishLoading();
  void _showProgress();
  void _showFinalMessage();
  void _logNewScans();
  void _logScan(unsigned int scan);
  void _reportError(const std::string& error);

  Dependencies _dependencies;
  Listener _listener;
  ScanSet _scans;
  ScanLoader _loader;
  osg::ref_ptr<ScanEntry> _pathEntry;
  ProgressLine _terminalProgress{"loading"};
  bool _loaded = false;
  std::uint64_t _pointsShown = 0;  // in the latest progress message
  unsigned int _latestScanLogged = 0;
  std::string _latestError;  // since the points were last loaded
};

}  // namespace QuorViewer
