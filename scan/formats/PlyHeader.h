#pragma once

#include "scan/ScanFile.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace QuorViewer {

enum class PlyEncoding { Text, LittleEndian, BigEndian };

/// A type of number that OpenSceneGraph's PLY reader knows.
struct PlyType {
  std::string_view name;
  unsigned bytes;
  bool integer;
  bool isSigned;
};

struct PlyProperty {
  std::string name;
  const PlyType* type = nullptr;
  const PlyType* countType = nullptr;  ///< of the number of items in a list; null if this is not a list
};

struct PlyElement {
  std::string name;
  std::uint64_t count = 0;
  std::vector<PlyProperty> properties;

  /// Null if there is none of this name.
  const PlyProperty* property(std::string_view wanted) const;
};

struct PlyHeader {
  PlyEncoding encoding = PlyEncoding::Text;
  std::vector<PlyElement> elements;

  const PlyElement* element(std::string_view wanted) const;
};

/// The longest line that OpenSceneGraph's reader reads whole.
inline constexpr std::size_t kPlyMostLineBytes = 4000;

/// Splits a line as OpenSceneGraph's reader does: at spaces and tabs only.
std::vector<std::string_view> plyWords(std::string_view line);

/// Reads the header and moves past it. Throws ScanError.
PlyHeader readPlyHeader(const ScanFile& file, SequentialBytes& bytes);

}  // namespace QuorViewer
