#include "LazReader.h"

#include "ChunkBuilder.h"
#include "LasFrame.h"
#include "LasReader.h"
#include "LazCheck.h"
#include "ScanSample.h"

#include <laszip/laszip_api.h>

#include <algorithm>
#include <type_traits>

namespace QuorViewer {

namespace {

// Times, angles and sources are never shown; chunks in layers need not unpack them.
constexpr laszip_U32 kShownChannels = laszip_DECOMPRESS_SELECTIVE_CHANNEL_RETURNS_XY | laszip_DECOMPRESS_SELECTIVE_Z |
                                      laszip_DECOMPRESS_SELECTIVE_CLASSIFICATION |
                                      laszip_DECOMPRESS_SELECTIVE_INTENSITY | laszip_DECOMPRESS_SELECTIVE_RGB;

struct CloseReader {
  void operator()(void* reader) const {
    laszip_close_reader(reader);
    laszip_destroy(reader);
  }
};

/// LASzip's own reader object, its errors turned into ScanError.
class LaszipReader {
 public:
  /// `channels`: what to decompress of points in layers (`laszip_DECOMPRESS_SELECTIVE_…`); others come whole.
  LaszipReader(std::string path, laszip_U32 channels) : _path(std::move(path)) {
    laszip_POINTER created = nullptr;
    if (laszip_create(&created) != 0) {
      throw ScanError(_path + ": LASzip cannot be started");
    }
    _reader.reset(created);
    laszip_decompress_selective(created, channels);
    laszip_BOOL compressed = 0;
    _require(laszip_open_reader(created, _path.c_str(), &compressed), "the compressed scan cannot be opened");
    _require(laszip_get_point_pointer(created, &_point), "the compressed scan has no points to give");
  }

  /// Decompresses point `index`. Only where it does not follow the one before is anything sought: seeking unpacks a
  /// chunk from its first point. What it answers is the same object, filled anew, each time.
  const laszip_point_struct& read(std::uint64_t index) {
    if (index != _next) {
      _requireAt(laszip_seek_point(_reader.get(), static_cast<laszip_I64>(index)), index);
    }
    _next = kNowhere;
    _requireAt(laszip_read_point(_reader.get()), index);
    _next = index + 1;
    return *_point;
  }

 private:
  static constexpr std::uint64_t kNowhere = std::numeric_limits<std::uint64_t>::max();

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
  std::unique_ptr<std::remove_pointer_t<laszip_POINTER>, CloseReader> _reader;
  laszip_point_struct* _point = nullptr;
  std::uint64_t _next = kNowhere;
};

void decodeOldFlags(const laszip_point_struct& from, LasPoint& to) {
  to.returnNumber = from.return_number;
  to.returnCount = from.number_of_returns;
  to.classification = from.classification;
  to.synthetic = from.synthetic_flag != 0;
  to.keyPoint = from.keypoint_flag != 0;
  to.withheld = from.withheld_flag != 0;
  to.scanAngle = from.scan_angle_rank;  // NOLINT(bugprone-signed-char-misuse): a number, no letter
}

void decodeExtendedFlags(const laszip_point_struct& from, LasPoint& to) {
  to.returnNumber = from.extended_return_number;
  to.returnCount = from.extended_number_of_returns;
  to.classification = from.extended_classification;
  to.synthetic = (from.extended_classification_flags & 1U) != 0;
  to.keyPoint = (from.extended_classification_flags & 2U) != 0;
  to.withheld = (from.extended_classification_flags & 4U) != 0;
  to.overlap = (from.extended_classification_flags & 8U) != 0;
  to.scannerChannel = from.extended_scanner_channel;
  to.scanAngle = from.extended_scan_angle;
}

LasPoint decodePoint(const laszip_point_struct& from, bool extended) {
  LasPoint to;
  to.x = from.X;
  to.y = from.Y;
  to.z = from.Z;
  to.intensity = from.intensity;
  extended ? decodeExtendedFlags(from, to) : decodeOldFlags(from, to);
  to.scanDirection = from.scan_direction_flag != 0;
  to.edgeOfFlightLine = from.edge_of_flight_line != 0;
  to.userData = from.user_data;
  to.pointSource = from.point_source_ID;
  to.gpsTime = from.gps_time;
  std::copy_n(from.rgb, to.colour.size(), to.colour.begin());
  to.nearInfrared = from.rgb[3];
  std::copy_n(from.wave_packet, to.wavePacket.size(), to.wavePacket.begin());
  return to;
}

class LazReader : public ScanReader {
 public:
  LazReader(ScanFile file, const CheckedLas& las)
      : _file(std::move(file)),
        _las(las),
        _info(las.info(_file.path())),
        _chunkPoints(checkLaz(_file, las).chunkPoints) {
    const bool coloured = las.layout->colourOffset != 0;
    ScanSample sample;
    if (las.pointCount > 0) {
      _laszip = std::make_unique<LaszipReader>(_file.path(), kShownChannels);
      _fill(sample);
    }
    sample.complete(_info, coloured);
    _colour = coloured ? sample.colourDepth() : ColourDepth();
  }

  LazReader(const LazReader& other)
      : _file(other._info.path),
        _las(other._las),
        _info(other._info),
        _chunkPoints(other._chunkPoints),
        _colour(other._colour) {
    if (_info.pointCount > 0) _laszip = std::make_unique<LaszipReader>(_file.path(), kShownChannels);
  }

  const ScanInfo& info() const override { return _info; }

  std::unique_ptr<ScanReader> again() const override { return std::make_unique<LazReader>(*this); }

  std::uint64_t entryPoints() const override { return _chunkPoints; }

  ChunkBuilder startChunk(const PointRange& points, const osg::Vec3d& origin) const override {
    return {points, {_info.scale, _info.offset - origin, _colour}};
  }

  void decode(const PointRun& run, ChunkBuilder& to) override {
    requirePoints(_info, run.first, run.span());
    for (std::uint32_t place = 0; place < run.count; ++place) {
      to.add(_raw(_laszip->read(run.first + place * run.step)));
    }
  }

  osg::Vec3d coordinates(std::uint64_t point) override {
    requirePoints(_info, point, 1);
    return _coordinatesOf(_laszip->read(point));
  }

  LasFrame lasFrame() override { return readLasFrame(_file, _las); }

  void readInside(std::uint64_t first, std::uint32_t count, const InsideTest& inside,
                  std::vector<unsigned char>& records) override {
    requirePoints(_info, first, count);
    if (!_whole && count > 0) {
      _whole = std::make_unique<LaszipReader>(_file.path(), laszip_DECOMPRESS_SELECTIVE_ALL);
    }
    for (std::uint64_t point = first; point < first + count; ++point) {
      const laszip_point_struct& decompressed = _whole->read(point);
      if (inside(_coordinatesOf(decompressed))) _appendRecord(decompressed, records);
    }
  }

 private:
  RawPoint _raw(const laszip_point_struct& point) const {
    const bool extended = _las.layout->extended();
    RawPoint raw{};
    raw.x = point.X;
    raw.y = point.Y;
    raw.z = point.Z;
    raw.intensity = point.intensity;
    raw.classification = extended ? point.extended_classification : static_cast<std::uint8_t>(point.classification);
    raw.returns = extended ? packReturns(point.extended_return_number, point.extended_number_of_returns)
                           : packReturns(point.return_number, point.number_of_returns);
    raw.colour = {point.rgb[0], point.rgb[1], point.rgb[2]};
    return raw;
  }

  osg::Vec3d _coordinatesOf(const laszip_point_struct& point) const {
    return lasCoordinates(_las.header, point.X, point.Y, point.Z);
  }

  void _appendRecord(const laszip_point_struct& point, std::vector<unsigned char>& records) const {
    const RecordLayout& layout = *_las.layout;
    records.resize(records.size() + _las.header.recordLengthBytes);
    unsigned char* record = records.data() + records.size() - _las.header.recordLengthBytes;
    layout.encode(decodePoint(point, layout.extended()), record);
    const int extra = std::min<int>(point.num_extra_bytes, _las.header.recordLengthBytes - layout.lengthBytes);
    std::copy_n(point.extra_bytes, extra, record + layout.lengthBytes);
  }

  // Runs begin where chunks do, so that no point is unpacked only to be passed over.
  void _fill(ScanSample& sample) {
    const SampleRuns runs = spreadRuns(_info.pointCount, _chunkPoints);
    for (const std::uint64_t first : runs.firstPoints) {
      const std::uint64_t end = std::min(first + runs.length, _info.pointCount);
      for (std::uint64_t point = first; point < end; ++point) {
        sample.add(_raw(_laszip->read(point)));
      }
    }
  }

  ScanFile _file;
  CheckedLas _las;
  ScanInfo _info;
  std::uint64_t _chunkPoints;
  std::unique_ptr<LaszipReader> _laszip;
  std::unique_ptr<LaszipReader> _whole;  // unpacks what `_laszip` passes over; opened where records are wanted
  ColourDepth _colour;
};

}  // namespace

std::unique_ptr<ScanReader> openLaz(ScanFile file, const CheckedLas& las) {
  return std::make_unique<LazReader>(std::move(file), las);
}

}  // namespace QuorViewer
