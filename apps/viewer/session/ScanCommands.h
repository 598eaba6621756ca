#pragma once

#include "scan/LoadPlan.h"
#include "scan/Scan.h"
#include "viewer/render/CloudStatistics.h"
#include "viewer/session/ResultQueue.h"

#include <QuorOsgUtils/FileCmd.h>

#include <osg/Vec3d>

#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>

namespace QuorViewer {

/// A scan that is being loaded, shared by all commands on it.
struct LoadingScan {
  // Set up before the first command is pushed.
  unsigned int number = 0;             ///< from 1
  osg::Vec3d origin;                   ///< world point that the chunks are relative to
  std::unique_ptr<ScanReader> reader;  ///< used only by the worker

  std::atomic<std::uint64_t> mappedBytes{0};  ///< bytes of the file that can be mapped; 0: it is read without mapping
  std::atomic<bool> cancelled{false};         ///< pending commands do nothing, the running one ends soon

  // Used only by the viewer's thread.
  std::uint64_t pointsPlanned = 0;  ///< after decimation
  std::uint64_t pointsRead = 0;
  std::uint64_t decimation = 1;

  // Used only by the worker.
  std::uint64_t end = std::numeric_limits<std::uint64_t>::max();  ///< points from here on cannot be read
};

/// The result of one command, for the viewer's thread. Each command posts exactly one.
struct LoadResult {
  unsigned int scan = 0;  ///< 0: no scan
  bool ofSample = false;  ///< part of the sample that shows a large scan early
  std::optional<PointChunk> chunk;
  std::optional<CloudSummary> summary;
  std::string error;  ///< for the user; empty: none
};

/// The load context that all commands share.
struct LoadContext {
  ResultQueue<LoadResult> results;
  CloudStatistics statistics;  ///< used only by the worker
};

/// A command on a scan, deleted by the file manager after it has run.
class ScanCommand : public QuorOsgUtils::FileCmd {
 public:
  ScanCommand(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan, Priority priority);

  /// Does the work unless the scan is cancelled; posts a result in any case.
  void operator()(const QuorOsgUtils::FileProxy* proxy, QuorOsgUtils::FileManager* manager) final;

 protected:
  /// Fills in the result. Exceptions become its error text.
  virtual void work(const QuorOsgUtils::FileProxy* proxy, LoadResult& result) = 0;

  std::shared_ptr<LoadContext> _context;
  std::shared_ptr<LoadingScan> _scan;
};

/// Receives the chunk when it has been read.
using ChunkSlot = std::shared_ptr<PointChunk>;

/// Maps the parts of the file that hold a chunk's points, and decodes them directly into its arrays. Compressed points
/// and other formats are read through the scan's reader. A file that has become shorter is reported once; the points
/// before its new end are still loaded.
class ReadChunk : public ScanCommand {
 public:
  /// `to` receives the chunk for later commands.
  ReadChunk(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan, const PlannedChunk& planned,
            ChunkSlot to);

 protected:
  void work(const QuorOsgUtils::FileProxy* proxy, LoadResult& result) override;

 private:
  void _readRun(const QuorOsgUtils::FileProxy* proxy, const PointRun& run, ChunkBuilder& to);
  void _decodeMapped(const unsigned char* records, const RecordTable& table, const PointRun& run, ChunkBuilder& to);

  PointRange _points;
  ChunkSlot _to;
};

/// Removes a cancelled scan from the statistics.
class RemoveFromStatistics : public QuorOsgUtils::FileCmd {
 public:
  RemoveFromStatistics(std::shared_ptr<LoadContext> context, const std::string& path, unsigned int scanNumber);

  void operator()(const QuorOsgUtils::FileProxy* proxy, QuorOsgUtils::FileManager* manager) override;

 private:
  std::shared_ptr<LoadContext> _context;
  unsigned int _scanNumber;
};

/// Adds a chunk that has been read to the statistics.
class MeasureChunk : public ScanCommand {
 public:
  MeasureChunk(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan, ChunkSlot chunk,
               Priority priority);

 protected:
  void work(const QuorOsgUtils::FileProxy* proxy, LoadResult& result) override;

 private:
  ChunkSlot _chunk;
};

}  // namespace QuorViewer
