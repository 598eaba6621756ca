#pragma once

#include <array>
#include <cstdint>
#include <type_traits>

namespace QuorViewer {

/// A point on its way into the index, and its form in temporary files.
struct IndexPoint {
  std::array<std::uint32_t, 3> grid{};   ///< steps of the `IndexGrid` from the cube's least corner
  std::uint32_t record = 0;              ///< index in the scan
  std::array<std::uint8_t, 3> colour{};  ///< red, green, blue
  std::uint8_t classification = 0;
  std::uint16_t intensity = 0;
  std::uint8_t returns = 0;  ///< as in `RawPoint`
  std::uint8_t unused = 0;
};
static_assert(sizeof(IndexPoint) == 24 && std::is_trivially_copyable_v<IndexPoint>);

}  // namespace QuorViewer
