#include "scan/formats/LasReader.h"

#include "scan/ChunkBuilder.h"
#include "scan/ScanSample.h"
#include "scan/formats/LasGeoreference.h"
#include "scan/formats/LasMetadata.h"

#include <algorithm>

namespace QuorViewer {

namespace {

// Records are read and decoded a block at a time, so that a block is still in the processor's cache when it is decoded.
constexpr std::size_t kBlockBytes = std::size_t{1} << 18;

class LasReader : public ScanReader {
 public:
  LasReader(ScanFile file, const CheckedLas& las) : _file(std::move(file)), _las(las), _info(las.info(_file.path())) {
    const bool coloured = las.layout->colourOffset != 0;
    const ScanSample sample = _sample(coloured);
    sample.complete(_info, coloured);
    addGeoreference(_file, _las, _info);
    _colour = sample.colourDepth();
  }

  const ScanInfo& info() const override { return _info; }

  std::unique_ptr<ScanReader> clone() const override { return std::make_unique<LasReader>(*this); }

  std::optional<RecordTable> records() const override {
    return RecordTable{_las.pointDataOffsetBytes, _las.header.recordLengthBytes, _las.layout};
  }

  std::uint64_t fileBytesNow() override { return _file.sizeNow(); }

  ChunkBuilder startChunk(const PointRange& points, const osg::Vec3d& origin) const override {
    return {points, {_info.scale, _info.offset - origin, _colour}};
  }

  void decode(const PointRun& run, PointSink& to) override {
    requirePoints(_info, run.first, run.span());
    const auto step = static_cast<std::size_t>(run.step);
    _forEachBlock(run.first, static_cast<std::size_t>(run.span()), step,
                  [&](const unsigned char* records, std::size_t held) {
                    to.decode(*_las.layout, records, step * _las.header.recordLengthBytes, (held + step - 1) / step);
                  });
  }

  osg::Vec3d coordinates(std::uint64_t point) override {
    requirePoints(_info, point, 1);
    osg::Vec3d exact;
    _forEachBlock(point, 1, 1, [&](const unsigned char* record, std::size_t) { exact = _coordinatesIn(record); });
    return exact;
  }

  LasMetadata lasMetadata() override { return readLasMetadata(_file, _las); }

  void readInside(std::uint64_t first, std::uint32_t count, const InsideTest& inside,
                  std::vector<unsigned char>& records) override {
    requirePoints(_info, first, count);
    const std::size_t stride = _las.header.recordLengthBytes;
    _forEachBlock(first, count, 1, [&](const unsigned char* block, std::size_t held) {
      for (const unsigned char* record = block; record != block + held * stride; record += stride) {
        if (inside(_coordinatesIn(record))) {
          records.insert(records.end(), record, record + stride);
        }
      }
    });
  }

 private:
  osg::Vec3d _coordinatesIn(const unsigned char* record) const {
    return lasCoordinates(_las.header, loadLittle<std::int32_t>(record), loadLittle<std::int32_t>(record + 4),
                          loadLittle<std::int32_t>(record + 8));
  }

  /// Calls `visit(records, their number)` until all are read; each block begins a multiple of `step` after the first
  /// record. The offset cannot overflow, because the file holds the points.
  template <typename Visitor>
  void _forEachBlock(std::uint64_t first, std::size_t count, std::size_t step, const Visitor& visit) {
    const std::size_t stride = _las.header.recordLengthBytes;
    const std::size_t most = std::max<std::size_t>(kBlockBytes / stride / step, 1) * step;
    _block.resize(std::max(_block.size(), std::min(most, count) * stride));
    while (count > 0) {
      const std::size_t now = std::min(most, count);
      _file.read(_las.pointDataOffsetBytes + first * stride, _block.data(), now * stride);
      visit(_block.data(), now);
      first += now;
      count -= now;
    }
  }

  ScanSample _sample(bool coloured) {
    ScanSample sample;
    for (const PointSpan& run : spreadRuns(_info.pointCount)) {
      _forEachBlock(
          run.first, static_cast<std::size_t>(run.count()), 1,
          [&](const unsigned char* records, std::size_t held) { _addRecords(records, held, coloured, sample); });
    }
    return sample;
  }

  void _addRecords(const unsigned char* records, std::size_t count, bool coloured, ScanSample& sample) const {
    withRecordKind(*_las.layout, coloured, [&](auto extended, auto withColour) {
      for (std::size_t record = 0; record < count; ++record) {
        sample.add(readRecord<extended.value, withColour.value>(records + record * _las.header.recordLengthBytes,
                                                                _las.layout->colourOffset));
      }
    });
  }

  ScanFile _file;
  CheckedLas _las;
  ScanInfo _info;
  ColourDepth _colour;
  std::vector<unsigned char> _block;
};

}  // namespace

std::unique_ptr<ScanReader> openLas(ScanFile file, const CheckedLas& las) {
  return std::make_unique<LasReader>(std::move(file), las);
}

void requirePoints(const ScanInfo& info, std::uint64_t first, std::uint64_t count) {
  if (first > info.pointCount || count > info.pointCount - first) {
    throw ScanError(info.path + ": " + std::to_string(count) + " points requested from point " + std::to_string(first) +
                    " on, but the scan has only " + std::to_string(info.pointCount));
  }
}

}  // namespace QuorViewer
