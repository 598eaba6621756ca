#pragma once

#include "scan/PointSink.h"
#include "scan/Scan.h"
#include "scan/ScanSample.h"

#include <cstddef>
#include <limits>

namespace QuorViewer {

/// How to convert the integers of records to the arrays of a chunk.
struct ChunkSettings {
  osg::Vec3d scale;
  osg::Vec3d shift;  ///< the grid's offset minus the local origin, subtracted while both are in double precision
  ColourDepth colour;
};

/// Extent in steps of the grid: far cheaper to track than that of the positions, and as exact, since scaling is
/// monotonic.
struct RawBounds {
  std::array<std::int32_t, 3> least = {kMost, kMost, kMost};
  std::array<std::int32_t, 3> greatest = {kLeast, kLeast, kLeast};

  void include(const RawPoint& point);
  bool any() const { return least[0] <= greatest[0]; }

  static constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  static constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
};

/// Fills one PointChunk, point by point or from a range of records in memory, read or mapped. A copy fills the same
/// arrays, so it saves a state to return to.
class ChunkBuilder : public PointSink {
 public:
  ChunkBuilder(const PointRange& points, const ChunkSettings& settings);

  /// The total must not exceed the points that the chunk was made for. A call that is aborted half-way adds nothing.
  void decode(const RecordLayout& layout, const unsigned char* records, std::size_t strideBytes,
              std::size_t count) override;
  void add(const RawPoint& point) override;
  /// A position that is not usable is stored as NaN.
  void add(const osg::Vec3d& position, const osg::Vec4ub& colour, std::uint16_t intensity) override;

  const ChunkSettings& settings() const { return _settings; }

  std::uint32_t filledPoints() const { return static_cast<std::uint32_t>(_filledPoints); }

  /// The chunk, with the points added so far.
  PointChunk finish();

 private:
  void _cutToFilled();

  ChunkSettings _settings;
  PointChunk _chunk;
  RawBounds _bounds;
  std::size_t _filledPoints = 0;
};

}  // namespace QuorViewer
