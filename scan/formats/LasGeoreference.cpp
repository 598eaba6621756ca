#include "scan/formats/LasGeoreference.h"

#include "scan/formats/GeoKeys.h"
#include "scan/formats/LasRecords.h"
#include "scan/formats/Wkt.h"

#include <cmath>
#include <string>
#include <vector>

namespace QuorViewer {
namespace {

constexpr std::string_view kProjectionUserId = "LASF_Projection";
constexpr std::uint16_t kGeoKeysId = 34735;
constexpr std::uint16_t kGeoTextsId = 34737;
constexpr std::uint16_t kWktId = 2112;
constexpr unsigned kWktBit = 0x10;  // of the global encoding

using Content = std::vector<unsigned char>;

std::string_view textOf(const Content& content) {
  const std::string_view text(reinterpret_cast<const char*>(content.data()), content.size());
  return text.substr(0, text.find('\0'));
}

class ProjectionReader {
 public:
  ProjectionReader(const ScanFile& file, const CheckedLas& las) : _file(file), _las(las) {}

  // A file may state its system in both ways; a bit of the header decides which one is valid.
  CoordinateSystem run() {
    _readRecords(_las.header.headerLengthBytes, _las.pointDataOffsetBytes, _las.header.variableRecordCount, false);
    _readRecords(_las.header.extendedRecordsOffsetBytes, _file.size(), _las.header.extendedRecordCount, true);
    const CoordinateSystem byKeys = coordinateSystemOfGeoKeys(_geoKeys, textOf(_geoTexts));
    const CoordinateSystem byWkt = coordinateSystemOfWkt(textOf(_wkt));
    const bool wktIsValid = (_las.header.globalEncoding & kWktBit) != 0;
    return byWkt.isKnown() && (wktIsValid || !byKeys.isKnown()) ? byWkt : byKeys;
  }

 private:
  void _readRecords(std::uint64_t at, std::uint64_t end, std::uint32_t count, bool extended) {
    constexpr std::uint32_t kMostRecords = 1000;
    for (std::uint32_t number = 0; number < std::min(count, kMostRecords); ++number) {
      const std::optional<LasRecord> record = lasRecordAt(_file, at, end, extended);
      if (!record) {
        return;
      }
      _read(*record);
      at += record->range.bytes;
    }
  }

  void _read(const LasRecord& record) {
    constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 20U;
    const auto readInto = [&](std::uint16_t id, Content& content) {
      if (record.head.is(kProjectionUserId, id) && content.empty() && record.head.contentBytes <= kMostBytes) {
        content.resize(static_cast<std::size_t>(record.head.contentBytes));
        _file.read(record.content().offset, content.data(), content.size());
      }
    };
    readInto(kGeoKeysId, _geoKeys);
    readInto(kGeoTextsId, _geoTexts);
    readInto(kWktId, _wkt);
  }

  const ScanFile& _file;
  const CheckedLas& _las;
  Content _geoKeys, _geoTexts, _wkt;
};

osg::BoundingBoxd statedBounds(const LasHeader& header) {
  osg::BoundingBoxd bounds;
  for (int axis = 0; axis < 3; ++axis) {
    const auto& [greatest, least] = header.maximumMinimum[static_cast<std::size_t>(axis)];
    if (!std::isfinite(least) || !std::isfinite(greatest)) {
      return {};
    }
    bounds._min[axis] = least;
    bounds._max[axis] = greatest;
  }
  return bounds;
}

}  // namespace

void addGeoreference(const ScanFile& file, const CheckedLas& las, ScanInfo& info) {
  info.coordinateSystem = ProjectionReader(file, las).run();
  const osg::BoundingBoxd bounds = statedBounds(las.header);
  const osg::Vec3d rounding(1.0, 1.0, 1.0);  // the origin is a whole number
  if (bounds.valid() && osg::BoundingBoxd(bounds._min - rounding, bounds._max + rounding).contains(info.origin)) {
    info.bounds = bounds;
  }
}

}  // namespace QuorViewer
