#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasCheck.h"

namespace QuorViewer {

/// What a compressed scan states about its compression, after a plausibility check.
struct CheckedLaz {
  /// Points in each independently compressed chunk; reading can begin at any chunk. All points if the chunks differ in
  /// size or if there are none.
  std::uint64_t chunkPoints = 0;
  /// Whether the chunks differ in size, so that only LASzip knows where they begin.
  bool varyingChunks = false;
};

/// Checks everything needed to find the compressed points: the variable length records, including the one on
/// compression, and the position and size of the chunk table. LASzip trusts these, and may crash or use up all memory
/// if they are wrong. Throws ScanError.
CheckedLaz checkLaz(const ScanFile& file, const CheckedLas& las);

}  // namespace QuorViewer
