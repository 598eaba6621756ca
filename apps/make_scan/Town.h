#pragma once

#include "make_scan/Layout.h"
#include "make_scan/Terrain.h"

#include <array>
#include <cstdint>
#include <vector>

namespace QuorViewer {

/// What a ray hits.
struct Hit {
  static constexpr std::uint32_t kTerrain = 0xFFFFFFFFU;

  double t;
  osg::Vec3d position;
  osg::Vec3d normal;  ///< outwards, length 1; in foliage, away from the middle of the lobe
  Material material;
  Class classification;
  Cover cover;          ///< of the ground, where `shape` is `kTerrain`
  std::uint32_t shape;  ///< index in `Town::shapes`
};

/// The part of a ray inside foliage.
struct Thicket {
  Passage passage;
  std::uint32_t shape;
};

/// Everything along a ray up to the first opaque surface.
struct Sight {
  static constexpr std::size_t kThicketsMost = 24;

  std::optional<Hit> opaque;
  std::array<Thicket, kThicketsMost> thickets;  ///< in the order in which the ray enters them
  std::size_t thicketCount = 0;
};

/// A small town of analytically known surfaces: 480 m by 480 m around the origin, x east, y north, z up, in metres. The
/// same town on every machine. Immutable once constructed, so that threads may share it.
class Town {
 public:
  Town();

  const Terrain& terrain() const { return _terrain; }
  const std::vector<Shape>& shapes() const { return _shapes; }

  /// The nearest opaque surface. The ray must start above ground and outside all bodies.
  std::optional<Hit> trace(const Ray& ray) const { return sight(ray).opaque; }

  /// Like `trace`, with the foliage that the ray passes through first.
  Sight sight(const Ray& ray) const;

  /// The hit of a leaf at `t` in a thicket.
  Hit leafHit(const Ray& ray, const Thicket& thicket, double t) const;

  /// Distance from a point to the nearest surface; foliage counts as surface throughout. Considers only what is within
  /// a cell's width of the point, and the ground directly above or below.
  double distanceToSurface(const osg::Vec3d& point) const;

 private:
  struct Cell {
    std::uint32_t firstShape, shapeCount;  ///< in `_cellShapes`
    double shapesTop;                      ///< highest point of them
    double groundTop;
  };
  class Walk;

  void _fillCells();
  const Cell& _cell(int column, int row) const;
  Hit _groundHit(const Ray& ray, double t) const;

  Terrain _terrain;
  std::vector<Shape> _shapes;
  std::vector<Cell> _cells;
  std::vector<std::uint32_t> _cellShapes;
  double _top = 0.0;  ///< nothing is higher
};

}  // namespace QuorViewer
