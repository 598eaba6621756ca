#include "scan/formats/LazPoints.h"

#include "scan/ScanFileBuffer.h"

#include <laszip/laszip_api.h>

#include <algorithm>
#include <istream>
#include <limits>
#include <type_traits>
#include <utility>

namespace QuorViewer {

namespace {

// Times, angles and sources are never shown; in layered chunks they need not be decompressed.
constexpr laszip_U32 kShownChannels = laszip_DECOMPRESS_SELECTIVE_CHANNEL_RETURNS_XY | laszip_DECOMPRESS_SELECTIVE_Z |
                                      laszip_DECOMPRESS_SELECTIVE_CLASSIFICATION |
                                      laszip_DECOMPRESS_SELECTIVE_INTENSITY | laszip_DECOMPRESS_SELECTIVE_RGB;

struct CloseReader {
  void operator()(void* reader) const {
    laszip_close_reader(reader);
    laszip_destroy(reader);
  }
};

/// LASzip's reader object, with its errors converted to ScanError. An error does not reset the decoder, and continuing
/// with it may divide by zero; so the rest of its chunk is refused from then on. Entering another chunk resets the
/// decoder.
class LaszipReader {
 public:
  /// `channels`: what to decompress of layered points (`laszip_DECOMPRESS_SELECTIVE_…`); others are decompressed whole.
  LaszipReader(const ScanFile& file, const CheckedLaz& chunks, laszip_U32 channels)
      : _path(file.path()), _buffer(file), _stream(&_buffer), _chunks(chunks) {
    laszip_POINTER created = nullptr;
    if (laszip_create(&created) != 0) {
      throw ScanError(_path + ": cannot initialise LASzip");
    }
    _reader.reset(created);
    laszip_decompress_selective(created, channels);
    laszip_BOOL compressed = 0;
    _require(laszip_open_reader_stream(created, _stream, &compressed), "cannot open the compressed scan");
    _require(laszip_get_point_pointer(created, &_point), "cannot access the compressed points");
  }

  /// Decompresses point `index`. Each call refills and returns the same object.
  const laszip_point_struct& read(std::uint64_t index) {
    if (!_chunk.contains(index)) {
      _chunk = _chunks.chunkOf(index);
    }
    if (!_isReachedByGoingOn(index)) {
      _seekChunk(index);
    }
    for (std::uint64_t point = std::exchange(_next, kNowhere); point <= index; ++point) {
      _requireAt(laszip_read_point(_reader.get()), point);
    }
    _next = index + 1;
    return *_point;
  }

 private:
  static constexpr std::uint64_t kNowhere = std::numeric_limits<std::uint64_t>::max();

  bool _isReachedByGoingOn(std::uint64_t index) const { return _next >= _chunk.first && _next <= index; }

  // When LASzip seeks a point within a chunk, it does not check whether the points before it can be decompressed. So
  // chunks are entered at their first point, and `read` steps on from there.
  void _seekChunk(std::uint64_t index) {
    if (index >= _damage && _chunk.contains(_damage)) {
      throw ScanError(_damageText);
    }
    _next = kNowhere;
    _stream.clear();
    _requireAt(laszip_seek_point(_reader.get(), static_cast<laszip_I64>(_chunk.first)), _chunk.first);
    _next = _chunk.first;
  }

  std::string _errorText(const std::string& what) const {
    laszip_CHAR* reason = nullptr;
    laszip_get_error(_reader.get(), &reason);
    return _path + ": " + what + ": LASzip reports \"" + (reason != nullptr ? reason : "nothing") + "\"";
  }

  void _require(laszip_I32 failed, const std::string& what) const {
    if (failed != 0) {
      throw ScanError(_errorText(what));
    }
  }

  void _requireAt(laszip_I32 failed, std::uint64_t index) {
    if (failed == 0) {
      return;
    }
    _damage = index;
    _damageText = _errorText("point " + std::to_string(index) + " (counted from 0) cannot be decompressed");
    throw ScanError(_damageText);
  }

  std::string _path;
  ScanFileBuffer _buffer;
  std::istream _stream;
  CheckedLaz _chunks;
  std::unique_ptr<std::remove_pointer_t<laszip_POINTER>, CloseReader> _reader;
  laszip_point_struct* _point = nullptr;
  PointSpan _chunk;  // with the point that was read last
  std::uint64_t _next = kNowhere;
  std::uint64_t _damage = kNowhere;  // the latest point that was refused
  std::string _damageText;
};

void decodeOldFlags(const laszip_point_struct& from, LasPoint& to) {
  to.returnNumber = from.return_number;
  to.returnCount = from.number_of_returns;
  to.classification = from.classification;
  to.synthetic = from.synthetic_flag != 0;
  to.keyPoint = from.keypoint_flag != 0;
  to.withheld = from.withheld_flag != 0;
  to.scanAngle = from.scan_angle_rank;  // NOLINT(bugprone-signed-char-misuse): a number, not a character
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

class LaszipPoints : public LazPoints {
  /// Opened on first use.
  struct Decompression {
    laszip_U32 channels;
    std::unique_ptr<LaszipReader> laszip;
  };

 public:
  LaszipPoints(ScanFile file, const CheckedLas& las, CheckedLaz chunks)
      : _file(std::move(file)), _las(las), _chunks(std::move(chunks)) {}

  const CheckedLaz& chunks() const override { return _chunks; }

  std::unique_ptr<LazPoints> clone() const override { return std::make_unique<LaszipPoints>(_file, _las, _chunks); }

  RawPoint read(std::uint64_t point) override {
    const bool extended = _las.layout->extended();
    const laszip_point_struct& from = _read(_shown, point);
    RawPoint raw{};
    raw.x = from.X;
    raw.y = from.Y;
    raw.z = from.Z;
    raw.intensity = from.intensity;
    raw.classification = extended ? from.extended_classification : static_cast<std::uint8_t>(from.classification);
    raw.returns = extended ? packReturns(from.extended_return_number, from.extended_number_of_returns)
                           : packReturns(from.return_number, from.number_of_returns);
    raw.colour = {from.rgb[0], from.rgb[1], from.rgb[2]};
    return raw;
  }

  void readInside(std::uint64_t first, std::uint32_t count, const InsideTest& inside,
                  std::vector<unsigned char>& records) override {
    for (std::uint64_t point = first; point < first + count; ++point) {
      const laszip_point_struct& decompressed = _read(_whole, point);
      if (inside(lasCoordinates(_las.header, decompressed.X, decompressed.Y, decompressed.Z))) {
        _appendRecord(decompressed, records);
      }
    }
  }

 private:
  const laszip_point_struct& _read(Decompression& from, std::uint64_t point) {
    try {
      if (!from.laszip) {
        from.laszip = _open(from.channels);
      }
      return from.laszip->read(point);
    } catch (const ScanError&) {
      const std::uint64_t bytes = _file.sizeNow();
      if (bytes < _file.size()) {
        throw _file.cutOff(bytes);
      }
      throw;
    }
  }

  // LASzip reads the start of the file and its chunk table itself, and they may have changed since the check.
  std::unique_ptr<LaszipReader> _open(laszip_U32 channels) const {
    checkLaz(_file, _las);
    return std::make_unique<LaszipReader>(_file, _chunks, channels);
  }

  void _appendRecord(const laszip_point_struct& point, std::vector<unsigned char>& records) const {
    const RecordLayout& layout = *_las.layout;
    records.resize(records.size() + _las.header.recordLengthBytes);
    unsigned char* record = records.data() + records.size() - _las.header.recordLengthBytes;
    layout.encode(decodePoint(point, layout.extended()), record);
    const int extra = std::min<int>(point.num_extra_bytes, _las.header.recordLengthBytes - layout.lengthBytes);
    std::copy_n(point.extra_bytes, extra, record + layout.lengthBytes);
  }

  ScanFile _file;
  CheckedLas _las;
  CheckedLaz _chunks;
  Decompression _shown{kShownChannels, nullptr};
  Decompression _whole{laszip_DECOMPRESS_SELECTIVE_ALL, nullptr};
};

}  // namespace

std::unique_ptr<LazPoints> openLazPoints(const ScanFile& file, const CheckedLas& las) {
  return std::make_unique<LaszipPoints>(file, las, checkLaz(file, las));
}

}  // namespace QuorViewer
