#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasCheck.h"

#include <memory>

namespace QuorViewer {

/// A reader of LASzip-compressed LAS whose header has been checked. A build without LASzip throws a ScanError that says
/// so.
std::unique_ptr<ScanReader> openLaz(ScanFile file, const CheckedLas& las);

}  // namespace QuorViewer
