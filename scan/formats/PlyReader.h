#pragma once

#include "scan/ScanFile.h"

#include <memory>

namespace QuorViewer {

/// A reader of the vertices of a PLY file: ASCII or binary, in either byte order, with coordinates of any type. Read
/// are `x y z`, colours (`red green blue`, also with the prefix `diffuse_`, or `r g b`) and `intensity` (also
/// `scalar_intensity`). Other properties and the elements before the vertices are skipped; what follows the vertices,
/// such as faces, is not read at all. Throws ScanError.
std::unique_ptr<ScanReader> openPly(ScanFile file);

}  // namespace QuorViewer
