#pragma once

#include "scan/Scan.h"
#include "scan/index/PointTree.h"
#include "tests/scan/CopcFile.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

/// What the tests of trees that scans bring along share.
namespace TreeSupport {

using QuorViewer::NodePoints;
using QuorViewer::PointTree;
using QuorViewer::ScanReader;
using QuorViewer::TreeNode;

/// Requires the nodes to begin with the root, parents before children, each child in its octant of exactly one parent.
inline void expectOctree(const std::vector<TreeNode>& nodes) {
  std::vector<unsigned> parents(nodes.size(), 0);
  for (std::size_t node = 0; node < nodes.size(); ++node) {
    EXPECT_EQ(node == 0, nodes[node].key.level == 0);
    for (unsigned octant = 0; octant < 8; ++octant) {
      const std::uint32_t child = nodes[node].children[octant];
      if (child != TreeNode::kNone) {
        ASSERT_LT(node, child);
        ASSERT_LT(child, nodes.size());
        EXPECT_EQ(nodes[child].key, nodes[node].key.child(octant));
        ++parents[child];
      }
    }
    EXPECT_EQ(parents[node], node == 0 ? 0U : 1U);
    EXPECT_TRUE(nodes[node].pointCount > 0 || !nodes[node].isLeaf());
  }
}

/// Requires the arrays of a node to have its number of points.
inline void expectLengths(const NodePoints& points, std::size_t count) {
  EXPECT_EQ(points.positions->size(), count);
  EXPECT_EQ(points.colours->size(), count);
  EXPECT_EQ(points.intensities->size(), count);
  EXPECT_EQ(points.classesReturns->size(), count);
  EXPECT_EQ(points.records->size(), count);
}

/// Requires the records of a node to lie in its cube, at its positions. Marks them as seen.
inline void expectRecordsIn(const osg::BoundingBoxd& cube, const NodePoints& points, ScanReader& reader,
                            std::vector<bool>& seen) {
  const osg::Vec3d halfStep = reader.info().scale * 0.5;
  const osg::BoundingBoxd room(cube._min - halfStep, cube._max + halfStep);
  osg::BoundingBox box;
  for (std::size_t point = 0; point < points.records->size(); ++point) {
    const std::uint32_t record = (*points.records)[point];
    ASSERT_LT(record, seen.size());
    EXPECT_FALSE(seen[record]);
    seen[record] = true;
    const osg::Vec3d coordinates = reader.coordinates(record);
    EXPECT_TRUE(room.contains(coordinates));
    const osg::Vec3f& position = (*points.positions)[point];
    EXPECT_LE((points.origin + osg::Vec3d(position) - coordinates).length(), halfStep.length());
    box.expandBy(position);
  }
  EXPECT_EQ(points.bounds._min, box._min);
  EXPECT_EQ(points.bounds._max, box._max);
}

/// Requires a node to have the attributes that the reader gives for its consecutive records.
inline void expectAttributesOfReader(const NodePoints& points, ScanReader& reader) {
  const auto count = static_cast<std::uint32_t>(points.records->size());
  if (count == 0) {
    return;
  }
  const QuorViewer::PointChunk chunk = reader.read(points.records->front(), count, points.origin);
  EXPECT_EQ(points.positions->asVector(), chunk.positions->asVector());
  EXPECT_EQ(points.colours->asVector(), chunk.colours->asVector());
  EXPECT_EQ(points.intensities->asVector(), chunk.intensities->asVector());
  EXPECT_EQ(points.classesReturns->asVector(), chunk.classesReturns->asVector());
}

/// Requires every record of the scan to be in exactly one node, in the node's cube but for half a step, with the
/// coordinates and attributes that the reader gives for it. The box of each node's points must be that of its
/// positions.
inline void expectTreeOfReader(PointTree& tree, ScanReader& reader) {
  std::vector<bool> seen(reader.info().pointCount);
  expectOctree(tree.nodes());
  for (std::uint32_t node = 0; node < tree.nodes().size(); ++node) {
    SCOPED_TRACE(node);
    const osg::BoundingBoxd cube = tree.info().cube.cubeOf(tree.nodes()[node].key);
    const NodePoints points = tree.read(node);
    ASSERT_NO_FATAL_FAILURE(expectLengths(points, tree.nodes()[node].pointCount));
    EXPECT_EQ(points.origin, cube._min);
    ASSERT_NO_FATAL_FAILURE(expectRecordsIn(cube, points, reader, seen));
    expectAttributesOfReader(points, reader);
  }
  EXPECT_EQ(std::count(seen.begin(), seen.end(), false), 0);
  EXPECT_EQ(tree.info().pointCount, reader.info().pointCount);
}

/// Requires a node's points to be those written, by position and by all attributes.
inline void expectWrittenPoints(const NodePoints& points, const std::vector<ScanBytes::Point>& written,
                                const ScanBytes::FileSettings& settings) {
  ASSERT_NO_FATAL_FAILURE(expectLengths(points, written.size()));
  for (std::size_t place = 0; place < written.size(); ++place) {
    const ScanBytes::Point& point = written[place];
    const std::array<std::int32_t, 3> steps = {point.x, point.y, point.z};
    for (int axis = 0; axis < 3; ++axis) {
      const auto at = static_cast<std::size_t>(axis);
      const double coordinate = steps[at] * settings.scale[at] + settings.offset[at];
      EXPECT_NEAR((*points.positions)[place][axis], coordinate - points.origin[axis], settings.scale[at] / 100);
    }
    EXPECT_EQ((*points.intensities)[place], point.intensity);
    EXPECT_EQ((*points.classesReturns)[place].x(), point.classification);
    EXPECT_EQ((*points.classesReturns)[place].y(), point.returnNumber + 16 * point.returnCount);
    for (unsigned channel = 0; channel < 3; ++channel) {
      const unsigned colour = ScanBytes::hasColour(settings.format) ? point.colour[channel] / 256 : 255;
      EXPECT_EQ((*points.colours)[place][channel], colour);
    }
  }
}

/// Requires a tree to consist of the nodes written, except those that have neither points nor children.
inline void expectWrittenTree(PointTree& tree, const std::vector<QuorTests::TreeFileNode>& written,
                              const ScanBytes::FileSettings& settings) {
  const QuorViewer::RootCube cube = QuorTests::treeCube(settings);
  for (int axis = 0; axis < 3; ++axis) {
    EXPECT_NEAR(tree.info().cube.least[axis], cube.least[axis], 1e-9);
  }
  EXPECT_NEAR(tree.info().cube.size, cube.size, 1e-9);
  ASSERT_EQ(tree.nodes().size(), written.size());
  for (std::uint32_t node = 0; node < written.size(); ++node) {
    const TreeNode& read = tree.nodes()[node];
    SCOPED_TRACE(node);
    const auto same =
        std::find_if(written.begin(), written.end(), [&](const auto& one) { return one.key == read.key; });
    ASSERT_NE(same, written.end());
    expectWrittenPoints(tree.read(node), same->points, settings);
  }
}

/// The path of a real scan; empty if it is not there.
inline std::string realScan(const std::string& name) {
  const char* folder = std::getenv("QUOR_SCANS");
  const std::string path = folder != nullptr ? (std::filesystem::path(folder) / name).string() : std::string();
  return std::filesystem::exists(path) ? path : std::string();
}

}  // namespace TreeSupport
