#pragma once

#include "Sample.h"
#include "ScanSet.h"

#include <bitset>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace QuorViewer {

/// Reads a set of scans a little at a time, so that the window stays alive, and hands out chunks of about a million
/// points, ready for drawing. Learns on the way what the points look like on the whole.
/// A scan that turns out damaged is left at the place of the damage, with what was read of it; the others go on.
class ScanLoader {
 public:
  using ChunkSink = std::function<void(unsigned int scanNumber, const PointChunk& chunk)>;

  /// `scans` outlives the loader.
  ScanLoader(ScanSet& scans, ChunkSink sink);

  /// Reads for about as long as `budget` allows, at least one block while there is one.
  void step(std::chrono::milliseconds budget);

  bool finished() const { return _scan > _scans.count(); }
  std::uint64_t pointsRead() const { return _pointsRead; }
  /// What went wrong, a line each, in the order of happening.
  const std::vector<std::string>& errors() const { return _errors; }
  /// What the points read so far look like on the whole. Elevations and places are relative to the local origin.
  const std::vector<float>& elevations() const { return _elevations.values(); }
  const std::vector<float>& intensities() const { return _intensities.values(); }
  const std::vector<osg::Vec3f>& places() const { return _places.values(); }
  /// The classifications met so far, ascending.
  std::vector<unsigned int> classifications() const;

 private:
  void _readBlock();
  void _take(PointChunk&& block);
  void _learnFrom(const PointChunk& block);
  void _handOut();
  void _beginNextScan();

  ScanSet& _scans;
  ChunkSink _sink;
  unsigned int _scan = 1;
  std::uint64_t _next = 0;  // index of the next point of the scan at hand
  std::uint64_t _pointsRead = 0;
  std::optional<PointChunk> _chunk;
  std::vector<std::string> _errors;
  Sample<float> _elevations;
  Sample<float> _intensities;
  Sample<osg::Vec3f> _places;
  std::bitset<256> _classifications;
};

}  // namespace QuorViewer
