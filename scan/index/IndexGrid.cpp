#include "scan/index/IndexGrid.h"

#include <algorithm>
#include <cmath>

namespace QuorViewer {
namespace {

constexpr double kPlaces = 4294967296.0;  // 2^32
constexpr double kMostSteps = kPlaces - 4.0;
constexpr double kLeastSize = 1e-3;

double greatest(const osg::Vec3d& v) {
  return std::max({v.x(), v.y(), v.z()});
}

/// The scan's own step, doubled until there are few enough along the cube.
double stepFor(double scale, double size) {
  if (!(scale > 0.0)) {
    return size / static_cast<double>(std::uint32_t{1} << IndexGrid::kFloatingPointBits);
  }
  double step = scale;
  while (size / step > kMostSteps) {
    step *= 2.0;
  }
  return step;
}

}  // namespace

// The cube is a little larger than the points, so that each lies before its upper faces, also after rounding.
IndexGrid IndexGrid::around(const ScanInfo& scan, const osg::BoundingBoxd& bounds) {
  const osg::Vec3d extent = bounds._max - bounds._min;
  const double margin = 4.0 * greatest(scan.scale);
  IndexGrid grid;
  grid._cube.size = std::max(greatest(extent) * (1.0 + 1e-6) + margin, kLeastSize);
  for (int axis = 0; axis < 3; ++axis) {
    const double scale = scan.scale[axis];
    grid._step[axis] = stepFor(scale, grid._cube.size);
    const double least = bounds._min[axis];
    const double origin = scan.offset[axis];
    grid._cube.least[axis] = scale > 0.0 ? origin + (std::round((least - origin) / scale) - 1.0) * scale : least;
  }
  grid._scale();
  return grid;
}

void IndexGrid::_scale() {
  for (int axis = 0; axis < 3; ++axis) {
    _placesPerStep[axis] = _step[axis] / _cube.size * kPlaces;
  }
}

bool IndexGrid::contains(const osg::Vec3d& position) const {
  const osg::Vec3d from = position - _cube.least;
  for (int axis = 0; axis < 3; ++axis) {
    if (!(from[axis] >= 0.0 && from[axis] + _step[axis] < _cube.size)) {
      return false;
    }
  }
  return true;
}

IndexGrid::Steps IndexGrid::stepsOf(const osg::Vec3d& position) const {
  Steps steps{};
  for (unsigned axis = 0; axis < 3; ++axis) {
    const auto a = static_cast<int>(axis);
    steps[axis] = static_cast<std::uint32_t>(std::llround((position[a] - _cube.least[a]) / _step[a]));
  }
  return steps;
}

osg::Vec3d IndexGrid::positionOf(const Steps& steps) const {
  return {steps[0] * _step.x(), steps[1] * _step.y(), steps[2] * _step.z()};
}

IndexGrid::Place IndexGrid::placeOf(const Steps& steps) const {
  return {static_cast<std::uint32_t>(steps[0] * _placesPerStep.x()),
          static_cast<std::uint32_t>(steps[1] * _placesPerStep.y()),
          static_cast<std::uint32_t>(steps[2] * _placesPerStep.z())};
}

NodeKey IndexGrid::nodeAt(std::uint32_t level, const Place& place) {
  const unsigned shift = 32U - level;
  return level == 0 ? NodeKey() : NodeKey{level, place[0] >> shift, place[1] >> shift, place[2] >> shift};
}

}  // namespace QuorViewer
