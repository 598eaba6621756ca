#pragma once

#include "scan/formats/LasCheck.h"

namespace QuorViewer {

/// Adds to `info` the coordinate system and the bounds that a LAS file states. `info.origin` must be known: bounds
/// without it are wrong, as in many files, and are ignored. Throws ScanError if the file has become shorter.
void addGeoreference(const ScanFile& file, const CheckedLas& las, ScanInfo& info);

}  // namespace QuorViewer
