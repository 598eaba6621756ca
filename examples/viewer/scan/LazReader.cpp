#include "LazReader.h"

#include "ChunkBuilder.h"
#include "LasReader.h"
#include "LazCheck.h"
#include "ScanSample.h"

#include <laszip/laszip_api.h>

#include <algorithm>
#include <type_traits>

namespace QuorViewer {

namespace {

struct CloseReader {
  void operator()(void* reader) const {
    laszip_close_reader(reader);
    laszip_destroy(reader);
  }
};

/// LASzip's own reader object, its errors turned into ScanError.
class LaszipReader {
 public:
  LaszipReader(const ScanFile& file, bool extended) : _path(file.path()), _extended(extended) {
    laszip_POINTER created = nullptr;
    if (laszip_create(&created) != 0) {
      throw ScanError(_path + ": LASzip cannot be started");
    }
    _reader.reset(created);
    // Times, angles and sources are never shown; chunks in layers need not unpack them.
    laszip_decompress_selective(created, laszip_DECOMPRESS_SELECTIVE_CHANNEL_RETURNS_XY |
                                             laszip_DECOMPRESS_SELECTIVE_Z |
                                             laszip_DECOMPRESS_SELECTIVE_CLASSIFICATION |
                                             laszip_DECOMPRESS_SELECTIVE_INTENSITY | laszip_DECOMPRESS_SELECTIVE_RGB);
    laszip_BOOL compressed = 0;
    _require(laszip_open_reader(created, _path.c_str(), &compressed), "the compressed scan cannot be opened");
    _require(laszip_get_point_pointer(created, &_point), "the compressed scan has no points to give");
  }

  /// Decompresses point `index`. Only where it does not follow the one before is anything sought: seeking unpacks a
  /// chunk from its first point.
  RawPoint read(std::uint64_t index) {
    if (index != _next) {
      _requireAt(laszip_seek_point(_reader.get(), static_cast<laszip_I64>(index)), index);
    }
    _next = kNowhere;
    _requireAt(laszip_read_point(_reader.get()), index);
    _next = index + 1;
    return _raw();
  }

 private:
  static constexpr std::uint64_t kNowhere = std::numeric_limits<std::uint64_t>::max();

  RawPoint _raw() const {
    RawPoint raw{};
    raw.x = _point->X;
    raw.y = _point->Y;
    raw.z = _point->Z;
    raw.intensity = _point->intensity;
    raw.classification =
        _extended ? _point->extended_classification : static_cast<std::uint8_t>(_point->classification);
    raw.returns = _extended ? packReturns(_point->extended_return_number, _point->extended_number_of_returns)
                            : packReturns(_point->return_number, _point->number_of_returns);
    raw.colour = {_point->rgb[0], _point->rgb[1], _point->rgb[2]};
    return raw;
  }

  void _require(laszip_I32 failed, const std::string& what) const {
    if (failed != 0) {
      laszip_CHAR* reason = nullptr;
      laszip_get_error(_reader.get(), &reason);
      throw ScanError(_path + ": " + what + ": LASzip says \"" + (reason != nullptr ? reason : "nothing") + "\"");
    }
  }

  void _requireAt(laszip_I32 failed, std::uint64_t index) const {
    if (failed != 0) {
      _require(failed, "point " + std::to_string(index) + " (counted from 0) cannot be decompressed");
    }
  }

  std::string _path;
  bool _extended;
  std::unique_ptr<std::remove_pointer_t<laszip_POINTER>, CloseReader> _reader;
  laszip_point_struct* _point = nullptr;
  std::uint64_t _next = kNowhere;
};

class LazReader : public ScanReader {
 public:
  LazReader(ScanFile file, const CheckedLas& las)
      : _las(las), _info(las.info(file.path())), _chunkPoints(checkLaz(file, las).chunkPoints) {
    const bool coloured = las.layout->colourOffset != 0;
    ScanSample sample;
    if (las.pointCount > 0) {
      _laszip = std::make_unique<LaszipReader>(file, las.layout->extended());
      _fill(sample);
    }
    sample.complete(_info, coloured);
    _colour = coloured ? sample.colourDepth() : ColourDepth();
  }

  const ScanInfo& info() const override { return _info; }

  PointChunk read(std::uint64_t first, std::uint32_t count, const osg::Vec3d& origin) override {
    requirePoints(_info, first, count);
    ChunkBuilder builder(first, count, {_info.scale, _info.offset - origin, _colour});
    for (std::uint64_t point = first; point < first + count; ++point) {
      builder.add(_laszip->read(point));
    }
    return builder.finish();
  }

  osg::Vec3d coordinates(std::uint64_t point) override {
    requirePoints(_info, point, 1);
    const RawPoint raw = _laszip->read(point);
    return lasCoordinates(_las.header, raw.x, raw.y, raw.z);
  }

 private:
  // Runs begin where chunks do, so that no point is unpacked only to be passed over.
  void _fill(ScanSample& sample) {
    const SampleRuns runs = spreadRuns(_info.pointCount, _chunkPoints);
    for (const std::uint64_t first : runs.firstPoints) {
      const std::uint64_t end = std::min(first + runs.length, _info.pointCount);
      for (std::uint64_t point = first; point < end; ++point) {
        sample.add(_laszip->read(point));
      }
    }
  }

  CheckedLas _las;
  ScanInfo _info;
  std::uint64_t _chunkPoints;
  std::unique_ptr<LaszipReader> _laszip;
  ColourDepth _colour;
};

}  // namespace

std::unique_ptr<ScanReader> openLaz(ScanFile file, const CheckedLas& las) {
  return std::make_unique<LazReader>(std::move(file), las);
}

}  // namespace QuorViewer
