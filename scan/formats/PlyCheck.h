#pragma once

#include "scan/ScanFile.h"

#include <cstdint>

namespace QuorViewer {

/// The contents of a text or PLY file, as checked before OpenSceneGraph's reader is used on it.
struct CheckedVertices {
  std::uint64_t count = 0;
  bool coloured = false;  ///< every vertex has 8-bit red, green and blue
};

/// Checks a whole PLY file for everything that OpenSceneGraph's PLY reader takes for granted. Words missing from a
/// line, counts beyond the data, or indices beyond the vertices make it read or write out of bounds, and it silently
/// skips what it does not know. Throws ScanError naming the position of the first error.
CheckedVertices checkPly(ScanFile& file);

}  // namespace QuorViewer
