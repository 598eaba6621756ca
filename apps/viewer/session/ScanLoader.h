#pragma once

#include "viewer/session/ScanCommands.h"
#include "viewer/session/ScanSet.h"
#include "viewer/session/VertexBudget.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace QuorViewer {

/// Has scans read by the library's file manager and hands out chunks, ready for drawing. Of a large scan, a sample from
/// all over it comes first, of all scans that wait; then the rest. What does not fit into the memory is thinned evenly.
/// A scan that turns out damaged is left at the place of the damage, with what was read of it; the others go on.
///
/// Starts the manager's worker, and stops it at the end; all of the viewer's side on one thread.
class ScanLoader {
 public:
  /// Who is told what. `thinned`: a line for people.
  struct Listener {
    std::function<void(unsigned int scanNumber, const PointChunk& chunk)> loaded;
    std::function<void(const std::string& error)> failed;
    std::function<void(const std::string& note)> thinned;
  };

  /// `scans` outlives the loader.
  ScanLoader(ScanSet& scans, std::uint64_t budgetBytes, Listener listener);
  ScanLoader(const ScanLoader&) = delete;
  ScanLoader& operator=(const ScanLoader&) = delete;
  /// Drops what is still to be read.
  ~ScanLoader();

  /// Begins to read those scans of the set that came to it since the last call. Throws ScanError.
  void start();
  /// Hands out what has come from the worker, for no longer than `budget`, and no further than to the end of the
  /// samples of large scans: that is worth a picture. False when nothing had come.
  bool step(std::chrono::milliseconds budget);
  /// True once after each time that the samples have come to their end.
  bool takeSampleEnd() { return std::exchange(_sampleEnded, false); }
  /// Drops what is still to be read of a scan, counts its points as gone, and closes its file. What was handed out of
  /// it is for its holder to drop. The scan is still open in the set.
  void close(unsigned int scanNumber);

  bool finished() const { return _lettersDue == 0; }
  std::uint64_t pointsRead() const { return _pointsRead; }
  /// How many points there are to read, after thinning.
  std::uint64_t pointsPlanned() const { return _pointsPlanned; }
  /// Has anything gone wrong so far?
  bool failed() const { return _failed; }
  /// The strongest thinning of any scan; 1: all points show.
  std::uint64_t thinning() const;
  const CloudSummary& summary() const { return _summary; }

 private:
  void _begin(unsigned int scanNumber, std::uint64_t thinning);
  /// Makes a scan's file known to the manager.
  void _register(LoadingScan& scan);
  void _push(const std::shared_ptr<LoadingScan>& scan, const PlannedChunk& planned);
  void _tellThinning(const LoadingScan& scan);
  void _tellFailure(const std::string& error);
  void _receive(LoadLetter letter);

  ScanSet& _scans;
  std::uint64_t _budgetBytes;
  VertexBudget _budget;
  Listener _listener;
  std::shared_ptr<LoadDesk> _desk;
  std::map<unsigned int, std::shared_ptr<LoadingScan>> _loading;  // by the scans' numbers, finished ones too
  std::uint64_t _lettersDue = 0;
  std::uint64_t _sampleLettersDue = 0;  // among them
  bool _sampleEnded = false;
  std::uint64_t _pointsRead = 0;
  std::uint64_t _pointsPlanned = 0;
  bool _failed = false;
  CloudSummary _summary;
};

}  // namespace QuorViewer
