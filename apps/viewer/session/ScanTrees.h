#pragma once

#include "scan/Scan.h"
#include "scan/index/IndexCache.h"
#include "scan/index/PointTree.h"
#include "viewer/session/IndexJob.h"

#include <osg/Vec3d>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace QuorViewer {

/// How the trees of scans are found and built.
struct TreeSettings {
  bool enabled = true;                      ///< false: no scan is drawn as a tree
  std::string folder;                       ///< for indexes; empty: the default
  std::optional<std::uint64_t> limitBytes;  ///< of all indexes; default: a tenth of the free disk
  std::uint64_t memoryBytes = 0;            ///< for building, at most
};

/// The point trees of scans: those that scans bring along, those in the cache, and those that are built in the
/// background. Small scans have none, unless there are many. One thread.
class ScanTrees {
 public:
  /// Scans with more points are drawn as trees.
  static constexpr std::uint64_t kMostPointsWithoutTree = std::uint64_t{1} << 18;
  /// As soon as the scans without a tree had more points together, further ones are drawn as trees.
  static constexpr std::uint64_t kMostPointsWithoutTrees = std::uint64_t{1} << 21;

  explicit ScanTrees(const TreeSettings& settings);

  /// Decides whether a scan is to be drawn as a tree. That depends on the scans before it.
  bool wants(unsigned int scan, const ScanInfo& info);
  /// The memory for builds that start from now on. Default: that of the settings, and half of it for the tree.
  void setMemory(const TreeMemory& memory);

  struct Opened {
    std::unique_ptr<PointTree> tree;  ///< null: there is none yet
    std::string note;                 ///< for the user; empty: none
  };
  /// Opens the tree that the scan brings along, or that is in the cache.
  Opened open(unsigned int scan, const ScanInfo& info);
  /// Builds the tree of a scan. Builds run one after the other, because each uses all processors. `origin`: world point
  /// that the preview is relative to.
  void build(unsigned int scan, const ScanReader& reader, const osg::Vec3d& origin);
  /// Cancels the build for a scan, if there is one, without waiting for its end. It is not polled any more. The next
  /// build starts after that, because each uses all of the memory.
  void cancel(unsigned int scan);
  /// Frees what cancelled builds hold, if they have ended.
  void forgetEnded();
  /// The open tree of a scan turned out to be damaged, or not to fit it any more: it is not opened again. An index is
  /// removed from the cache. False if the scan brings the tree along.
  bool refuse(unsigned int scan, const ScanInfo& info);
  /// From now on, changes of the scan's file are noticed. Its tree must not have been opened or built. Throws ScanError
  /// if the file is gone.
  void watch(unsigned int scan, const ScanInfo& info) { _identify(scan, info); }
  /// How the scan's file differs from what it was when its tree was opened or built, for the user; empty: it does not.
  std::string changeOf(unsigned int scan) const;
  /// The scan is closed, or its file opened again.
  void forget(unsigned int scan);

  bool isBuilding() const { return _job || !_waiting.empty() || !_failed.empty(); }
  /// Whether the tree of this scan is being built, or waits for that.
  bool isBuilding(unsigned int scan) const { return _waiting.count(scan) > 0 || current() == scan; }
  /// The scan of the current build.
  std::optional<unsigned int> current() const { return _job ? std::optional(_building) : std::nullopt; }
  /// The memory of builds that are running, cancelled ones too.
  std::uint64_t buildBytes() const;
  /// Of the current build, from 0 to 1.
  double progress() const { return _job ? _job->progress() : 0.0; }

  /// Some points of the scan that is being built; nothing if there are none at the moment. See `IndexJob`.
  std::optional<PointChunk> takePreview() { return _job ? _job->takePreview() : std::nullopt; }

  struct Built {
    unsigned int scan = 0;
    std::unique_ptr<PointTree> tree;  ///< null: the build has failed
    std::string text;  ///< for the user: where the index is and its size, or why there is none; empty: in memory
  };
  /// A tree that has been finished since the last call, if any. The next build starts with the call after that.
  std::optional<Built> pollBuilt();

 private:
  struct Request {
    std::unique_ptr<ScanReader> reader;
    osg::Vec3d origin;
  };

  void _startNext();
  /// The scan's file as it was when this was called for the first time. Throws ScanError if it is gone.
  std::shared_ptr<const IndexedScan> _identify(unsigned int scan, const ScanInfo& info);
  std::unique_ptr<PointTree> _openStored(unsigned int scan, const ScanInfo& info, std::string& note);

  TreeSettings _settings;
  TreeMemory _memory;
  IndexCache _cache;
  std::map<unsigned int, Request> _waiting;  // by scan
  unsigned int _building = 0;                // the scan of the job
  std::unique_ptr<IndexJob> _job;
  std::vector<std::unique_ptr<IndexJob>> _cancelled;
  std::vector<Built> _failed;
  std::map<unsigned int, std::shared_ptr<const IndexedScan>> _identities;  // by scan
  std::map<unsigned int, std::uint64_t> _withoutTree;                      // points of the scans without one
  std::set<unsigned int> _stored;                                          // scans whose own trees are open
  std::set<unsigned int> _refused;                                         // scans whose own trees are damaged
};

}  // namespace QuorViewer
