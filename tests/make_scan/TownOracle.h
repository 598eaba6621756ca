#pragma once

#include "make_scan/Scanner.h"
#include "make_scan/Town.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace QuorViewer {

/// Tells what must be where in the town, from the bodies themselves: it never intersects a ray with a surface.
class TownOracle {
 public:
  explicit TownOracle(const Town& town) : _town(town) {}

  /// Depth of a point inside a body, negative outside.
  static double depth(const Shape& shape, const osg::Vec3d& point) {
    if (const auto* solid = std::get_if<Solid>(&shape.body)) {
      double least = std::numeric_limits<double>::infinity();
      for (const Solid::Face& face : solid->faces) {
        least = std::min(least, face.offset - face.normal * point);
      }
      return least;
    }
    if (const auto* ball = std::get_if<Ball>(&shape.body)) {
      return ball->radius - (point - ball->centre).length();
    }
    const auto& rod = std::get<Rod>(shape.body);
    const osg::Vec3d line = rod.to - rod.from;
    const double share = std::clamp((point - rod.from) * line / line.length2(), 0.0, 1.0);
    return rod.radius - (point - (rod.from + line * share)).length();
  }

  /// The height of the ground, interpolated between the four corners of the cell around the point.
  double ground(double x, double y) const {
    const double size = Terrain::kCellMetres;
    const double west = std::floor(x / size) * size;
    const double south = std::floor(y / size) * size;
    const double u = (x - west) / size;
    const double v = (y - south) / size;
    const Terrain& terrain = _town.terrain();
    return (1 - u) * (1 - v) * terrain.height(west, south) + u * (1 - v) * terrain.height(west + size, south) +
           (1 - u) * v * terrain.height(west, south + size) + u * v * terrain.height(west + size, south + size);
  }

  bool onGround(const osg::Vec3d& point, double tolerance) const {
    // Slopes in the town stay below 1:1, so a horizontal error changes the height by no more than itself.
    return std::abs(point.z() - ground(point.x(), point.y())) <= 2.0 * tolerance;
  }

  /// All shapes whose surface (for foliage: interior) is within `tolerance` of the point.
  std::vector<const Shape*> shapesAt(const osg::Vec3d& point, double tolerance) const {
    std::vector<const Shape*> result;
    for (const Shape& shape : _town.shapes()) {
      if (!inBox(shape, point, tolerance)) {
        continue;
      }
      const double inside = depth(shape, point);
      if (inside >= -tolerance && (shape.foliage || inside <= tolerance)) {
        result.push_back(&shape);
      }
    }
    return result;
  }

  /// True if an opaque body or the ground lies in between: some point on the way is at least `deep` inside it.
  bool isBlocked(const osg::Vec3d& eye, const osg::Vec3d& point, double deep = 0.02) const {
    constexpr double kStepMetres = 0.03;
    const double length = (point - eye).length();
    const std::vector<const Shape*> opaque = opaqueAlong(eye, point);
    for (double along = kStepMetres; along < length - kStepMetres; along += kStepMetres) {
      const osg::Vec3d place = eye + (point - eye) * (along / length);
      if (place.z() < ground(place.x(), place.y()) - deep) {
        return true;
      }
      const auto holds = [&](const Shape* shape) { return depth(*shape, place) > deep; };
      if (std::any_of(opaque.begin(), opaque.end(), holds)) {
        return true;
      }
    }
    return false;
  }

 private:
  static bool inBox(const Shape& shape, const osg::Vec3d& point, double margin) {
    for (int axis = 0; axis < 3; ++axis) {
      if (point[axis] < shape.low[axis] - margin || point[axis] > shape.high[axis] + margin) {
        return false;
      }
    }
    return true;
  }

  // The opaque bodies whose circle, seen from above, the line of sight crosses.
  std::vector<const Shape*> opaqueAlong(const osg::Vec3d& eye, const osg::Vec3d& point) const {
    std::vector<const Shape*> result;
    const osg::Vec2d from(eye.x(), eye.y());
    const osg::Vec2d way = osg::Vec2d(point.x(), point.y()) - from;
    for (const Shape& shape : _town.shapes()) {
      if (shape.foliage) {
        continue;
      }
      const osg::Vec2d middle(0.5 * (shape.low.x() + shape.high.x()), 0.5 * (shape.low.y() + shape.high.y()));
      const double radius = 0.5 * osg::Vec2d(shape.high.x() - shape.low.x(), shape.high.y() - shape.low.y()).length();
      const double share = std::clamp((middle - from) * way / std::max(way.length2(), 1e-12), 0.0, 1.0);
      if ((from + way * share - middle).length() <= radius) {
        result.push_back(&shape);
      }
    }
    return result;
  }

  const Town& _town;
};

}  // namespace QuorViewer
