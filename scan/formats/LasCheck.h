#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasFormat.h"

namespace QuorViewer {

/// A LAS file whose header has been checked against itself and against the file.
struct CheckedLas {
  LasHeader header;
  const RecordLayout* layout = nullptr;
  std::uint64_t pointCount = 0;
  std::uint64_t pointDataOffsetBytes = 0;  ///< of the first record; for compressed scans of the compressed block

  /// "LAS 1.2, point format 3", with a note on compression.
  std::string formatText() const;

  /// What the header alone shows; the sample adds the rest.
  ScanInfo info(const std::string& path) const;
};

/// Reads and checks the header of a file that begins with "LASF". For an uncompressed scan it also checks that the file
/// holds all the records stated, by division, so that no product can overflow. Throws ScanError.
CheckedLas checkLas(const ScanFile& file);

/// Exact coordinates of a point from its record's integers.
osg::Vec3d lasCoordinates(const LasHeader& header, std::int32_t x, std::int32_t y, std::int32_t z);

}  // namespace QuorViewer
