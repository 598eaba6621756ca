#pragma once

#include "scan/Scan.h"
#include "scan/formats/EptFolder.h"

#include <memory>

namespace QuorViewer {

/// A reader of an EPT folder that has been checked; each tile is checked when it is read. It keeps one tile open. LAS
/// files with points of the scan get the records and georeference of its first tile; scans with waveforms cannot be
/// saved. A build without LASzip throws a ScanError that says so.
std::unique_ptr<ScanReader> openEpt(std::shared_ptr<const EptFolder> folder);

}  // namespace QuorViewer
