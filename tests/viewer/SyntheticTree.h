#pragma once

#include "viewer/render/NodeSelection.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace QuorTests {

/// The nodes of a point tree, without points.
struct SyntheticTree {
  QuorViewer::TreeInfo info;
  std::vector<QuorViewer::TreeNode> nodes;

  /// A tree of one node.
  SyntheticTree(const QuorViewer::RootCube& cube, double rootSpacing, std::uint32_t rootPoints) {
    info.cube = cube;
    info.rootSpacing = rootSpacing;
    info.pointCount = rootPoints;
    nodes.emplace_back();
    nodes.front().pointCount = rootPoints;
  }

  /// Adds a child to a node, and returns its index.
  std::uint32_t add(std::uint32_t parent, unsigned octant, std::uint32_t points) {
    const auto index = static_cast<std::uint32_t>(nodes.size());
    QuorViewer::TreeNode node;
    node.key = nodes[parent].key.child(octant);
    node.pointCount = points;
    nodes[parent].children[octant] = index;
    nodes.push_back(node);
    info.pointCount += points;
    return index;
  }

  osg::BoundingBoxd cubeOf(std::uint32_t node) const { return info.cube.cubeOf(nodes[node].key); }
  /// Of the points in the node, in world units.
  double spacingOf(std::uint32_t node) const { return info.spacingAt(nodes[node].key.level); }
  QuorViewer::SelectableTree selectable(unsigned int scan) const { return {scan, &info, &nodes}; }
};

/// Hills, from 0 to 1 for places from 0 to 1.
inline double hillHeight(double x, double y) {
  return 0.5 + 0.15 * std::sin(9.0 * x + 2.0 * y) + 0.1 * std::cos(13.0 * y - 4.0 * x) + 0.02 * std::sin(70.0 * x * y);
}

/// Whether the hills pass through a node's cube, by samples.
inline bool meetsHills(const QuorViewer::NodeKey& key) {
  const double side = 1.0 / static_cast<double>(std::uint64_t{1} << key.level);
  double low = 1.0;
  double high = 0.0;
  for (int sample = 0; sample < 9; ++sample) {
    const double height = hillHeight((key.x + 0.5 * (sample % 3)) * side, (key.y + 0.5 * (sample / 3)) * side);
    low = std::min(low, height);
    high = std::max(high, height);
  }
  return high >= key.z * side && low <= (key.z + 1.0) * side;
}

/// A tree of points on hills, with up to `mostNodes` nodes of `pointsPerNode` points on average. Some branches end
/// early.
inline SyntheticTree makeHills(const QuorViewer::RootCube& cube, std::size_t mostNodes, std::uint32_t pointsPerNode,
                               unsigned int seed) {
  constexpr double kSpacingsPerCube = 128.0;
  std::mt19937 random(seed);
  const auto points = [&] { return pointsPerNode / 2 + static_cast<std::uint32_t>(random()) % (pointsPerNode + 1); };
  SyntheticTree tree(cube, cube.size / kSpacingsPerCube, points());
  for (std::uint32_t parent = 0; parent < tree.nodes.size(); ++parent) {
    for (unsigned octant = 0; octant < 8; ++octant) {
      const bool endsEarly = random() % 12 == 0;
      if (tree.nodes.size() < mostNodes && !endsEarly && meetsHills(tree.nodes[parent].key.child(octant))) {
        tree.add(parent, octant, points());
      }
    }
  }
  return tree;
}

}  // namespace QuorTests
