#include "make_scan/Terrain.h"

#include "make_scan/Random.h"

#include <algorithm>
#include <cmath>

namespace QuorViewer {

namespace {

constexpr int kCornersAcross = Terrain::kCellsAcross + 1;

// A basin: nearly level where the town stands, hills around it, and a hollow that the pond fills.
double plannedHeight(double x, double y) {
  const double rolling = 1.6 * sineOfTurns(x / 410.0 + 0.1) * cosineOfTurns(y / 350.0) + 0.5 * sineOfTurns(y / 140.0);
  const double fromCentre = std::sqrt(x * x + y * y);
  const double rim = smoothStep(135.0, 330.0, fromCentre);
  const double hills = rim * (34.0 + 22.0 * plainNoise(x, y, 110.0) + 5.0 * plainNoise(x, y, 37.0));
  const double dx = (x + 55.0) / 1.25;
  const double dy = y + 50.0;
  const double wobble = 3.0 * sineOfTurns(x / 23.0) + 2.5 * sineOfTurns(y / 17.0);
  const double hollow = 2.4 * (1.0 - smoothStep(9.0, 27.0, std::sqrt(dx * dx + dy * dy) + wobble));
  return rolling + hills - hollow;
}

}  // namespace

Terrain::Terrain() {
  _heights.reserve(static_cast<std::size_t>(kCornersAcross) * kCornersAcross);
  for (int row = 0; row < kCornersAcross; ++row) {
    for (int column = 0; column < kCornersAcross; ++column) {
      _heights.push_back(plannedHeight(borderOf(column), borderOf(row)));
    }
  }
}

int Terrain::cellOf(double coordinate) {
  const double cell = std::floor((coordinate + kHalfSizeMetres) / kCellMetres);
  return static_cast<int>(std::clamp(cell, 0.0, kCellsAcross - 1.0));
}

const double& Terrain::_corner(int column, int row) const {
  return _heights[static_cast<std::size_t>(row) * kCornersAcross + static_cast<std::size_t>(column)];
}

Terrain::Patch Terrain::_patch(int column, int row) const {
  const double southWest = _corner(column, row);
  const double southEast = _corner(column + 1, row);
  const double northWest = _corner(column, row + 1);
  const double northEast = _corner(column + 1, row + 1);
  return {southWest, southEast - southWest, northWest - southWest, northEast - northWest - southEast + southWest};
}

double Terrain::top(int column, int row) const {
  return std::max(std::max(_corner(column, row), _corner(column + 1, row)),
                  std::max(_corner(column, row + 1), _corner(column + 1, row + 1)));
}

double Terrain::height(double x, double y) const {
  const int column = cellOf(x);
  const int row = cellOf(y);
  const double u = std::clamp((x - borderOf(column)) / kCellMetres, 0.0, 1.0);
  const double v = std::clamp((y - borderOf(row)) / kCellMetres, 0.0, 1.0);
  const Patch patch = _patch(column, row);
  return patch.base + patch.east * u + patch.north * v + patch.both * u * v;
}

osg::Vec3d Terrain::normal(double x, double y) const {
  const int column = cellOf(x);
  const int row = cellOf(y);
  const double u = (x - borderOf(column)) / kCellMetres;
  const double v = (y - borderOf(row)) / kCellMetres;
  const Patch patch = _patch(column, row);
  osg::Vec3d result(-(patch.east + patch.both * v), -(patch.north + patch.both * u), kCellMetres);
  result.normalize();
  return result;
}

// The height above the patch is a quadratic of the distance s past `enter`: square * s² + slope * s + above.
std::optional<double> Terrain::cross(int column, int row, const Ray& ray, double enter, double leave) const {
  const osg::Vec3d start = ray.at(enter);
  const Patch patch = _patch(column, row);
  const double u = (start.x() - borderOf(column)) / kCellMetres;
  const double v = (start.y() - borderOf(row)) / kCellMetres;
  const double du = ray.direction.x() / kCellMetres;
  const double dv = ray.direction.y() / kCellMetres;
  const double above = start.z() - patch.base - patch.east * u - patch.north * v - patch.both * u * v;
  const double slope = ray.direction.z() - patch.east * du - patch.north * dv - patch.both * (u * dv + v * du);
  const double square = -patch.both * du * dv;
  const double discriminant = slope * slope - 4.0 * square * above;
  if (discriminant < 0.0) {
    return std::nullopt;
  }
  // Both roots without subtracting numbers of the same sign; the wanted one is where the height falls.
  const double sum = std::sqrt(discriminant);
  const double s = slope <= 0.0 ? 2.0 * above / (sum - slope) : -(slope + sum) / (2.0 * square);
  if (!(s >= -1e-9) || s > leave - enter + 1e-9) {
    return std::nullopt;
  }
  return enter + s;
}

}  // namespace QuorViewer
