#pragma once

#include "scan/LoadPlan.h"
#include "scan/Scan.h"
#include "scan/index/PointTree.h"
#include "viewer/render/CloudStatistics.h"
#include "viewer/session/ResultQueue.h"

#include <QuorOsgUtils/FileJobs.h>
#include <QuorOsgUtils/ReadOnlyFile.h>
#include <QuorOsgUtils/StopToken.h>

#include <osg/Vec3d>
#include <osg/ref_ptr>

#include <cstdint>
#include <limits>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace QuorViewer {

/// A scan that is being loaded, shared by all jobs on it.
struct LoadingScan {
  // Set up before the first job is submitted.
  unsigned int number = 0;                              ///< from 1
  osg::Vec3d origin;                                    ///< world point that the chunks are relative to
  std::unique_ptr<ScanReader> reader;                   ///< used only by the worker
  osg::ref_ptr<const QuorOsgUtils::ReadOnlyFile> file;  ///< to be mapped; null: it is read without mapping

  QuorOsgUtils::StopSource stop;  ///< pending jobs do nothing, the running one ends soon

  // Used only by the viewer's thread.
  std::uint64_t pointsPlanned = 0;  ///< after decimation
  std::uint64_t pointsRead = 0;
  std::uint64_t decimation = 1;  ///< 0: no point is loaded, because none fits
  bool discarded = false;        ///< chunks that still arrive are not wanted

  // Used only by the worker.
  std::uint64_t end = std::numeric_limits<std::uint64_t>::max();  ///< points from here on cannot be read
};

/// The result of one job, for the viewer's thread. Each job posts exactly one.
struct LoadResult {
  unsigned int scan = 0;                ///< 0: no scan
  std::weak_ptr<const LoadingScan> of;  ///< to recognise results of an earlier attempt to load the scan
  bool ofSample = false;                ///< part of the sample that shows a large scan early
  std::optional<PointChunk> chunk;
  std::optional<CloudSummary> summary;
  std::string error;      ///< for the user; empty: none
  std::string treeError;  ///< why the scan's tree cannot be read; empty: none
};

/// The load context that all jobs share.
struct LoadContext {
  ResultQueue<LoadResult> results;
  CloudStatistics statistics;  ///< used only by the worker
};

/// A job on a scan.
class ScanJob {
 public:
  using Priority = QuorOsgUtils::FileJobs::Priority;

  ScanJob(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan, Priority priority);
  ScanJob(const ScanJob&) = delete;
  ScanJob& operator=(const ScanJob&) = delete;
  virtual ~ScanJob() = default;

  const std::string& path() const { return _scan->reader->info().path; }
  Priority priority() const { return _priority; }
  /// Does the work unless the scan was stopped. Posts a result in any case, also if memory is exhausted. To be called
  /// once.
  void run() noexcept;

 protected:
  /// Fills in the result. Exceptions become its error text.
  virtual void work(LoadResult& result) = 0;

  std::shared_ptr<LoadContext> _context;
  std::shared_ptr<LoadingScan> _scan;

 private:
  void _tryWork(LoadResult& result);

  Priority _priority;
  std::list<LoadResult> _results;  // one, from the start
};

/// Queues a job.
void submit(QuorOsgUtils::FileJobs& jobs, const std::shared_ptr<ScanJob>& job);

/// Receives the chunk when it has been read.
using ChunkSlot = std::shared_ptr<PointChunk>;

/// Maps the parts of the file that hold a chunk's points, and decodes them directly into its arrays. Compressed points
/// and other formats are read through the scan's reader. A file that has become shorter is reported once; the points
/// before its new end are still loaded.
class ReadChunk : public ScanJob {
 public:
  /// `to` receives the chunk for later jobs.
  ReadChunk(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan, const PlannedChunk& planned,
            ChunkSlot to);

 protected:
  void work(LoadResult& result) override;

 private:
  void _readRun(const PointRun& run, ChunkBuilder& to);
  void _decodeMapped(const unsigned char* records, const RecordTable& table, const PointRun& run, ChunkBuilder& to);

  PointRange _points;
  ChunkSlot _to;
};

/// Adds a chunk that has been read to the statistics.
class MeasureChunk : public ScanJob {
 public:
  MeasureChunk(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan, ChunkSlot chunk,
               Priority priority);

 protected:
  void work(LoadResult& result) override;

 private:
  ChunkSlot _chunk;
};

/// Adds what the tree knows of all points of a scan to the statistics and, if none of its points has been measured, a
/// sample of the tree.
class MeasureTree : public ScanJob {
 public:
  MeasureTree(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan, std::unique_ptr<PointTree> tree);

 protected:
  void work(LoadResult& result) override;

 private:
  std::unique_ptr<PointTree> _tree;
};

/// Removes a stopped scan from the statistics and posts the new summary in the one result given.
void removeFromStatistics(LoadContext& context, unsigned int scanNumber, std::list<LoadResult>&& result) noexcept;

}  // namespace QuorViewer
