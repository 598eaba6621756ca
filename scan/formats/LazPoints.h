#pragma once

#include "scan/RawPoint.h"
#include "scan/ScanFile.h"
#include "scan/formats/LasCheck.h"
#include "scan/formats/LazCheck.h"

#include <memory>
#include <vector>

namespace QuorViewer {

/// Decompresses the points of a LAZ file. Points are counted from 0; callers ensure that the file has them. One thread
/// at a time.
class LazPoints {
 public:
  virtual ~LazPoints() = default;

  virtual const CheckedLaz& chunks() const = 0;

  /// One for another thread, which may outlive this one and shares the open file.
  [[nodiscard]] virtual std::unique_ptr<LazPoints> clone() const = 0;

  /// Fast if the point is at or shortly after the latest one read, or at the start of a chunk. Throws ScanError.
  virtual RawPoint read(std::uint64_t point) = 0;

  /// See `ScanReader::readInside`.
  virtual void readInside(std::uint64_t first, std::uint32_t count, const InsideTest& inside,
                          std::vector<unsigned char>& records) = 0;
};

/// The points of a compressed file whose header has been checked. A build without LASzip throws a ScanError that says
/// so.
std::unique_ptr<LazPoints> openLazPoints(const ScanFile& file, const CheckedLas& las);

}  // namespace QuorViewer
