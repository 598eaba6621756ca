#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasCheck.h"

#include <memory>

namespace QuorViewer {

/// A reader of uncompressed LAS, which has been checked. Reads no more of the file than the points asked for.
std::unique_ptr<ScanReader> openLas(ScanFile file, const CheckedLas& las);

/// Throws ScanError unless points `first` to `first + count` (not included) lie within the scan.
void requirePoints(const ScanInfo& info, std::uint64_t first, std::uint64_t count);

}  // namespace QuorViewer
