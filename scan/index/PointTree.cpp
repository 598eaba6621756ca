#include "scan/index/PointTree.h"

#include <algorithm>

namespace QuorViewer {

NodePoints PointTree::sample() {
  const auto first =
      std::find_if(nodes().begin(), nodes().end(), [](const TreeNode& node) { return node.pointCount > 0; });
  return read(first != nodes().end() ? static_cast<std::uint32_t>(first - nodes().begin()) : 0);
}

}  // namespace QuorViewer
