#include "scan/formats/EptReader.h"

#include "scan/ChunkBuilder.h"
#include "scan/ScanSample.h"
#include "scan/formats/LasGeoreference.h"
#include "scan/formats/LasMetadata.h"
#include "scan/formats/LasReader.h"
#include "scan/formats/LazPoints.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace QuorViewer {

namespace {

class EptReader : public ScanReader {
 public:
  explicit EptReader(std::shared_ptr<const EptFolder> folder) : _folder(std::move(folder)) {
    const CheckedLas& tile = _folder->firstTile;
    _info = tile.info(_folder->path);
    _info.pointCount = _folder->pointCount;
    _info.format = "EPT, " + std::to_string(_folder->tiles.size()) + " tiles, " + tile.formatText();
    const bool coloured = tile.layout->colourOffset != 0;
    const ScanSample sample = _sample();
    sample.complete(_info, coloured);
    _colour = coloured ? sample.colourDepth() : ColourDepth();
    _addGeoreference();
  }

  EptReader(const EptReader& other) : _folder(other._folder), _info(other._info), _colour(other._colour) {}

  const ScanInfo& info() const override { return _info; }

  std::unique_ptr<ScanReader> clone() const override { return std::make_unique<EptReader>(*this); }

  std::uint64_t entryPoints() const override { return _info.pointCount; }

  ChunkBuilder startChunk(const PointRange& points, const osg::Vec3d& origin) const override {
    return {points, {_info.scale, _info.offset - origin, _colour}};
  }

  void decode(const PointRun& run, PointSink& to) override {
    requirePoints(_info, run.first, run.span());
    for (std::uint32_t place = 0; place < run.count; ++place) {
      to.add(_read(run.first + place * run.step));
    }
  }

  osg::Vec3d coordinates(std::uint64_t point) override {
    requirePoints(_info, point, 1);
    const RawPoint raw = _read(point);
    return lasCoordinates(_folder->firstTile.header, raw.x, raw.y, raw.z);
  }

  LasMetadata lasMetadata() override {
    const auto [file, las] = _folder->openTile(_folder->tiles.front());
    if (las.layout->wavePacketOffset != 0) {
      throw file.error("points of an EPT scan with waveforms cannot be saved, " +
                       lasHeaderPlace(&LasHeader::pointFormat));
    }
    LasMetadata metadata = readLasMetadata(file, las);
    _setCountsAndBounds(metadata.header);
    return metadata;
  }

  void readInside(std::uint64_t first, std::uint32_t count, const InsideTest& inside,
                  std::vector<unsigned char>& records) override {
    requirePoints(_info, first, count);
    const std::uint64_t end = first + count;
    while (first < end) {
      _openTileOf(first);
      const std::uint64_t here = std::min(end, _tile.end) - first;
      _points->readInside(first - _tile.first, static_cast<std::uint32_t>(here), inside, records);
      first += here;
    }
  }

 private:
  RawPoint _read(std::uint64_t point) {
    _openTileOf(point);
    return _points->read(point - _tile.first);
  }

  void _openTileOf(std::uint64_t point) {
    if (_points && _tile.contains(point)) {
      return;
    }
    const auto next =
        std::upper_bound(_folder->tiles.begin(), _folder->tiles.end(), point,
                         [](std::uint64_t wanted, const RecordNode& tile) { return wanted < tile.firstRecord; });
    const RecordNode& tile = *std::prev(next);
    _points.reset();
    const auto [file, las] = _folder->openTile(tile);
    _points = openLazPoints(file, las);
    _tile = {tile.firstRecord, tile.firstRecord + tile.pointCount};
  }

  // The first tiles are samples of the whole scan.
  ScanSample _sample() {
    constexpr std::uint64_t kSamplePoints = 16384;
    ScanSample sample;
    for (std::uint64_t point = 0; point < std::min(kSamplePoints, _info.pointCount); ++point) {
      sample.add(_read(point));
    }
    return sample;
  }

  void _addGeoreference() {
    const osg::BoundingBoxd& stated = _folder->bounds;
    const osg::Vec3d rounding(1.0, 1.0, 1.0);  // the origin is a whole number
    if (stated.valid() && osg::BoundingBoxd(stated._min - rounding, stated._max + rounding).contains(_info.origin)) {
      _info.bounds = stated;
    }
    _info.coordinateSystem = _folder->coordinateSystem;
    if (!_info.coordinateSystem.isKnown()) {
      const auto [file, las] = _folder->openTile(_folder->tiles.front());
      ScanInfo tile = _info;
      addGeoreference(file, las, tile);
      _info.coordinateSystem = tile.coordinateSystem;
    }
  }

  // In place of those of the first tile. The tiles' counts by return are not added up.
  void _setCountsAndBounds(LasHeader& header) const {
    const bool fits = _info.pointCount <= std::numeric_limits<std::uint32_t>::max() && header.pointFormat < 6;
    header.legacyPointCount = fits ? static_cast<std::uint32_t>(_info.pointCount) : 0;
    header.legacyPointsByReturn = {};
    header.extendedPointCount = header.versionMinor >= 4 ? _info.pointCount : 0;
    header.extendedPointsByReturn = {};
    const osg::BoundingBoxd bounds = _info.bounds.valid() ? _info.bounds : osg::BoundingBoxd(0, 0, 0, 0, 0, 0);
    header.maximumMinimum = {
        {{bounds.xMax(), bounds.xMin()}, {bounds.yMax(), bounds.yMin()}, {bounds.zMax(), bounds.zMin()}}};
  }

  std::shared_ptr<const EptFolder> _folder;
  ScanInfo _info;
  ColourDepth _colour;
  std::unique_ptr<LazPoints> _points;  // of the open tile
  PointSpan _tile;
};

}  // namespace

std::unique_ptr<ScanReader> openEpt(std::shared_ptr<const EptFolder> folder) {
  return std::make_unique<EptReader>(std::move(folder));
}

}  // namespace QuorViewer
