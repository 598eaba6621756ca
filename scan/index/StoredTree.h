#pragma once

#include "scan/index/PointTree.h"

#include <memory>
#include <string>

namespace QuorViewer {

/// The octree that a scan brings along; null if it has none. Formats with one: COPC, and EPT by the path of its folder
/// or of the file ept.json in it. Throws ScanError if the octree is damaged or the scan cannot be read.
std::unique_ptr<PointTree> openStoredTree(const std::string& path);

}  // namespace QuorViewer
