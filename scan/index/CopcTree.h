#pragma once

#include "scan/ScanFile.h"
#include "scan/index/PointTree.h"

#include <memory>

namespace QuorViewer {

/// The octree of a COPC file: LAZ 1.4 with an octree of its own. Throws ScanError if the octree is damaged or does not
/// match the file's chunk table.
std::unique_ptr<PointTree> openCopc(ScanFile file);

}  // namespace QuorViewer
