#include "viewer/render/NodeSelection.h"

#include <algorithm>
#include <utility>

namespace QuorViewer {
namespace {

// The weight of a node at the edge of the view is this share less than in the middle.
constexpr double kEdgeLoss = 0.3;

// Nodes of more than this part of the budget are large.
constexpr std::uint64_t kLargePart = 16;

}  // namespace

/// The order of the heap. At equal priority, coarser nodes come first: they precede the others in the tree.
struct NodeSelection::IsAfter {
  bool operator()(const Candidate& a, const Candidate& b) const {
    if (a.covers() != b.covers()) {
      return b.covers();
    }
    if (a.priority != b.priority) {
      return a.priority < b.priority;
    }
    return std::make_pair(a.node, a.tree) > std::make_pair(b.node, b.tree);
  }
};

/// One selection. It works in the buffers of its `NodeSelection`.
class NodeSelection::Pass {
 public:
  Pass(NodeSelection& selection, const std::vector<SelectableTree>& trees, const SelectionSettings& settings)
      : _selection(selection), _trees(trees), _settings(settings) {}

  void run() {
    _addRoots();
    _findCovering();
    _takeCovering();
    _takeRefinements();
  }

 private:
  // These candidates precede all others.
  void _findCovering() {
    _selection._covering.clear();
    while (!_selection._candidates.empty() && _selection._candidates.front().covers()) {
      const Candidate candidate = _pop();
      if (_nodeOf(candidate).pointCount > 0) {
        _selection._covering.push_back(candidate);
      } else {
        _refine(candidate, SelectedNode::kNone);
      }
    }
  }

  void _takeCovering() {
    std::uint64_t points = 0;
    double needed = 0.0;
    for (const Candidate& candidate : _selection._covering) {
      points += _nodeOf(candidate).pointCount;
      needed += _pointsNeeded(candidate);
    }
    _selection._limited = points > _settings.budgetPoints;
    const double share = std::min(_pointsToShare() / std::max(needed, 1.0), 1.0);
    for (const Candidate& candidate : _selection._covering) {
      const std::uint64_t thinned = 1 + static_cast<std::uint64_t>(share * _pointsNeeded(candidate));
      const std::uint64_t drawn = _selection._limited ? thinned : _nodeOf(candidate).pointCount;
      if (_room() > 0) {
        _refine(candidate, _take(candidate, static_cast<std::uint32_t>(std::min(drawn, _room()))));
      }
    }
  }

  /// What the nodes share after each of them has got one point.
  double _pointsToShare() const {
    const std::uint64_t nodes = _selection._covering.size();
    return static_cast<double>(_settings.budgetPoints - std::min(nodes, _settings.budgetPoints));
  }

  /// Besides the first point. Points on a surface are as far apart as the least spacing with this part of them.
  double _pointsNeeded(const Candidate& candidate) const {
    const double spacings = static_cast<double>(candidate.weight) / _settings.leastSpacingPixels;
    return static_cast<double>(_nodeOf(candidate).pointCount - 1) * std::min(spacings * spacings, 1.0);
  }

  void _takeRefinements() {
    while (!_selection._candidates.empty()) {
      const Candidate candidate = _pop();
      const std::uint32_t pointCount = _nodeOf(candidate).pointCount;
      if (pointCount <= _room()) {
        _refine(candidate, pointCount > 0 ? _take(candidate, pointCount) : candidate.parent);
        continue;
      }
      _selection._limited = true;
      if (pointCount <= _settings.budgetPoints / kLargePart) {
        return;
      }
    }
  }

  void _addRoots() {
    for (std::uint32_t tree = 0; tree < _trees.size(); ++tree) {
      if (!_trees[tree].nodes->empty()) {
        _offer(tree, 0, SelectedNode::kNone);
      }
    }
  }

  void _refine(const Candidate& candidate, std::uint32_t parent) {
    for (const std::uint32_t child : _nodeOf(candidate).children) {
      if (child != TreeNode::kNone) {
        _offer(candidate.tree, child, parent);
      }
    }
  }

  /// Makes a node a candidate if it should be drawn. The points of its parent are twice as far apart as its own.
  void _offer(std::uint32_t tree, std::uint32_t index, std::uint32_t parent) {
    const TreeInfo& info = *_trees[tree].info;
    const NodeKey& key = (*_trees[tree].nodes)[index].key;
    const osg::BoundingBoxd cube = info.cube.cubeOf(key);
    if (!_selection._projection.isVisible(cube)) {
      return;
    }
    const bool drawn = _selection._drawnInCall[tree][index] == _selection._call;
    const double bonus = drawn ? _settings.drawnBonus : 1.0;
    const double pixels = _selection._projection.pixelsOf(info.spacingAt(key.level), cube);
    if (parent != SelectedNode::kNone && 2.0 * pixels * bonus <= _settings.leastSpacingPixels) {
      return;
    }
    const double weight = pixels * (1.0 - kEdgeLoss * (1.0 - _selection._projection.centrality(cube)));
    _push({static_cast<float>(weight * bonus), static_cast<float>(weight), tree, index, parent});
  }

  /// Lists a node with points, and returns the index that its children have as parent.
  std::uint32_t _take(const Candidate& candidate, std::uint32_t drawnPoints) {
    _selection._pointCount += drawnPoints;
    _selection._selected.push_back({{_trees[candidate.tree].scan, candidate.node},
                                    candidate.parent,
                                    _nodeOf(candidate).pointCount,
                                    drawnPoints,
                                    candidate.weight});
    return static_cast<std::uint32_t>(_selection._selected.size() - 1);
  }

  void _push(const Candidate& candidate) {
    _selection._candidates.push_back(candidate);
    std::push_heap(_selection._candidates.begin(), _selection._candidates.end(), IsAfter());
  }

  Candidate _pop() {
    std::pop_heap(_selection._candidates.begin(), _selection._candidates.end(), IsAfter());
    const Candidate first = _selection._candidates.back();
    _selection._candidates.pop_back();
    return first;
  }

  std::uint64_t _room() const { return _settings.budgetPoints - _selection._pointCount; }
  const TreeNode& _nodeOf(const Candidate& candidate) const { return (*_trees[candidate.tree].nodes)[candidate.node]; }

  NodeSelection& _selection;
  const std::vector<SelectableTree>& _trees;
  const SelectionSettings& _settings;
};

const std::vector<SelectedNode>& NodeSelection::select(const std::vector<SelectableTree>& trees,
                                                       const CubeCamera& camera, const SelectionSettings& settings,
                                                       const std::vector<ScanNode>& drawn) {
  _projection.set(camera, settings.clipPlanes);
  _selected.clear();
  _candidates.clear();
  _pointCount = 0;
  _limited = false;
  _markDrawn(trees, drawn);
  Pass(*this, trees, settings).run();
  return _selected;
}

// Marks are numbers of calls, so that they need not be cleared.
void NodeSelection::_markDrawn(const std::vector<SelectableTree>& trees, const std::vector<ScanNode>& drawn) {
  ++_call;
  _treeOf.clear();
  _drawnInCall.resize(std::max(_drawnInCall.size(), trees.size()));
  for (std::uint32_t tree = 0; tree < trees.size(); ++tree) {
    _treeOf.emplace_back(trees[tree].scan, tree);
    _drawnInCall[tree].resize(std::max(_drawnInCall[tree].size(), trees[tree].nodes->size()));
  }
  std::sort(_treeOf.begin(), _treeOf.end());
  for (const ScanNode& node : drawn) {
    const auto found = std::lower_bound(_treeOf.begin(), _treeOf.end(), std::make_pair(node.scan, std::uint32_t{0}));
    if (found != _treeOf.end() && found->first == node.scan && node.node < _drawnInCall[found->second].size()) {
      _drawnInCall[found->second][node.node] = _call;
    }
  }
}

}  // namespace QuorViewer
