#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"
#include "viewer/SyntheticTree.h"
#include "viewer/render/NodeSelection.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <vector>

namespace {

using namespace QuorViewer;
using QuorTests::SyntheticTree;

constexpr std::uint64_t kBudgetPoints = 3000000;
constexpr std::size_t kNodesPerTree = 50000;

struct Measured {
  double weight;
  std::uint32_t tree;
  std::uint32_t node;
};

/// All visible nodes that are fine enough by themselves, as far as they fit.
class PlainSelection {
 public:
  std::size_t select(const std::array<SyntheticTree, 2>& trees, const CubeCamera& camera, double leastSpacingPixels) {
    _projection.set(camera, {});
    _measured.clear();
    for (std::uint32_t tree = 0; tree < trees.size(); ++tree) {
      for (std::uint32_t node = 0; node < trees[tree].nodes.size(); ++node) {
        _measure(trees[tree], leastSpacingPixels, {0.0, tree, node});
      }
    }
    std::sort(_measured.begin(), _measured.end(),
              [](const Measured& a, const Measured& b) { return a.weight > b.weight; });
    std::uint64_t points = 0;
    const auto end = std::find_if(_measured.begin(), _measured.end(), [&](const Measured& measured) {
      points += trees[measured.tree].nodes[measured.node].pointCount;
      return points > kBudgetPoints;
    });
    return static_cast<std::size_t>(end - _measured.begin());
  }

 private:
  void _measure(const SyntheticTree& tree, double leastSpacingPixels, Measured measured) {
    const osg::BoundingBoxd cube = tree.cubeOf(measured.node);
    if (!_projection.isVisible(cube)) {
      return;
    }
    const double pixels = _projection.pixelsOf(tree.spacingOf(measured.node), cube);
    if (2.0 * pixels > leastSpacingPixels) {
      measured.weight = pixels * (0.7 + 0.3 * _projection.centrality(cube));
      _measured.push_back(measured);
    }
  }

  CubeProjection _projection;
  std::vector<Measured> _measured;
};

std::vector<ScanNode> nodesOf(const std::vector<SelectedNode>& selected) {
  std::vector<ScanNode> nodes(selected.size());
  std::transform(selected.begin(), selected.end(), nodes.begin(), [](const SelectedNode& node) { return node.node; });
  return nodes;
}

void nodeSelection(benchmark::State& state) {
  const auto pointsPerNode = static_cast<std::uint32_t>(state.range(0));
  const std::array<SyntheticTree, 2> trees = {
      QuorTests::makeHills({{0.0, 0.0, 0.0}, 1000.0}, kNodesPerTree, pointsPerNode, 1),
      QuorTests::makeHills({{1000.0, 0.0, 0.0}, 1000.0}, kNodesPerTree, pointsPerNode, 2)};
  CubeCamera camera;
  const double distance = static_cast<double>(state.range(1));
  const osg::Vec3d target(1000.0, 500.0, 500.0);
  camera.view = osg::Matrixd::lookAt(target + osg::Vec3d(0.2, -0.8, 0.5) * distance, target, {0.0, 0.0, 1.0});
  camera.projection = osg::Matrixd::perspective(30.0, 16.0 / 9.0, 1.0, 1e4);
  camera.viewportHeightPixels = 1080.0;
  SelectionSettings settings;
  settings.budgetPoints = kBudgetPoints;
  settings.leastSpacingPixels = static_cast<double>(state.range(2));
  NodeSelection selection;
  PlainSelection plain;
  const std::vector<SelectableTree> selectable = {trees[0].selectable(1), trees[1].selectable(2)};
  const std::vector<ScanNode> drawn = nodesOf(selection.select(selectable, camera, settings));
  const QuorBenchmarks::Variant ours{
      "selection", [&] { benchmark::DoNotOptimize(selection.select(selectable, camera, settings, drawn).size()); }};
  QuorBenchmarks::Variant peer{
      "plain", [&] { benchmark::DoNotOptimize(plain.select(trees, camera, settings.leastSpacingPixels)); }};
  peer.goal = settings.leastSpacingPixels > 0.0 ? 0.25 : 0.0;
  QuorBenchmarks::compare(state, ours, {peer});
  state.counters["nodes"] = static_cast<double>(drawn.size());
}

BENCHMARK(nodeSelection)
    ->ArgsProduct({{100, 1000, 20000}, {200, 1500}, {0, 1}})
    ->ArgNames({"pointsPerNode", "distance", "leastSpacing"})
    ->Unit(benchmark::kMicrosecond);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Selection of nodes",
    "The nodes to draw from two trees of 50,000 nodes each, beside a plain selection that measures every node, sorts "
    "them, and takes those that fit. Goals: below 1 ms with a least spacing of 1 pixel, and below 5 ms for up to "
    "10,000 "
    "selected nodes without one."};
