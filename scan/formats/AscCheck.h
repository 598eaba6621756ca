#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/PlyCheck.h"

namespace QuorViewer {

/// Reads a whole text file of points, `x y z` or `x y z red green blue` per line, and checks that OpenSceneGraph's
/// reader will accept every line as a point. That reader stops silently at a line that is too long, repeats the
/// previous point for a line of spaces, and skips text. Throws ScanError naming the first line that it would not
/// accept.
CheckedVertices checkAsc(ScanFile& file);

}  // namespace QuorViewer
