#include "scan/index/PreviewPoints.h"

#include "scan/LoadPlan.h"

#include <algorithm>

namespace QuorViewer {
namespace {

constexpr std::uint32_t kChunkPoints = 8192;  // a drawable for each, so not much fewer

}  // namespace

PreviewPoints::PreviewPoints(const ScanReader& scan, const IndexPreview& preview, std::uint64_t first, PointSink& next)
    : _scan(scan),
      _preview(preview),
      _next(next),
      _step(decimationFor(scan.info().pointCount, std::max<std::uint64_t>(preview.mostPoints, 1))),
      _record(first) {}

template <typename Put>
void PreviewPoints::_show(const Put& put) {
  const std::uint64_t record = _record++;
  if (record % _step != 0) {
    return;
  }
  if (!_chunk) {
    _chunk.emplace(_scan.startChunk({record, kChunkPoints, _step}, _preview.origin));
  }
  put(*_chunk);
  if (_chunk->filledPoints() == kChunkPoints) {
    flush();
  }
}

void PreviewPoints::decode(const RecordLayout& layout, const unsigned char* records, std::size_t strideBytes,
                           std::size_t count) {
  _next.decode(layout, records, strideBytes, count);
  for (std::size_t place = 0; place < count; ++place) {
    _show([&](ChunkBuilder& to) { to.decode(layout, records + place * strideBytes, strideBytes, 1); });
  }
}

void PreviewPoints::add(const RawPoint& point) {
  _next.add(point);
  _show([&](ChunkBuilder& to) { to.add(point); });
}

void PreviewPoints::add(const osg::Vec3d& position, const osg::Vec4ub& colour, std::uint16_t intensity) {
  _next.add(position, colour, intensity);
  _show([&](ChunkBuilder& to) { to.add(position, colour, intensity); });
}

void PreviewPoints::flush() {
  if (_chunk) {
    _preview.show(_chunk->finish());
    _chunk.reset();
  }
}

}  // namespace QuorViewer
