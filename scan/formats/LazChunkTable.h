#pragma once

#include "scan/ScanFile.h"

#include <vector>

namespace QuorViewer {

/// An independently compressed part of a scan.
struct LazChunk {
  std::uint64_t offset = 0;      ///< of its first byte in the file
  std::uint64_t firstPoint = 0;  ///< index of its first point
};

/// The chunks of a scan whose chunks differ in size, in the order of the file. An additional one without points marks
/// the end of the last one.
using LazChunkTable = std::vector<LazChunk>;

/// What a compressed file states about its chunk table.
struct LazTablePlace {
  std::uint64_t offset = 0;       ///< of the table
  std::uint32_t chunks = 0;       ///< in the table
  std::uint64_t firstChunk = 0;   ///< offset of the first chunk
  std::uint64_t recordBytes = 0;  ///< of an uncompressed point, with which each chunk begins
};

/// Reads the table of a scan whose chunks differ in size. Throws ScanError if the chunks would be empty or extend
/// beyond the table.
LazChunkTable readLazChunkTable(const ScanFile& file, const LazTablePlace& place);

}  // namespace QuorViewer
