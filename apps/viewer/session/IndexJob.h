#pragma once

#include "scan/Scan.h"
#include "scan/index/IndexBuilder.h"
#include "scan/index/IndexCache.h"
#include "scan/index/PointTree.h"
#include "viewer/session/ResultQueue.h"

#include <osg/Vec3d>

#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <string>

namespace QuorViewer {

/// The memory for the tree of a scan, in bytes.
struct TreeMemory {
  std::uint64_t build = 0;  ///< what the build may use
  std::uint64_t held = 0;   ///< what the finished tree may keep
};

/// Builds the point tree of a scan in the background: in memory for a scan of a few million points, otherwise in the
/// cache. Use it on one thread.
class IndexJob {
 public:
  /// Scans with at most this many points have their tree in memory, if that suffices.
  static constexpr std::uint64_t kMostPointsInMemory = 5000000;

  /// Starts. `identity`: the scan's file when the scan was opened. `origin`: world point that the preview is relative
  /// to. Throws ScanError or ScanWriteError.
  IndexJob(const ScanReader& scan, IndexedScan identity, const osg::Vec3d& origin, const IndexCache& cache,
           const TreeMemory& memory);
  IndexJob(const IndexJob&) = delete;
  IndexJob& operator=(const IndexJob&) = delete;
  /// Cancels the build and waits for its end.
  ~IndexJob();

  /// Ends the build soon; `isDone` says when.
  void cancel() { _progress.cancelled = true; }
  /// From 0 to 1.
  double progress() const;
  bool isDone() const;
  /// The next part of a sample of the scan, if any. There is one only if the loader cannot read a sample itself,
  /// because reading can begin at too few places of the scan.
  std::optional<PointChunk> takePreview() { return _preview.tryPop(); }
  /// The finished tree, once. Throws what has ended the build: ScanError or ScanWriteError.
  std::unique_ptr<PointTree> take() { return _tree.get(); }
  /// The memory that the build needs at most.
  std::uint64_t memoryBytes() const { return _memoryBytes; }
  /// Where the finished index is; empty: in memory.
  const std::string& path() const { return _path; }

 private:
  std::unique_ptr<PointTree> _build(const IndexSettings& settings);

  std::unique_ptr<ScanReader> _scan;
  IndexCache _cache;
  IndexedScan _identity;
  IndexProgress _progress;
  std::uint64_t _memoryBytes;
  std::string _path;
  ResultQueue<PointChunk> _preview;
  std::future<std::unique_ptr<PointTree>> _tree;
};

}  // namespace QuorViewer
