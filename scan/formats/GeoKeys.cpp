#include "scan/formats/GeoKeys.h"

#include "scan/LittleEndian.h"

#include <cstdint>
#include <map>
#include <string>

namespace QuorViewer {
namespace {

// Keys of the GeoTIFF standard.
constexpr unsigned kModelType = 1024;
constexpr unsigned kCitation = 1026;
constexpr unsigned kGeographicType = 2048;
constexpr unsigned kGeographicCitation = 2049;
constexpr unsigned kProjectedType = 3072;
constexpr unsigned kProjectedCitation = 3073;
constexpr unsigned kLinearUnits = 3076;

constexpr unsigned kProjectedModel = 1;
constexpr unsigned kGeographicModel = 2;
constexpr unsigned kUserDefined = 32767;
constexpr unsigned kTextRecord = 34737;

struct GeoKey {
  unsigned location = 0;  ///< 0: the value is in the key
  unsigned count = 0;
  unsigned value = 0;
};

class GeoKeys {
 public:
  GeoKeys(const std::vector<unsigned char>& directory, std::string_view texts) : _texts(texts) {
    constexpr std::size_t kEntryBytes = 8;
    const auto number = [&](std::size_t at) { return unsigned{loadLittle<std::uint16_t>(directory.data() + at)}; };
    const std::size_t count = directory.size() < kEntryBytes ? 0 : number(6);
    for (std::size_t at = kEntryBytes; at + kEntryBytes <= directory.size() && _keys.size() < count;
         at += kEntryBytes) {
      _keys[number(at)] = {number(at + 2), number(at + 4), number(at + 6)};
    }
  }

  unsigned value(unsigned key) const {
    const auto found = _keys.find(key);
    return found != _keys.end() && found->second.location == 0 ? found->second.value : 0;
  }
  /// An EPSG code; 0 if there is none.
  unsigned code(unsigned key) const { return value(key) == kUserDefined ? 0 : value(key); }

  // Texts end with a vertical bar.
  std::string text(unsigned key) const {
    const auto found = _keys.find(key);
    if (found == _keys.end() || found->second.location != kTextRecord || found->second.value > _texts.size()) {
      return {};
    }
    std::string_view text = _texts.substr(found->second.value, found->second.count);
    return std::string(text.substr(0, text.find_first_of(std::string_view("|\0", 2))));
  }

 private:
  std::string_view _texts;
  std::map<unsigned, GeoKey> _keys;
};

double metresPerUnitOf(unsigned unit) {
  switch (unit) {
    case 9001:
      return 1.0;
    case 9002:  // foot
      return 0.3048;
    case 9003:  // US survey foot
      return 1200.0 / 3937.0;
    default:
      return 0.0;
  }
}

}  // namespace

CoordinateSystem coordinateSystemOfGeoKeys(const std::vector<unsigned char>& directory, std::string_view texts) {
  const GeoKeys keys(directory, texts);
  const bool projected = keys.value(kProjectedType) != 0 || keys.value(kModelType) == kProjectedModel;
  CoordinateSystem system;
  system.epsg = keys.code(projected ? kProjectedType : kGeographicType);
  system.name = keys.text(projected ? kProjectedCitation : kGeographicCitation);
  if (system.name.empty()) {
    system.name = keys.text(kCitation);
  }
  const bool angles = !projected && keys.value(kModelType) == kGeographicModel;
  system.metresPerUnit = angles ? 0.0 : metresPerUnitOf(keys.value(kLinearUnits));
  return system;
}

}  // namespace QuorViewer
