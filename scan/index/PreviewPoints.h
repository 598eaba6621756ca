#pragma once

#include "scan/ChunkBuilder.h"
#include "scan/PointSink.h"
#include "scan/index/IndexBuilder.h"

#include <cstdint>
#include <optional>

namespace QuorViewer {

/// Passes on all points of consecutive records, and shows every n-th of them.
class PreviewPoints : public PointSink {
 public:
  /// All three outlive this. `first`: the record of the first point.
  PreviewPoints(const ScanReader& scan, const IndexPreview& preview, std::uint64_t first, PointSink& next);

  void decode(const RecordLayout& layout, const unsigned char* records, std::size_t strideBytes,
              std::size_t count) override;
  void add(const RawPoint& point) override;
  void add(const osg::Vec3d& position, const osg::Vec4ub& colour, std::uint16_t intensity) override;

  /// Shows the points that have not been shown yet.
  void flush();

 private:
  /// Moves on to the next record, and calls `put` with the chunk if this one is to be shown.
  template <typename Put>
  void _show(const Put& put);

  const ScanReader& _scan;
  const IndexPreview& _preview;
  PointSink& _next;
  std::uint64_t _step;
  std::uint64_t _record;
  std::optional<ChunkBuilder> _chunk;
};

}  // namespace QuorViewer
