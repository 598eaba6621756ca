#pragma once

#include "scan/Scan.h"
#include "scan/index/PointTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <vector>

/// Checks what holds for every point tree, by brute force.
namespace PointTreeCheck {

using QuorViewer::NodeKey;
using QuorViewer::NodePoints;
using QuorViewer::PointTree;
using QuorViewer::TreeNode;

/// A record as the tree has it.
struct Found {
  std::uint32_t node = 0;
  osg::Vec3d position;  // world
  osg::Vec4ub colour;
  unsigned intensity = 0;
  osg::Vec2ub classReturns;
};

/// All records of a tree, each of which must be in one node only.
inline std::map<std::uint32_t, Found> recordsOf(PointTree& tree) {
  std::map<std::uint32_t, Found> records;
  for (std::uint32_t node = 0; node < tree.nodes().size(); ++node) {
    const NodePoints points = tree.read(node);
    EXPECT_EQ(points.records->size(), tree.nodes()[node].pointCount);
    for (unsigned i = 0; i < points.records->size(); ++i) {
      const Found found = {node, points.origin + (*points.positions)[i], (*points.colours)[i], (*points.intensities)[i],
                           (*points.classesReturns)[i]};
      EXPECT_TRUE(points.bounds.contains((*points.positions)[i]));
      EXPECT_TRUE(records.emplace((*points.records)[i], found).second) << "record " << (*points.records)[i];
    }
  }
  return records;
}

inline void expectLinked(const PointTree& tree) {
  const std::vector<TreeNode>& nodes = tree.nodes();
  std::vector<int> parents(nodes.size(), 0);
  for (std::uint32_t node = 0; node < nodes.size(); ++node) {
    for (unsigned octant = 0; octant < 8; ++octant) {
      const std::uint32_t child = nodes[node].children.at(octant);
      if (child != TreeNode::kNone) {
        ASSERT_LT(child, nodes.size());
        EXPECT_GT(child, node);
        EXPECT_TRUE(nodes[child].key == nodes[node].key.child(octant));
        ++parents[child];
      }
    }
  }
  for (std::uint32_t node = 0; node < nodes.size(); ++node) {
    EXPECT_EQ(parents[node], node == 0 ? 0 : 1);
  }
}

/// Positions may be rounded by `tolerance`.
inline void expectInsideTheirCubes(const PointTree& tree, const std::map<std::uint32_t, Found>& records,
                                   double tolerance) {
  for (const auto& [record, found] : records) {
    const osg::BoundingBoxd cube = tree.info().cube.cubeOf(tree.nodes()[found.node].key);
    for (int axis = 0; axis < 3; ++axis) {
      ASSERT_GE(found.position[axis], cube._min[axis] - tolerance) << record;
      ASSERT_LE(found.position[axis], cube._max[axis] + tolerance) << record;
    }
  }
}

/// The records with usable coordinates are in the tree, with the coordinates and attributes of the scan.
inline void expectSameAsScan(QuorViewer::ScanReader& scan, const std::map<std::uint32_t, Found>& records,
                             double tolerance) {
  const auto count = static_cast<std::uint32_t>(scan.info().pointCount);
  const QuorViewer::PointChunk chunk = scan.read(0, count, scan.info().origin);
  std::size_t usable = 0;
  for (std::uint32_t record = 0; record < count; ++record) {
    if (std::isnan((*chunk.positions)[record].x())) {
      continue;
    }
    ++usable;
    const auto found = records.find(record);
    ASSERT_NE(found, records.end()) << "record " << record;
    ASSERT_LE((found->second.position - scan.coordinates(record)).length(), tolerance) << "record " << record;
    ASSERT_EQ(found->second.colour, (*chunk.colours)[record]) << "record " << record;
    ASSERT_EQ(found->second.intensity, (*chunk.intensities)[record]) << "record " << record;
    ASSERT_EQ(found->second.classReturns, (*chunk.classesReturns)[record]) << "record " << record;
  }
  EXPECT_EQ(records.size(), usable);
}

}  // namespace PointTreeCheck
