#include "make_scan/RecordEncoder.h"

#include "scan/LittleEndian.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace QuorViewer {

namespace {

constexpr std::size_t kRecordHeaderBytes = 54;
constexpr std::size_t kDescriptionBytes = 192;
constexpr std::size_t kDescribedBytesMost = 255;
constexpr std::uint16_t kExtraBytesRecord = 4;
constexpr std::uint16_t kCoordinateSystemRecord = 2112;
constexpr std::uint16_t kWellKnownTextBit = 1U << 4U;
const char kCoordinateSystem[] = "LOCAL_CS[\"Simulated town\",UNIT[\"metre\",1]]";

// Text fields are padded with zero bytes, which is their initial value.
template <typename Iterator>
void setText(Iterator field, std::string_view text) {
  std::copy(text.begin(), text.end(), field);
}

void addRecord(Preamble& preamble, std::string_view user, std::uint16_t record,
               const std::vector<unsigned char>& content) {
  std::vector<unsigned char> bytes(kRecordHeaderBytes);
  setText(bytes.data() + 2, user);
  storeLittle(record, bytes.data() + 18);
  storeLittle(static_cast<std::uint16_t>(content.size()), bytes.data() + 20);
  std::vector<unsigned char>& all = preamble.variableRecords;
  all.insert(all.end(), bytes.begin(), bytes.end());
  all.insert(all.end(), content.begin(), content.end());
  ++preamble.header.variableRecordCount;
}

// Bytes of undefined type (0), described at most 255 at a time, because the count field holds no more.
void describeExtraBytes(Preamble& preamble, std::size_t count) {
  std::vector<unsigned char> content;
  for (std::size_t left = count; left > 0; left -= std::min(left, kDescribedBytesMost)) {
    std::vector<unsigned char> description(kDescriptionBytes);
    description[3] = static_cast<unsigned char>(std::min(left, kDescribedBytesMost));
    setText(description.data() + 4, "filler");
    setText(description.data() + 160, "point index plus byte index");
    content.insert(content.end(), description.begin(), description.end());
  }
  addRecord(preamble, "LASF_Spec", kExtraBytesRecord, content);
}

std::uint16_t toField(double share, double most) {
  return static_cast<std::uint16_t>(std::floor(std::clamp(share, 0.0, 1.0) * most + 0.5));
}

std::int32_t steps(double metres, double scale) {
  return static_cast<std::int32_t>(std::floor(metres / scale + 0.5));
}

/// Converts echoes to records, one after the other.
class Encoder {
 public:
  Encoder(const Options& options, const LasHeader& header, const Block& block)
      : _options(options),
        _layout(*RecordLayout::of(header.pointFormat)),
        _recordBytes(header.recordLengthBytes),
        _index(block.firstPoint),
        _source(static_cast<std::uint16_t>(Scanner::stationOf(block.sector) + 1)) {
    _bytes.resize(block.count * _recordBytes);
    _next = _bytes.data();
  }

  void add(const Echo& echo) {
    constexpr double kStartSeconds = 432000.0;
    constexpr double kSecondsPerPoint = 1.0 / 1048576.0;  // a power of two, so that times are exact
    LasPoint point;
    point.returnCount = static_cast<std::uint8_t>(echo.count);
    point.pointSource = _source;
    point.gpsTime = kStartSeconds + static_cast<double>(_index) * kSecondsPerPoint;
    const double step = _layout.extended() ? 0.006 : 1.0;
    point.scanAngle = static_cast<std::int16_t>(std::floor(echo.scanAngleDegrees / step + 0.5));
    for (std::size_t number = 0; number < echo.count; ++number) {
      point.returnNumber = static_cast<std::uint8_t>(number + 1);
      _describe(echo.returns[number], point);
      _store(point);
    }
  }

  std::vector<unsigned char> takeBytes() { return std::move(_bytes); }

 private:
  void _describe(const Return& one, LasPoint& point) const {
    constexpr std::uint8_t kClassesInFiveBits = 32;
    const double colourMost = _options.colourBits == 8 ? 255.0 : 65535.0;
    point.x = steps(one.hit.position.x(), _options.scale);
    point.y = steps(one.hit.position.y(), _options.scale);
    point.z = steps(one.hit.position.z(), _options.scale);
    point.intensity = toField(one.intensity, 65535.0);
    const bool fits = _layout.extended() || one.hit.classification < kClassesInFiveBits;
    point.classification = fits ? one.hit.classification : kUnclassified;
    for (int channel = 0; channel < 3; ++channel) {
      point.colour[static_cast<std::size_t>(channel)] = toField(one.look.colour[channel], colourMost);
    }
    point.nearInfrared = toField(one.look.nearInfrared, colourMost);
  }

  void _store(const LasPoint& point) {
    _layout.encode(point, _next);
    for (std::size_t place = 0; place < _recordBytes - _layout.lengthBytes; ++place) {
      _next[_layout.lengthBytes + place] = static_cast<unsigned char>((_index + place) & 0xFFU);
    }
    _next += _recordBytes;
    ++_index;
  }

  const Options& _options;
  const RecordLayout& _layout;
  const std::size_t _recordBytes;
  std::uint64_t _index;
  const std::uint16_t _source;
  std::vector<unsigned char> _bytes;
  unsigned char* _next = nullptr;
};

}  // namespace

Preamble preamble(const Options& options) {
  Preamble result;
  LasHeader& header = result.header;
  header.versionMinor = static_cast<std::uint8_t>(options.version());
  header.headerLengthBytes = lasHeaderLengthBytes(options.version());
  header.pointDataOffsetBytes = static_cast<std::uint32_t>(options.sparseOffset);
  header.pointFormat = static_cast<std::uint8_t>(options.format);
  header.recordLengthBytes =
      static_cast<std::uint16_t>(RecordLayout::of(options.format)->lengthBytes + options.extraBytes);
  header.scale.fill(options.scale);
  header.offset = options.origin;
  // A fixed date, so that the same arguments give the same bytes on any day.
  header.creationYear = 2026;
  header.creationDayOfYear = 1;
  setText(header.systemIdentifier.begin(), "simulated scanner");
  setText(header.generatingSoftware.begin(), "quor_make_scan");
  if (options.extraBytes > 0) {
    describeExtraBytes(result, options.extraBytes);
  }
  if (options.format >= 6) {
    addRecord(result, "LASF_Projection", kCoordinateSystemRecord,
              {std::begin(kCoordinateSystem), std::end(kCoordinateSystem)});
    header.globalEncoding = kWellKnownTextBit;
  }
  // LAS 1.0 marks the start of its points with a signature of two bytes.
  if (options.version() == 0) {
    result.variableRecords.insert(result.variableRecords.end(), {0xCC, 0xDD});
  }
  return result;
}

std::vector<unsigned char> encodeBlock(const Scanner& scanner, const Block& block, const Options& options,
                                       const LasHeader& header) {
  Encoder encoder(options, header, block);
  forEachEcho(scanner, block, [&](const Echo& echo) { encoder.add(echo); });
  return encoder.takeBytes();
}

}  // namespace QuorViewer
