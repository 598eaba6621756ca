#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasCheck.h"

#include <optional>
#include <vector>

namespace QuorViewer {

/// A stretch of a file.
struct FileRange {
  std::uint64_t offset = 0;
  std::uint64_t bytes = 0;
};

/// All that a LAS file says besides its points, ready to go into an uncompressed file with some of them.
struct LasFrame {
  /// As its file states it, but never marked as compressed. Counts and bounds are still those of all points.
  LasHeader header;

  /// All that stands between header and points: the variable length records and whatever bytes follow them.
  std::vector<unsigned char> variableRecords;

  /// Records that stand behind the points, heads included, where they lie in the scan's file. They may hold gigabytes.
  std::vector<FileRange> extendedRecords;

  /// Place in `extendedRecords` of the one with the waveforms, which the points refer into.
  std::optional<std::size_t> waveforms;

  /// Writes into a header where the extended records are when they stand one behind the other from `offset` on.
  void placeExtendedRecords(std::uint64_t offset, LasHeader& to) const;
};

/// The frame of a LAS file, compressed or not. Left out are the records that tell how the points are compressed or
/// where in the file to find those of a region, and extended records that reach beyond the end of the file.
/// Throws ScanError.
LasFrame readLasFrame(ScanFile& file, const CheckedLas& las);

}  // namespace QuorViewer
