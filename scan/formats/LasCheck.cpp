#include "scan/formats/LasCheck.h"

#include <cmath>
#include <limits>

namespace QuorViewer {

namespace {

constexpr std::array<const char*, 3> kAxisNames = {"x", "y", "z"};

class HeaderCheck {
 public:
  explicit HeaderCheck(const ScanFile& file) : _file(file) {}

  CheckedLas run() {
    _readHeader();
    _checkVersion();
    _checkLengths();
    _checkRecords();
    _checkGrid();
    _las.pointCount = _las.header.pointCount();
    _las.pointDataOffsetBytes = _las.header.pointDataOffsetBytes;
    if (!_las.header.compressed()) {
      _skipStartSignature();
      _checkCount();
    }
    return _las;
  }

 private:
  template <typename T>
  [[noreturn]] void _fail(const std::string& what, T LasHeader::*member, const std::string& comparison) const {
    throw _file.error(what + ", " + lasHeaderPlace(member) + ": " + comparison);
  }

  void _readHeader() {
    const std::vector<unsigned char> bytes = _file.beginning(kLasHeaderMostBytes);
    _las.header = LasHeader::parse(bytes.data(), bytes.size());
    const std::uint16_t needed = lasHeaderLengthBytes(bytes.size() > 25 ? _las.header.versionMinor : 0);
    const bool knownVersion = bytes.size() <= 25 || (_las.header.versionMajor == 1 && _las.header.versionMinor <= 4);
    if (knownVersion && bytes.size() < needed) {
      throw _file.error("the file ends inside its header, at byte " + std::to_string(bytes.size()) + ": " +
                        std::to_string(needed) + " bytes needed");
    }
  }

  void _checkVersion() const {
    const LasHeader& header = _las.header;
    const std::string found = std::to_string(header.versionMajor) + "." + std::to_string(header.versionMinor) +
                              " found, 1.0 to 1.4 supported";
    if (header.versionMajor != 1) {
      _fail("unsupported LAS version", &LasHeader::versionMajor, found);
    }
    if (header.versionMinor > 4) {
      _fail("unsupported LAS version", &LasHeader::versionMinor, found);
    }
  }

  void _checkLengths() const {
    const LasHeader& header = _las.header;
    const std::uint16_t least = lasHeaderLengthBytes(header.versionMinor);
    if (header.headerLengthBytes < least) {
      _fail("the header size is too small", &LasHeader::headerLengthBytes,
            std::to_string(header.headerLengthBytes) + " bytes found, LAS 1." + std::to_string(header.versionMinor) +
                " needs " + std::to_string(least));
    }
    if (header.pointDataOffsetBytes < header.headerLengthBytes) {
      _fail("the point data begin inside the header", &LasHeader::pointDataOffsetBytes,
            "offset " + std::to_string(header.pointDataOffsetBytes) + ", the header ends at byte " +
                std::to_string(header.headerLengthBytes));
    }
    if (header.pointDataOffsetBytes > _file.size()) {
      _fail("the point data begin beyond the end of the file", &LasHeader::pointDataOffsetBytes,
            "offset " + std::to_string(header.pointDataOffsetBytes) + ", the file ends at byte " +
                std::to_string(_file.size()));
    }
  }

  void _checkRecords() {
    const LasHeader& header = _las.header;
    _las.layout = RecordLayout::of(header.plainFormat());
    if (_las.layout == nullptr) {
      _fail(
          "unsupported point format", &LasHeader::pointFormat,
          std::to_string(header.plainFormat()) + " found, 0 to " + std::to_string(kLasFormatCount - 1) + " supported");
    }
    if (header.recordLengthBytes < _las.layout->lengthBytes) {
      _fail("the record length is too small", &LasHeader::recordLengthBytes,
            std::to_string(header.recordLengthBytes) + " bytes found, point format " +
                std::to_string(header.plainFormat()) + " needs " + std::to_string(_las.layout->lengthBytes));
    }
  }

  void _checkGrid() const {
    for (std::size_t axis = 0; axis < kAxisNames.size(); ++axis) {
      const double scale = _las.header.scale[axis];
      const double offset = _las.header.offset[axis];
      if (scale == 0 || !std::isfinite(scale)) {
        _failAxis("invalid scale", &LasHeader::scale, axis);
      }
      if (!std::isfinite(offset)) {
        _failAxis("invalid offset", &LasHeader::offset, axis);
      }
      const double farthest = std::abs(scale) * -double{std::numeric_limits<std::int32_t>::min()} + std::abs(offset);
      if (farthest > kFarthestCoordinate) {
        _failAxis("the coordinates exceed the range of single precision", &LasHeader::scale, axis);
      }
    }
  }

  void _failAxis(const std::string& what, std::array<double, 3> LasHeader::*member, std::size_t axis) const {
    _fail(what, member, std::to_string((_las.header.*member)[axis]) + " found for " + kAxisNames[axis]);
  }

  // LAS 1.0 puts the two bytes DD CC before the first record. Some writers of 1.0 and 1.1 state the offset of these
  // bytes, not of the record. The records' total length decides: the two bytes are skipped only if the file has room
  // for them.
  void _skipStartSignature() {
    constexpr std::uint64_t kSignatureBytes = 2;
    const std::uint64_t room = _file.size() - _las.pointDataOffsetBytes;
    if (_las.header.versionMinor > 1 || room < kSignatureBytes ||
        (room - kSignatureBytes) / _las.header.recordLengthBytes < _las.pointCount) {
      return;
    }
    std::array<unsigned char, kSignatureBytes> bytes{};
    _file.read(_las.pointDataOffsetBytes, bytes.data(), bytes.size());
    if (bytes[0] == 0xDD && bytes[1] == 0xCC) {
      _las.pointDataOffsetBytes += kSignatureBytes;
    }
  }

  void _checkCount() const {
    const std::uint64_t held = (_file.size() - _las.pointDataOffsetBytes) / _las.header.recordLengthBytes;
    if (held >= _las.pointCount) {
      return;
    }
    const std::string what = "the file is truncated or its point count is wrong";
    const std::string comparison = std::to_string(_las.pointCount) + " records of " +
                                   std::to_string(_las.header.recordLengthBytes) + " bytes expected from byte " +
                                   std::to_string(_las.pointDataOffsetBytes) + " on, " + std::to_string(held) +
                                   " found, the file ends at byte " + std::to_string(_file.size());
    if (_las.header.extendedPointCount != 0) {
      _fail(what, &LasHeader::extendedPointCount, comparison);
    }
    _fail(what, &LasHeader::legacyPointCount, comparison);
  }

  const ScanFile& _file;
  CheckedLas _las;
};

}  // namespace

std::string CheckedLas::formatText() const {
  return "LAS 1." + std::to_string(header.versionMinor) + ", point format " + std::to_string(header.plainFormat()) +
         (header.compressed() ? ", compressed (LAZ)" : "");
}

ScanInfo CheckedLas::info(const std::string& path) const {
  ScanInfo known;
  known.path = path;
  known.format = formatText();
  known.pointCount = pointCount;
  known.scale = osg::Vec3d(header.scale[0], header.scale[1], header.scale[2]);
  known.offset = osg::Vec3d(header.offset[0], header.offset[1], header.offset[2]);
  return known;
}

CheckedLas checkLas(const ScanFile& file) {
  return HeaderCheck(file).run();
}

osg::Vec3d lasCoordinates(const LasHeader& header, std::int32_t x, std::int32_t y, std::int32_t z) {
  return {x * header.scale[0] + header.offset[0], y * header.scale[1] + header.offset[1],
          z * header.scale[2] + header.offset[2]};
}

}  // namespace QuorViewer
