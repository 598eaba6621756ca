#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasCheck.h"
#include "scan/formats/LasRecords.h"

#include <optional>
#include <vector>

namespace QuorViewer {

/// Everything in a LAS file except its points, ready to be written to an uncompressed file with some of them.
struct LasMetadata {
  /// As stored in the file, but never marked as compressed. Counts and bounds are still those of all points.
  LasHeader header;

  /// Everything between header and points: the variable length records and any bytes after them.
  std::vector<unsigned char> variableRecords;

  /// Records after the points, heads included, as ranges of `file`. They may be gigabytes long.
  std::vector<FileRange> extendedRecords;
  std::optional<ScanFile> file;  ///< the scan's own; set if there are extended records

  /// Index in `extendedRecords` of the record with the waveforms, which the points refer to.
  std::optional<std::size_t> waveforms;

  /// Sets the positions of the extended records in a header, if they are stored one after the other from `offset` on.
  void placeExtendedRecords(std::uint64_t offset, LasHeader& to) const;
};

/// Everything in a LAS file, compressed or not, except its points. Leaves out the records that describe compression or
/// spatial indices, and extended records that extend beyond the end of the file. Throws ScanError.
LasMetadata readLasMetadata(const ScanFile& file, const CheckedLas& las);

}  // namespace QuorViewer
