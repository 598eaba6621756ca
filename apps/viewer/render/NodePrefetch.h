#pragma once

#include "viewer/render/CubeProjection.h"
#include "viewer/render/NodeSelection.h"
#include "viewer/render/ScanNode.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace QuorViewer {

/// Lists the nodes of point trees that a view at rest does not need, but that one of the next views probably does:
/// those that would be selected if the view were a little wider and higher, and its points could be a little closer. So
/// they lie just outside the view, or are a little too fine for it. One thread.
class NodePrefetch {
 public:
  /// The view is enlarged by this on all sides, about its middle.
  static constexpr double kEnlargement = 1.3;
  /// The least spacing decreases by this.
  static constexpr double kFinerSpacing = 0.7;

  /// To be called with the arguments and the result of `NodeSelection::select`. The listed nodes are none of
  /// `selected`, have at most `mostPoints` points together, and come in the order of a selection: those with the widest
  /// points first, parents before their children. `SelectedNode::parent` is an index into `selected` followed by the
  /// result, which is valid until the next call.
  const std::vector<SelectedNode>& select(const std::vector<SelectableTree>& trees, const CubeCamera& camera,
                                          const SelectionSettings& settings, const std::vector<SelectedNode>& selected,
                                          std::uint64_t mostPoints);

 private:
  void _list(const SelectedNode& node, std::uint64_t mostPoints);

  NodeSelection _selection;
  std::vector<SelectedNode> _listed;
  std::unordered_map<ScanNode, std::uint32_t, ScanNodeHash> _places;  // in the selected and the listed nodes
  std::vector<std::uint32_t> _placesInOrder;  // of the nodes of the enlarged view; kNone: left out
  std::size_t _selectedCount = 0;
  std::uint64_t _points = 0;
};

}  // namespace QuorViewer
