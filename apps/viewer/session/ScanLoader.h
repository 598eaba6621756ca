#pragma once

#include "viewer/session/ScanJobs.h"
#include "viewer/session/ScanSet.h"
#include "viewer/session/VertexBudget.h"

#include <QuorOsgUtils/FileJobs.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace QuorViewer {

/// How much of a scan to load.
enum class LoadExtent {
  Whole,
  Sample,  ///< only a sample from all over the scan, if it can be read that way and fits: the scan's tree is being
           ///< built
  Nothing  ///< the scan's tree is drawn
};

/// Loads scans through the library's file manager and delivers chunks that are ready to draw. It loads samples spread
/// over the large scans first, then the rest. Scans that do not fit into memory are decimated evenly. A
/// damaged scan is read up to the damage; the others continue.
///
/// Starts the manager's worker. Use the loader on one thread.
class ScanLoader {
 public:
  /// Callbacks. `decimated` gets a line of text for the user.
  struct Listener {
    std::function<void(unsigned int scanNumber, const PointChunk& chunk)> loaded;
    std::function<void(unsigned int scanNumber, const std::string& error)> failed;
    std::function<void(const std::string& note)> decimated;
    /// The tree given to `measure` cannot be read, with a text for the user.
    std::function<void(unsigned int scanNumber, const std::string& error)> treeDamaged{};
  };

  /// `scans` outlives the loader.
  ScanLoader(ScanSet& scans, std::uint64_t budgetBytes, Listener listener);
  ScanLoader(const ScanLoader&) = delete;
  ScanLoader& operator=(const ScanLoader&) = delete;
  /// Cancels everything not yet read and waits for the job that is running.
  ~ScanLoader();

  /// From now on leaves so many bytes of the budget free when a whole scan is loaded, or a sample. Default: none.
  void setReserved(std::uint64_t besideWhole, std::uint64_t besideSamples) {
    _besideWhole = besideWhole;
    _besideSamples = besideSamples;
  }
  /// Starts to read the scans that were added to the set since the last call.
  void start(const std::function<LoadExtent(unsigned int scanNumber)>& extentOf = {});
  /// Adds to the summary what a scan's tree tells about its points.
  void measure(unsigned int scanNumber, std::unique_ptr<PointTree> tree);
  /// Delivers some points of a scan that is loaded as a sample, as if they had been read.
  void addSample(unsigned int scanNumber, const PointChunk& chunk);
  /// Forgets the loaded points of a scan, but not what they add to the summary. The caller removes the chunks that it
  /// has received.
  void discard(unsigned int scanNumber);
  /// Loads a scan from its start.
  void reload(unsigned int scanNumber, LoadExtent extent = LoadExtent::Whole);
  /// Delivers what the worker has read, for at most `budget`. Stops early when the samples of the large scans are
  /// complete, so that a frame can be drawn. False if no result had arrived.
  bool step(std::chrono::milliseconds budget);
  /// True if the samples have been completed since the last call.
  bool pollSampleCompleted() { return std::exchange(_sampleCompleted, false); }
  /// Cancels the pending reads of a scan, subtracts its points from the counts and closes its file. The caller removes
  /// the chunks that it has received. The scan stays open in the set.
  void close(unsigned int scanNumber);

  bool finished() const { return _resultsDue == 0; }
  std::uint64_t pointsRead() const { return _pointsRead; }
  std::uint64_t pointsReadOf(unsigned int scanNumber) const { return _loading.at(scanNumber)->pointsRead; }
  /// Number of points to read, after decimation.
  std::uint64_t pointsPlanned() const { return _pointsPlanned; }
  /// Whether any scan has failed so far.
  bool failed() const { return _failed; }
  /// The strongest decimation of any scan; 1: all points are shown.
  std::uint64_t decimation() const;
  /// 0: none of its points fit into memory.
  std::uint64_t decimationOf(unsigned int scanNumber) const { return _loading.at(scanNumber)->decimation; }
  const CloudSummary& summary() const { return _summary; }

 private:
  void _begin(unsigned int scanNumber, std::uint64_t decimation, LoadExtent extent);
  void _prepare(const std::shared_ptr<LoadingScan>& scan, std::uint64_t decimation);
  void _prepareSample(const std::shared_ptr<LoadingScan>& scan);
  std::vector<PlannedChunk> _planFittingSample(const ScanReader& reader) const;
  static void _openIfMappable(LoadingScan& scan);
  void _countOut(LoadingScan& scan);
  void _push(const std::shared_ptr<LoadingScan>& scan, const PlannedChunk& planned);
  void _reportDecimation(const LoadingScan& scan);
  void _reportFailure(unsigned int scanNumber, const std::string& error);
  void _receive(LoadResult result);

  ScanSet& _scans;
  std::uint64_t _budgetBytes;
  VertexBudget _budget;
  std::uint64_t _besideWhole = 0;    // bytes
  std::uint64_t _besideSamples = 0;  // likewise
  Listener _listener;
  std::shared_ptr<LoadContext> _context;
  std::map<unsigned int, std::shared_ptr<LoadingScan>> _loading;  // by scan number, finished ones too
  std::uint64_t _resultsDue = 0;
  std::uint64_t _sampleResultsDue = 0;  // those for samples
  bool _sampleCompleted = false;
  std::uint64_t _pointsRead = 0;
  std::uint64_t _pointsPlanned = 0;
  bool _failed = false;
  CloudSummary _summary;
  QuorOsgUtils::FileJobs _jobs;
};

}  // namespace QuorViewer
