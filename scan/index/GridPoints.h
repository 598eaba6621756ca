#pragma once

#include "scan/ChunkBuilder.h"
#include "scan/PointSink.h"
#include "scan/index/IndexGrid.h"
#include "scan/index/IndexPoint.h"

#include <osg/BoundingBox>

#include <cstdint>
#include <vector>

namespace QuorViewer {

/// Converts the points of a scan to those of an index. Skips points without usable coordinates.
class GridPoints : public PointSink {
 public:
  GridPoints(const ScanReader& scan, const IndexGrid& grid);

  /// Drops what has been converted and continues with `count` points from this record on.
  void startAt(std::uint64_t record, std::uint32_t count);

  void decode(const RecordLayout& layout, const unsigned char* records, std::size_t strideBytes,
              std::size_t count) override;
  void add(const RawPoint& point) override;
  void add(const osg::Vec3d& position, const osg::Vec4ub& colour, std::uint16_t intensity) override;

  /// Those converted since the start, without those outside of the grid's cube.
  const std::vector<IndexPoint>& points() const { return _points; }
  /// Of all points so far, also before the latest start; world units.
  const osg::BoundingBoxd& bounds() const { return _bounds; }
  /// Whether any point so far is outside of the grid's cube.
  bool anyOutside() const { return _anyOutside; }

 private:
  /// Null if the point does not belong into the index.
  IndexPoint* _addAt(const osg::Vec3d& position);

  const IndexGrid& _grid;
  ChunkSettings _settings;  // for world coordinates
  std::vector<IndexPoint> _points;
  std::uint32_t _record = 0;
  osg::BoundingBoxd _bounds;
  bool _anyOutside = false;
};

}  // namespace QuorViewer
