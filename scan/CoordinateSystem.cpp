#include "scan/CoordinateSystem.h"

#include <cctype>

namespace QuorViewer {
namespace {

// Letters and digits in lower case: "NAD83 / UTM zone 10N" and "NAD83_UTM_zone_10N" are equal.
std::string plain(const std::string& name) {
  std::string letters;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0) {
      letters += static_cast<char>(std::tolower(byte));
    }
  }
  return letters;
}

}  // namespace

std::string CoordinateSystem::text() const {
  return epsg != 0 && !name.empty() ? shortText() + " (" + name + ")" : shortText();
}

std::string CoordinateSystem::shortText() const {
  return epsg != 0 ? "EPSG:" + std::to_string(epsg) : name;
}

bool CoordinateSystem::mayEqual(const CoordinateSystem& other) const {
  if (epsg != 0 && other.epsg != 0) {
    return epsg == other.epsg;
  }
  const bool namesDecide = epsg == 0 && other.epsg == 0 && !name.empty() && !other.name.empty();
  return !namesDecide || plain(name) == plain(other.name);
}

}  // namespace QuorViewer
