#pragma once

#include "scan/index/NodeKey.h"

#include <osg/Array>
#include <osg/BoundingBox>
#include <osg/Vec3d>

#include <array>
#include <bitset>
#include <cstdint>
#include <memory>
#include <vector>

namespace QuorViewer {

/// A node of a point tree. Its points are a sample of its cube; those of its children refine them.
struct TreeNode {
  static constexpr std::uint32_t kNone = ~0U;

  NodeKey key;
  std::uint32_t pointCount = 0;  ///< 0 is allowed in nodes with children
  std::array<std::uint32_t, 8> children = {kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone};  ///< by octant

  bool isLeaf() const { return children == std::array<std::uint32_t, 8>{TreeNode().children}; }
};

/// What is known of a point tree without reading any node's points.
struct TreeInfo {
  RootCube cube;
  double rootSpacing =
      0.0;  ///< distance of neighbouring points in the root, in world units; halves from level to level
  std::uint64_t pointCount = 0;  ///< of all nodes together
  osg::BoundingBoxd bounds;      ///< of the points, world units; invalid if it is not known or there are none
  std::bitset<256> classes;      ///< those present; without any if it is not known
  bool anyIntensity = false;     ///< whether any is not 0; also false if it is not known

  double spacingAt(std::uint32_t level) const { return rootSpacing / static_cast<double>(std::uint64_t{1} << level); }
};

/// The points of a node in arrays that the graphics card uses directly, each with one element per point.
struct NodePoints {
  osg::Vec3d origin;  ///< world point that the positions are relative to: the least corner of the node's cube
  osg::ref_ptr<osg::Vec3Array> positions;
  osg::ref_ptr<osg::Vec4ubArray> colours;  ///< as in `PointChunk`, like the next two
  osg::ref_ptr<osg::UShortArray> intensities;
  osg::ref_ptr<osg::Vec2ubArray> classesReturns;
  osg::ref_ptr<osg::UIntArray> records;  ///< index of each point's record in the scan
  osg::BoundingBox bounds;               ///< of the positions
};

/// A scan whose points are sorted into an octree of samples: every record of the scan is in exactly one node, in whose
/// cube it lies. A node's points have at least the spacing of its level, except in leaves, which hold all points that
/// are left. One thread at a time.
class PointTree {
 public:
  virtual ~PointTree() = default;

  virtual const TreeInfo& info() const = 0;
  /// All nodes, the root first, parents before their children; empty if the scan has no points.
  virtual const std::vector<TreeNode>& nodes() const = 0;

  /// Reads a node's points. Throws ScanError (the file was changed or damaged, cannot be read).
  virtual NodePoints read(std::uint32_t node) = 0;
  /// Some ten thousand points that represent all records, for statistics; expects a tree with nodes. Default: those of
  /// the first node that has any. Throws ScanError.
  virtual NodePoints sample();

  /// The memory of points that the tree itself keeps, once for all its clones. Default: none.
  virtual std::uint64_t heldBytes() const { return 0; }

  /// A tree for another thread, which may outlive this one. It shares what is known of the file.
  [[nodiscard]] virtual std::unique_ptr<PointTree> clone() const = 0;
};

}  // namespace QuorViewer
