#pragma once

#include "scan/LittleEndian.h"
#include "scan/formats/LasFormat.h"

#include <array>
#include <cstdint>
#include <type_traits>

namespace QuorViewer {

/// What the viewer shows of a point, still as stored in its record.
struct RawPoint {
  std::int32_t x;
  std::int32_t y;
  std::int32_t z;
  std::uint16_t intensity;
  std::uint8_t classification;
  std::uint8_t returns;  ///< return number in the low, number of returns in the high 4 bits
  std::array<std::uint16_t, 3> colour;
};

/// Packs a return number and a number of returns of at most 4 bits each.
constexpr std::uint8_t packReturns(unsigned number, unsigned count) {
  return static_cast<std::uint8_t>((number & 15U) | (count & 15U) << 4U);
}

/// Reads a record. Everything that depends on the point format is decided at compile time, so that a loop over records
/// has no branches.
template <bool extended, bool coloured>
inline RawPoint readRecord(const unsigned char* record, std::size_t colourOffset) {
  RawPoint point{};
  loadLittle(record, point.x);
  loadLittle(record + 4, point.y);
  loadLittle(record + 8, point.z);
  loadLittle(record + kIntensityOffset, point.intensity);
  const unsigned returns = record[kReturnsOffset];
  point.returns = extended ? static_cast<std::uint8_t>(returns) : packReturns(returns & 7U, returns >> 3U & 7U);
  point.classification = extended ? record[16] : static_cast<std::uint8_t>(record[15] & 31U);
  if (coloured) {
    loadLittle(record + colourOffset, point.colour);
  }
  return point;
}

/// Calls `visit` with two compile-time constants, extended and coloured, that match the layout.
template <typename Visitor>
void withRecordKind(const RecordLayout& layout, bool coloured, const Visitor& visit) {
  const auto withColour = [&](auto extended) {
    coloured ? visit(extended, std::true_type()) : visit(extended, std::false_type());
  };
  layout.extended() ? withColour(std::true_type()) : withColour(std::false_type());
}

}  // namespace QuorViewer
