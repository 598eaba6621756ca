#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasCheck.h"

#include <memory>

namespace QuorViewer {

/// A reader of an uncompressed LAS file that has been checked. Reads only the part of the file that the requested
/// points need.
std::unique_ptr<ScanReader> openLas(ScanFile file, const CheckedLas& las);

/// Throws ScanError unless points `first` to `first + count` (exclusive) lie within the scan.
void requirePoints(const ScanInfo& info, std::uint64_t first, std::uint64_t count);

}  // namespace QuorViewer
