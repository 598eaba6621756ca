#pragma once

#include <osg/BoundingBox>
#include <osg/Vec3d>

#include <cstdint>
#include <tuple>

namespace QuorViewer {

/// The place of a node in an octree: at level n the root's cube is divided into 2^n cells along each axis. x, y and z
/// count them from the cube's least corner.
struct NodeKey {
  std::uint32_t level = 0;
  std::uint32_t x = 0, y = 0, z = 0;

  /// Bit 0 of `octant` is the upper half in x, bit 1 in y, bit 2 in z.
  NodeKey child(unsigned octant) const {
    return {level + 1, 2 * x + (octant & 1U), 2 * y + (octant >> 1U & 1U), 2 * z + (octant >> 2U & 1U)};
  }
  /// Expects a level above 0.
  NodeKey parent() const { return {level - 1, x / 2, y / 2, z / 2}; }

  bool operator==(const NodeKey& other) const { return _all() == other._all(); }
  bool operator!=(const NodeKey& other) const { return !(*this == other); }
  /// By level first, so that parents come before their children.
  bool operator<(const NodeKey& other) const { return _all() < other._all(); }

 private:
  std::tuple<const std::uint32_t&, const std::uint32_t&, const std::uint32_t&, const std::uint32_t&> _all() const {
    return std::tie(level, x, y, z);
  }
};

/// The root's cube of an octree, in world units.
struct RootCube {
  osg::Vec3d least;  ///< corner
  double size = 0.0;

  double sizeAt(std::uint32_t level) const { return size / static_cast<double>(std::uint64_t{1} << level); }
  osg::BoundingBoxd cubeOf(const NodeKey& key) const {
    const double side = sizeAt(key.level);
    const osg::Vec3d corner = least + osg::Vec3d(key.x, key.y, key.z) * side;
    return {corner, corner + osg::Vec3d(side, side, side)};
  }
};

}  // namespace QuorViewer
