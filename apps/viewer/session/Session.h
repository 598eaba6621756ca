#pragma once

#include "common/ProgressLine.h"
#include "viewer/render/PointCloud.h"
#include "viewer/session/FitCheck.h"
#include "viewer/session/LevelOfDetail.h"
#include "viewer/session/MemoryShares.h"
#include "viewer/session/ScanEntry.h"
#include "viewer/session/ScanLoader.h"
#include "viewer/session/ScanSet.h"
#include "viewer/session/ScanTrees.h"
#include "viewer/ui/Hud.h"
#include "viewer/ui/Messages.h"

#include <osg/Node>
#include <osg/ref_ptr>
#include <osgGA/GUIActionAdapter>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
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
    LevelOfDetail& detail;
    Hud& hud;
    Messages& messages;
    osgGA::GUIActionAdapter& viewer;  ///< for redraws
  };

  struct Listener {
    std::function<void()> scanAdded;                   ///< it is open; its points follow
    std::function<void(unsigned int scan)> scanIsFar;  ///< from the others
    std::function<void()> pointsAdded;                 ///< to the cloud
    std::function<void()> pointsLoaded;                ///< all points of all scans
    /// `points` has left the cloud's bounds, but is still a child of its node: the listener removes it. Null if none of
    /// the scan's points had been loaded.
    std::function<void(const osg::ref_ptr<osg::Node>& points)> scanClosed;
    /// A scan is drawn in another way from now on: `points` has to be removed likewise. The scan stays open.
    std::function<void(const osg::ref_ptr<osg::Node>& points)> pointsReplaced;
    /// Whether the scans are being read elsewhere, so that none may be closed or opened again now. Optional.
    std::function<bool()> areScansInUse{};
  };

  /// Opens the scans that can be opened and reports the others. Throws ScanError if none can.
  Session(const std::vector<std::string>& paths, std::uint64_t memoryBytes, const TreeSettings& trees,
          Dependencies dependencies, Listener listener);

  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  /// Starts to load.
  void start();
  /// Adds what has been read meanwhile to the cloud, for at most `budget`. `mayShowProgress` says whether there is time
  /// for a frame that only shows progress. False if nothing had arrived.
  bool loadNextChunks(std::chrono::milliseconds budget, const std::function<bool()>& mayShowProgress);

  /// Opens one more scan and starts to load it. Reports the error if that fails.
  void add(const std::string& path);
  /// Expects an open scan.
  void close(unsigned int scan);
  /// The file name of the scan whose index is being built; empty: none is.
  std::string indexedScan() const;
  /// Cancels the index that is being built; its scan is loaded as without an index. False if none is being built.
  bool cancelIndex();
  /// Lets the user type the path of a scan to add.
  void openPathEntry() { _pathEntry->open(); }
  /// Handles the keys of that path. Must come before all other key handlers.
  osg::ref_ptr<osgGA::GUIEventHandler> pathHandler() const { return _pathEntry; }

  ScanSet& scans() { return _scans; }
  const ScanSet& scans() const { return _scans; }
  /// True once all points are loaded; false again when a scan is added.
  bool isLoaded() const { return _loaded; }
  /// Whether any scan has failed so far, to open or to load.
  bool anyFailed() const { return !_scans.failures().empty() || _loader.failed(); }
  /// Whether samples are still on screen in the place of trees that have been built, or files have changed.
  bool isReplacing() const { return !_replaced.empty() || !_damaged.empty() || !_changes.empty(); }
  /// A node of a scan's tree is damaged. Soon the tree is dropped and an index built; if this happens to a scan again,
  /// all its points are loaded instead.
  void replaceDamaged(unsigned int scan, const std::string& error) { _damaged.emplace(scan, error); }
  /// The file of a scan has changed. It is opened again once it stays the same.
  void noteChange(unsigned int scan, const std::string& change);
  /// World coordinates, of an open scan; invalid while unknown.
  osg::BoundingBoxd boundsOf(unsigned int scan) const { return _fit.boundsOf(scan); }
  /// See `FitCheck`.
  std::string lostPrecisionOf(unsigned int scan) const { return _fit.lostPrecisionOf(scan); }
  /// Of the points loaded so far.
  const CloudSummary& summary() const { return _loader.summary(); }

  /// Shows how far an index is, in a frame that is drawn anyway.
  void updateIndexProgress();
  /// The window's title: the program and the scans.
  std::string title() const;
  /// The number of points, of those drawn and loaded where that differs, and the decimation. For a scan whose index is
  /// being built, these are the points of its sample.
  std::string pointCountText() const;

 private:
  /// What is still on screen because what replaces it is not there yet.
  struct Replaced {
    osg::ref_ptr<osg::Node> points;  ///< may be null
    std::uint64_t count = 0;
  };

  /// What the user should know once the points have been loaded, too, although it was shown before.
  struct Notice {
    unsigned int scan;  ///< 0: it is not about an open scan
    std::string text;
  };

  /// How a scan is to be drawn.
  LoadExtent _openTree(unsigned int scan, std::unique_ptr<PointTree>& tree, bool printsNote = true);
  /// Shows the tree, if it is not null, or builds one if only a sample is loaded.
  void _showOrBuildTree(unsigned int scan, LoadExtent extent, std::unique_ptr<PointTree> tree);
  /// To be called before anything takes memory.
  void _shareMemory();
  void _reserveBesideWhole();
  bool _drawsTrees() const;
  std::uint64_t _wholeBytes() const { return _loader.pointsPlanned() * VertexBudget::kBytesPerPoint; }
  void _watchFiles();
  bool _areScansInUse() const;
  void _replaceDamagedTrees();
  void _replaceTree(unsigned int scan, const std::string& error);
  void _dropTree(unsigned int scan);
  bool _reopen(unsigned int scan, const std::string& change);
  void _reload(unsigned int scan, const std::string& error, bool wasIndex, bool hasChanged);
  void _dropReplaced(unsigned int scan);
  bool _takeBuiltTrees();
  bool _takePreview();
  bool _receiveNodes();
  /// Draws all points of a scan, or as many as fit into memory. Until these are as many as before, those drawn before
  /// stay.
  void _loadWhole(unsigned int scan);
  void _removeReplaced();
  bool _isReplaced(unsigned int scan, std::uint64_t points) const;
  std::uint64_t _pointsReachable() const;
  bool _progressDue() const;
  bool _isFinished() const { return _loader.finished() && !_trees.isBuilding() && _changes.empty(); }
  void _finishLoading();
  void _showProgress();
  void _showFinalMessage();
  void _reportUnopened(std::size_t scanCount);
  void _reportMisfits(const std::vector<FitReport>& reports);
  void _logNewScans();
  void _logScan(unsigned int scan);
  void _reportError(unsigned int scan, const std::string& error);
  void _showNotices();

  Dependencies _dependencies;
  Listener _listener;
  MemoryShares _memory;
  ScanSet _scans;
  FitCheck _fit;
  ScanLoader _loader;
  ScanTrees _trees;
  osg::ref_ptr<ScanEntry> _pathEntry;
  ProgressLine _terminalProgress{"loading"};
  bool _loaded = false;
  std::uint64_t _pointsShown = 0;                // in the latest progress message
  double _indexShown = 0.0;                      // likewise
  std::map<unsigned int, Replaced> _replaced;    // by scan
  std::map<unsigned int, std::string> _damaged;  // trees to be dropped and why, by scan
  std::set<unsigned int> _rebuilt;               // scans whose damaged trees have been dropped
  std::map<unsigned int, std::string> _changes;  // of files, when they were last looked at
  std::chrono::steady_clock::time_point _filesSeen;
  unsigned int _latestScanLogged = 0;
  bool _hintShown = false;
  std::vector<Notice> _notices;  // to be shown again when the points have been loaded
};

}  // namespace QuorViewer
