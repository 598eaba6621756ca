#pragma once

#include "scan/index/NodeKey.h"
#include "tests/scan/ScanBytes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace QuorTests {

/// Half the side of the root's cube, in steps of the grid; the cube is centred at the grid's offset.
constexpr std::int32_t kTreeHalfSteps = 16000;
constexpr double kTreeStep = 0.01;
constexpr double kTreeSpacing = 2.5;

/// Settings whose steps have the same length along each axis, so that the cube of steps is a cube.
ScanBytes::FileSettings treeSettings(unsigned minor, unsigned format);

/// The root's cube in world units.
QuorViewer::RootCube treeCube(const ScanBytes::FileSettings& settings);

/// Points at arbitrary places in a node's cube, which differ in all attributes. `seed` makes them unique.
std::vector<ScanBytes::Point> pointsInNode(const QuorViewer::NodeKey& key, unsigned count, unsigned format,
                                           unsigned seed);

/// A node of a test file.
struct TreeFileNode {
  QuorViewer::NodeKey key;
  std::vector<ScanBytes::Point> points;
  unsigned page = 0;                         ///< of the hierarchy; page 0 refers to page 1, and so on
  std::optional<std::uint32_t> statedCount;  ///< of points, if it is to differ from their number
};

/// A tree of 5 levels and 3 pages, with a node without points, in an order that is not that of the keys.
std::vector<TreeFileNode> sampleTree(unsigned format);

/// A COPC file written by the published layout; LASzip compresses each node.
struct CopcFile {
  static constexpr std::size_t kInfoAt = 375 + 54;  ///< content of the record on the octree

  ScanBytes::Bytes bytes;
  std::uint64_t tableAt = 0;                 ///< the chunk table
  std::uint64_t hierarchyAt = 0;             ///< the extended record with the hierarchy
  std::vector<std::uint64_t> pagesAt;        ///< the pages, and their end
  std::vector<std::uint64_t> entriesAt;      ///< in the hierarchy, by index of the node
  std::vector<std::uint64_t> pageEntriesAt;  ///< the entry that refers to page 1, 2 …
};

/// Nodes are stored in the order given, entries within each page as well.
CopcFile writeCopc(const ScanBytes::Folder& folder, const ScanBytes::FileSettings& settings,
                   const std::vector<TreeFileNode>& nodes);

}  // namespace QuorTests
