#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasFormat.h"

namespace QuorViewer {

/// A LAS file whose header has been found to agree with itself and with the file.
struct CheckedLas {
  LasHeader header;
  const RecordLayout* layout = nullptr;
  std::uint64_t pointCount = 0;
  std::uint64_t pointDataOffsetBytes = 0;  ///< of the first record; for compressed scans of the compressed block

  /// "LAS 1.2, point format 3", with a word on compression.
  std::string formatText() const;

  /// What is known from the header alone; the sample adds the rest.
  ScanInfo info(const std::string& path) const;
};

/// Reads and checks the header of a file that begins with "LASF". Of an uncompressed scan it also makes sure that the
/// file holds all the records stated, by division, so that no product can overflow. Throws ScanError.
CheckedLas checkLas(ScanFile& file);

/// Exact coordinates of a point from its record's integers.
osg::Vec3d lasCoordinates(const LasHeader& header, std::int32_t x, std::int32_t y, std::int32_t z);

}  // namespace QuorViewer
