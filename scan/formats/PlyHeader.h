#pragma once

#include "scan/ScanFile.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace QuorViewer {

enum class PlyEncoding { Text, LittleEndian, BigEndian };

/// A type of number in PLY files.
struct PlyType {
  std::array<std::string_view, 2> names;
  unsigned bytes;
  bool integer;
  bool isSigned;
};

/// Values of a vertex that are read. The order is that of a table in the implementation.
enum class PlyValue { X, Y, Z, Red, Green, Blue, Intensity, None };
inline constexpr std::size_t kPlyValues = static_cast<std::size_t>(PlyValue::None);

struct PlyProperty {
  std::string name;
  const PlyType* type = nullptr;
  const PlyType* countType = nullptr;  ///< of the number of items in a list; null if this is not a list
  PlyValue value = PlyValue::None;     ///< set for vertices only
};

struct PlyElement {
  std::string name;
  std::uint64_t count = 0;
  std::vector<PlyProperty> properties;

  /// Length of one element in a binary file; 0 if it varies.
  std::uint64_t recordBytes() const;
  /// The property with a value; null if there is none.
  const PlyProperty* property(PlyValue value) const;
};

struct PlyHeader {
  PlyEncoding encoding = PlyEncoding::Text;
  std::vector<PlyElement> before;  ///< the elements stored before the vertices
  PlyElement vertex;               ///< has x, y and z, none of them a list
};

/// Reads the header, which may have 1,000 elements and 1,000 properties in all, and moves past it. What follows the
/// vertices is left out. Throws ScanError.
PlyHeader readPlyHeader(SequentialBytes& bytes);

}  // namespace QuorViewer
