#pragma once

#include "scan/LoadPlan.h"
#include "scan/Scan.h"
#include "viewer/render/CloudStatistics.h"
#include "viewer/session/Mailbox.h"

#include <QuorOsgUtils/FileCmd.h>

#include <osg/Vec3d>

#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>

namespace QuorViewer {

/// A scan while it is being read, shared by all commands on it.
struct LoadingScan {
  // Set up before the first command is pushed.
  unsigned int number = 0;             ///< from 1
  osg::Vec3d origin;                   ///< that the chunks are relative to
  std::unique_ptr<ScanReader> reader;  ///< the worker's own

  std::atomic<std::uint64_t> mappedBytes{0};  ///< of the file, there to be mapped; 0: it is read without mapping
  std::atomic<bool> cancelled{false};         ///< commands yet to run do nothing, the one at hand ends soon

  // The viewer thread's own.
  std::uint64_t pointsPlanned = 0;  ///< after thinning
  std::uint64_t pointsRead = 0;
  std::uint64_t thinning = 1;

  // The worker's own.
  std::uint64_t end = std::numeric_limits<std::uint64_t>::max();  ///< points from here on cannot be read
};

/// What a command leaves for the viewer's thread: each exactly one.
struct LoadLetter {
  unsigned int scan = 0;  ///< 0: of none
  bool ofSample = false;  ///< of the sample that shows at once what a large scan is like
  std::optional<PointChunk> chunk;
  std::optional<CloudSummary> summary;
  std::string error;  ///< for people, empty: none
};

/// What all commands work with.
struct LoadDesk {
  Mailbox<LoadLetter> letters;
  CloudStatistics statistics;  ///< the worker's own
};

/// A command on a scan, deleted by the file manager when it has run.
class ScanCommand : public QuorOsgUtils::FileCmd {
 public:
  ScanCommand(std::shared_ptr<LoadDesk> desk, std::shared_ptr<LoadingScan> scan, Priority priority);

  /// Does the work unless the scan is cancelled, and leaves the letter in any case.
  void operator()(const QuorOsgUtils::FileProxy* proxy, QuorOsgUtils::FileManager* manager) final;

 protected:
  /// Where the command is under way, `letter` is for the outcome. What it throws is told in the letter.
  virtual void work(const QuorOsgUtils::FileProxy* proxy, LoadLetter& letter) = 0;

  std::shared_ptr<LoadDesk> _desk;
  std::shared_ptr<LoadingScan> _scan;
};

/// The place of a chunk that has yet to be read.
using ChunkSlot = std::shared_ptr<PointChunk>;

/// Maps the parts of the file where a chunk's points are, and decodes them straight into its arrays. Compressed points
/// and other formats come through the scan's reader. A file that has become shorter is told about once; what is before
/// its new end still comes.
class ReadChunk : public ScanCommand {
 public:
  /// `to` keeps the chunk for commands behind this one.
  ReadChunk(std::shared_ptr<LoadDesk> desk, std::shared_ptr<LoadingScan> scan, const PlannedChunk& planned,
            ChunkSlot to);

 protected:
  void work(const QuorOsgUtils::FileProxy* proxy, LoadLetter& letter) override;

 private:
  void _readRun(const QuorOsgUtils::FileProxy* proxy, const PointRun& run, ChunkBuilder& to);
  void _decodeMapped(const unsigned char* records, const RecordTable& table, const PointRun& run, ChunkBuilder& to);

  PointRange _points;
  ChunkSlot _to;
};

/// Takes a scan that has been cancelled out of the statistics.
class ForgetScan : public QuorOsgUtils::FileCmd {
 public:
  ForgetScan(std::shared_ptr<LoadDesk> desk, const std::string& path, unsigned int scanNumber);

  void operator()(const QuorOsgUtils::FileProxy* proxy, QuorOsgUtils::FileManager* manager) override;

 private:
  std::shared_ptr<LoadDesk> _desk;
  unsigned int _scanNumber;
};

/// Counts a chunk that has been read into the statistics.
class MeasureChunk : public ScanCommand {
 public:
  MeasureChunk(std::shared_ptr<LoadDesk> desk, std::shared_ptr<LoadingScan> scan, ChunkSlot chunk, Priority priority);

 protected:
  void work(const QuorOsgUtils::FileProxy* proxy, LoadLetter& letter) override;

 private:
  ChunkSlot _chunk;
};

}  // namespace QuorViewer
