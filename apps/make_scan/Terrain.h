#pragma once

#include "make_scan/Shapes.h"

#include <vector>

namespace QuorViewer {

/// The ground: heights at the corners of square cells, bilinear within a cell (so a ray meets it at the root of a
/// quadratic), centred on the origin of the plane.
class Terrain {
 public:
  static constexpr double kCellMetres = 4.0;
  static constexpr int kCellsAcross = 120;
  static constexpr double kHalfSizeMetres = 0.5 * kCellMetres * kCellsAcross;

  Terrain();

  /// Height of the ground. Outside the terrain, that of the nearest border.
  double height(double x, double y) const;

  /// Upwards, length 1.
  osg::Vec3d normal(double x, double y) const;

  /// The first crossing from above within cell (column, row), while the ray is between `enter` and `leave`.
  std::optional<double> cross(int column, int row, const Ray& ray, double enter, double leave) const;

  /// Height of the highest corner of a cell.
  double top(int column, int row) const;

  /// Column of x or row of y, clamped to the terrain.
  static int cellOf(double coordinate);
  /// Western border of a column, southern border of a row.
  static double borderOf(int cell) { return cell * kCellMetres - kHalfSizeMetres; }

 private:
  /// height = base + east * u + north * v + both * u * v, with u, v from 0 to 1 across the cell.
  struct Patch {
    double base, east, north, both;
  };

  const double& _corner(int column, int row) const;
  Patch _patch(int column, int row) const;

  std::vector<double> _heights;
};

}  // namespace QuorViewer
