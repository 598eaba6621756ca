#pragma once

#include "scan/index/PointTree.h"

#include <memory>
#include <string>

namespace QuorViewer {

/// The octree of an EPT folder, each of whose tiles is a node. `path` is that of the folder or of its ept.json. Throws
/// ScanError.
std::unique_ptr<PointTree> openEptTree(const std::string& path);

}  // namespace QuorViewer
