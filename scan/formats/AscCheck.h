#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/PlyCheck.h"

namespace QuorViewer {

/// Walks a whole text file of points, `x y z` or `x y z red green blue` a line, and makes sure that OpenSceneGraph's
/// reader for it will take every line for a point: it stops without a word at a line too long for it, repeats the point
/// before where a line holds only spaces, and passes over text. Throws ScanError naming the first line it would not
/// take.
CheckedVertices checkAsc(ScanFile& file);

}  // namespace QuorViewer
