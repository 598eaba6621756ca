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
  const PlyType* countType = nullptr;  ///< of the number of items in a list; null where this is no list
};

struct PlyElement {
  std::string name;
  std::uint64_t count = 0;
  std::vector<PlyProperty> properties;

  /// Null where there is none of this name.
  const PlyProperty* property(std::string_view wanted) const;
};

struct PlyHeader {
  PlyEncoding encoding = PlyEncoding::Text;
  std::vector<PlyElement> elements;

  const PlyElement* element(std::string_view wanted) const;
};

/// The longest line that OpenSceneGraph's reader takes whole.
inline constexpr std::size_t kPlyMostLineBytes = 4000;

/// Splits a line the way OpenSceneGraph's reader does: at spaces and tabs, nothing else.
std::vector<std::string_view> plyWords(std::string_view line);

/// Reads the header and moves behind it. Throws ScanError.
PlyHeader readPlyHeader(const ScanFile& file, SequentialBytes& bytes);

}  // namespace QuorViewer
