#include "viewer/render/NodePrefetch.h"

#include <numeric>

namespace QuorViewer {
namespace {

std::uint64_t pointsOf(const std::vector<SelectedNode>& nodes) {
  return std::accumulate(nodes.begin(), nodes.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const SelectedNode& node) { return sum + node.pointCount; });
}

}  // namespace

// The selected nodes need no room here, so the budget is that of both. It only bounds the work: in the enlarged view,
// others may take the place of some selected nodes.
const std::vector<SelectedNode>& NodePrefetch::select(const std::vector<SelectableTree>& trees,
                                                      const CubeCamera& camera, const SelectionSettings& settings,
                                                      const std::vector<SelectedNode>& selected,
                                                      std::uint64_t mostPoints) {
  SelectionSettings wider = settings;
  wider.budgetPoints = pointsOf(selected) + mostPoints;
  wider.leastSpacingPixels *= kFinerSpacing;
  _listed.clear();
  _places.clear();
  _placesInOrder.clear();
  _points = 0;
  _selectedCount = selected.size();
  for (std::uint32_t place = 0; place < selected.size(); ++place) {
    _places[selected[place].node] = place;
  }
  for (const SelectedNode& node : _selection.select(trees, enlarged(camera, kEnlargement), wider)) {
    _list(node, mostPoints);
  }
  return _listed;
}

void NodePrefetch::_list(const SelectedNode& node, std::uint64_t mostPoints) {
  const auto found = _places.find(node.node);
  if (found != _places.end()) {
    _placesInOrder.push_back(found->second);
    return;
  }
  const bool isRoot = node.parent == SelectedNode::kNone;
  const std::uint32_t parent = isRoot ? SelectedNode::kNone : _placesInOrder[node.parent];
  if ((!isRoot && parent == SelectedNode::kNone) || node.pointCount > mostPoints - _points) {
    _placesInOrder.push_back(SelectedNode::kNone);
    return;
  }
  _points += node.pointCount;
  _placesInOrder.push_back(static_cast<std::uint32_t>(_selectedCount + _listed.size()));
  _listed.push_back(node);
  _listed.back().parent = parent;
}

}  // namespace QuorViewer
