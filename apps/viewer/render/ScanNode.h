#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace QuorViewer {

/// A node of an open scan's point tree.
struct ScanNode {
  unsigned int scan = 0;   ///< the scan's number in the `ScanSet`
  std::uint32_t node = 0;  ///< index into `PointTree::nodes`

  bool operator==(const ScanNode& other) const { return scan == other.scan && node == other.node; }
  bool operator!=(const ScanNode& other) const { return !(*this == other); }
};

struct ScanNodeHash {
  std::size_t operator()(const ScanNode& node) const {
    return std::hash<std::uint64_t>()(std::uint64_t{node.scan} << 32U | node.node);
  }
};

}  // namespace QuorViewer
