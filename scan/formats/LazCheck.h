#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasCheck.h"
#include "scan/formats/LazChunkTable.h"

#include <memory>

namespace QuorViewer {

/// What a compressed scan states about its compression, after a plausibility check.
struct CheckedLaz {
  /// Points in each independently compressed chunk; reading can begin at any chunk. All points if the chunks differ in
  /// size or if there are none.
  std::uint64_t chunkPoints = 0;
  /// The chunks if they differ in size; null if they do not, or if there are none.
  std::shared_ptr<const LazChunkTable> varyingChunks;

  /// The points of the chunk that contains `point`, which the scan has. The last chunk may end beyond the scan.
  PointSpan chunkOf(std::uint64_t point) const;
};

/// Checks everything needed to find the compressed points: the variable length records, including the one on
/// compression, and the position and size of the chunk table, or all of the table if the chunks differ in size. LASzip
/// trusts these, and may crash or use up all memory if they are wrong. Throws ScanError.
CheckedLaz checkLaz(const ScanFile& file, const CheckedLas& las);

}  // namespace QuorViewer
