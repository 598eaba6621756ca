#pragma once

#include "scan/Scan.h"
#include "scan/index/NodeKey.h"

#include <osg/BoundingBox>
#include <osg/Vec3d>

#include <array>
#include <cstdint>

namespace QuorViewer {

/// The whole-numbered coordinates of an index, from the least corner of the root's cube on.
class IndexGrid {
 public:
  using Steps = std::array<std::uint32_t, 3>;  ///< coordinates in steps of the grid
  using Place = std::array<std::uint32_t, 3>;  ///< coordinates in 2^-32 of the cube's size

  /// Steps along the cube of a scan that stores floating point: 2^30.
  static constexpr unsigned kFloatingPointBits = 30;
  /// Cubes of deeper levels are not divided: places have 32 bits, and a node has 2^7 cells along each axis.
  static constexpr std::uint32_t kDeepestLevel = 25;

  IndexGrid() = default;
  IndexGrid(const RootCube& cube, const osg::Vec3d& step) : _cube(cube), _step(step) { _scale(); }

  /// The grid of a scan with these bounds, which are valid: the scan's own grid if it has one, so that positions stay
  /// exact; the least corner lies on it. Only if the bounds are wider than 32 bits of the scan's grid, steps are
  /// larger.
  static IndexGrid around(const ScanInfo& scan, const osg::BoundingBoxd& bounds);

  const RootCube& cube() const { return _cube; }
  const osg::Vec3d& step() const { return _step; }

  /// Whether the cube contains a world position.
  bool contains(const osg::Vec3d& position) const;
  /// The steps nearest to a world position in the cube.
  Steps stepsOf(const osg::Vec3d& position) const;
  /// Relative to the cube's least corner, in world units.
  osg::Vec3d positionOf(const Steps& steps) const;
  Place placeOf(const Steps& steps) const;

  /// The node of a level that contains a place.
  static NodeKey nodeAt(std::uint32_t level, const Place& place);

 private:
  void _scale();

  RootCube _cube;
  osg::Vec3d _step;
  osg::Vec3d _placesPerStep;
};

}  // namespace QuorViewer
