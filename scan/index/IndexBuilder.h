#pragma once

#include "scan/Scan.h"
#include "scan/index/IndexBytes.h"
#include "scan/index/IndexFormat.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

namespace QuorViewer {

/// Points for a first picture of the scan, while it is read for the first time.
struct IndexPreview {
  std::uint64_t mostPoints = 0;  ///< every n-th record is shown, so that there are at most so many
  osg::Vec3d origin;             ///< the chunks are relative to this world point
  std::function<void(const PointChunk& chunk)> show{};  ///< called on any thread; empty: there is no preview
};

/// How an index is built.
struct IndexSettings {
  std::uint64_t memoryBytes = std::uint64_t{1} << 30;  ///< at most about this much is used
  unsigned threads = 0;                                ///< 0: as many as the machine has processors
  std::string temporaryPath;  ///< name of a file for the points that do not fit into memory; deleted at the end
  IndexPreview preview{};
};

/// Shared with the thread that builds.
struct IndexProgress {
  std::atomic<std::uint64_t> steps{0};  ///< done so far
  std::atomic<std::uint64_t> all{1};
  std::atomic<bool> cancelled{false};  ///< set it to end the build
};

/// The build was cancelled.
struct IndexCancelled {};

/// The largest number of records that can be indexed.
constexpr std::uint64_t kMostIndexedRecords = std::uint64_t{1} << 32;

/// Sorts all records of a scan into an octree, in bounded memory and with several threads. Each record with usable
/// coordinates gets into exactly one node. The scan is read once, or twice if its bounds are unknown or wrong.
///
/// Throws ScanError (the scan cannot be read, or has too many records), ScanWriteError (disk full) or IndexCancelled;
/// then the sink is incomplete.
void buildIndex(const ScanReader& scan, const IndexedScan& identity, IndexSink& sink, const IndexSettings& settings,
                IndexProgress& progress);

}  // namespace QuorViewer
