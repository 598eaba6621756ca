#pragma once

#include "scan/ScanFile.h"

#include <cstdint>

namespace QuorViewer {

/// What a text or PLY file is found to hold before OpenSceneGraph's reader for it is let loose on it.
struct CheckedVertices {
  std::uint64_t count = 0;
  bool coloured = false;  ///< every vertex has a red, a green and a blue of 8 bits
};

/// Walks a whole PLY file and makes sure of everything OpenSceneGraph's PLY reader takes for granted: words missing
/// from a line, counts beyond the data, indices beyond the vertices make it read or write outside its memory, and what
/// it does not know it passes over in silence. Throws ScanError naming the place of the first thing wrong.
CheckedVertices checkPly(ScanFile& file);

}  // namespace QuorViewer
