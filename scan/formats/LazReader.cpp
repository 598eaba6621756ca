#include "scan/formats/LazReader.h"

#include "scan/ChunkBuilder.h"
#include "scan/ScanSample.h"
#include "scan/formats/LasGeoreference.h"
#include "scan/formats/LasMetadata.h"
#include "scan/formats/LasReader.h"
#include "scan/formats/LazPoints.h"

#include <algorithm>
#include <utility>

namespace QuorViewer {

namespace {

class LazReader : public ScanReader {
 public:
  LazReader(ScanFile file, const CheckedLas& las)
      : _file(std::move(file)), _las(las), _info(las.info(_file.path())), _points(openLazPoints(_file, las)) {
    const bool coloured = las.layout->colourOffset != 0;
    const ScanSample sample = _sample();
    sample.complete(_info, coloured);
    addGeoreference(_file, _las, _info);
    _colour = coloured ? sample.colourDepth() : ColourDepth();
  }

  LazReader(const LazReader& other)
      : _file(other._file),
        _las(other._las),
        _info(other._info),
        _points(other._points->clone()),
        _colour(other._colour) {}

  const ScanInfo& info() const override { return _info; }

  std::unique_ptr<ScanReader> clone() const override { return std::make_unique<LazReader>(*this); }

  std::uint64_t entryPoints() const override { return _points->chunks().chunkPoints; }

  ChunkBuilder startChunk(const PointRange& points, const osg::Vec3d& origin) const override {
    return {points, {_info.scale, _info.offset - origin, _colour}};
  }

  void decode(const PointRun& run, PointSink& to) override {
    requirePoints(_info, run.first, run.span());
    for (std::uint32_t place = 0; place < run.count; ++place) {
      to.add(_points->read(run.first + place * run.step));
    }
  }

  osg::Vec3d coordinates(std::uint64_t point) override {
    requirePoints(_info, point, 1);
    const RawPoint raw = _points->read(point);
    return lasCoordinates(_las.header, raw.x, raw.y, raw.z);
  }

  LasMetadata lasMetadata() override { return readLasMetadata(_file, _las); }

  void readInside(std::uint64_t first, std::uint32_t count, const InsideTest& inside,
                  std::vector<unsigned char>& records) override {
    requirePoints(_info, first, count);
    _points->readInside(first, count, inside, records);
  }

 private:
  // Runs begin where chunks do, so that no point is decompressed only to be skipped.
  ScanSample _sample() {
    const auto entryBefore = [&](std::uint64_t point) { return _points->chunks().chunkOf(point).first; };
    ScanSample sample;
    for (const PointSpan& run : spreadRuns(_info.pointCount, entryBefore)) {
      for (std::uint64_t point = run.first; point < run.end; ++point) {
        sample.add(_points->read(point));
      }
    }
    return sample;
  }

  ScanFile _file;
  CheckedLas _las;
  ScanInfo _info;
  std::unique_ptr<LazPoints> _points;
  ColourDepth _colour;
};

}  // namespace

std::unique_ptr<ScanReader> openLaz(ScanFile file, const CheckedLas& las) {
  return std::make_unique<LazReader>(std::move(file), las);
}

}  // namespace QuorViewer
