#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasCheck.h"

namespace QuorViewer {

/// What a compressed scan says about its compression, found to be plausible.
struct CheckedLaz {
  /// Points in each independently compressed chunk, the places where reading can begin. All points where the chunks
  /// differ in size or where there are none.
  std::uint64_t chunkPoints = 0;
  /// Do the chunks differ in size, so that only LASzip knows where they begin?
  bool varyingChunks = false;
};

/// Checks all that leads to the compressed points: the variable length records, the one on compression among them, and
/// the place and size of the table of chunks. LASzip believes these, and may crash or take all memory where they lie.
/// Throws ScanError.
CheckedLaz checkLaz(ScanFile& file, const CheckedLas& las);

}  // namespace QuorViewer
