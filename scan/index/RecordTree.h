#pragma once

#include "scan/Scan.h"
#include "scan/index/PointTree.h"

#include <optional>
#include <string>
#include <vector>

namespace QuorViewer {

/// A node whose points are consecutive records of the scan, as a file states it.
struct RecordNode {
  NodeKey key;
  std::uint64_t pointCount = 0;
  std::uint64_t firstRecord = 0;
};

/// Why a node cannot be part of an octree.
struct NodeFault {
  std::size_t node = 0;  ///< its index
  std::string reason;
};

/// "2-3-1-0": level, x, y, z.
std::string textOf(const NodeKey& key);

/// The cube of an octree, with a reason if it cannot be one: the corner or the size is not finite, too large, or the
/// size is not positive. Empty if it can.
std::string faultOf(const RootCube& cube);

/// The first of `nodes`, which are sorted by key, that cannot be part of an octree together with the others: its key is
/// outside the range of its level or occurs twice, or its parent is missing.
std::optional<NodeFault> findFault(const std::vector<RecordNode>& nodes);

/// A tree of checked nodes, sorted by key. `reader` reads the scan; `info.pointCount` and `info.bounds` are filled in.
/// Leaves without points are left out. Throws ScanError if the scan has too many points to number them in 32 bits.
std::unique_ptr<PointTree> makeRecordTree(std::unique_ptr<ScanReader> reader, const TreeInfo& info,
                                          const std::vector<RecordNode>& nodes);

}  // namespace QuorViewer
