#pragma once

#include <osg/Vec3d>

#include <cmath>
#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

namespace QuorViewer {

/// The distance to the next integer below, from 0 to less than 1.
inline double fraction(double value) {
  return value - std::floor(value);
}

/// A half-line. `direction` has length 1, so that `t` is a distance in metres.
struct Ray {
  osg::Vec3d start;
  osg::Vec3d direction;

  osg::Vec3d at(double t) const { return start + direction * t; }
};

/// What a surface is made of; it decides the pattern on it and how much light it returns.
enum class Material : std::uint8_t {
  Ground,
  Water,
  Wall,
  Front,
  Plaster,
  Roof,
  Slate,
  Stone,
  Nave,
  Tower,
  Cloth,
  CarPaint,
  CarGlass,
  Wood,
  Metal,
  Wire,
  Leaves,
  Needles,
  Bush,
  Flowers,
};

/// Classification codes, with their numbers in LAS files.
enum Class : std::uint8_t {
  kUnclassified = 1,
  kGround = 2,
  kLowVegetation = 3,
  kMediumVegetation = 4,
  kHighVegetation = 5,
  kBuilding = 6,
  kWater = 9,
  kRoad = 11,
  kWire = 14,
  kMast = 15,
  kCar = 64,        ///< codes from here on are user defined
  kFurniture = 65,  ///< benches, stalls, lamps
};

/// A convex body: all points p with normal * p <= offset for each of its faces.
struct Solid {
  struct Face {
    osg::Vec3d normal;  ///< outwards, length 1
    double offset;
    Material material;
  };
  std::vector<Face> faces;
};

/// All points within `radius` of the line from `from` to `to`: posts, trunks, wires.
struct Rod {
  osg::Vec3d from, to;
  double radius;
};

/// A sphere: lamps, and the lobes that form crowns and bushes.
struct Ball {
  osg::Vec3d centre;
  double radius;
};

/// One thing in the town.
struct Shape {
  std::variant<Solid, Rod, Ball> body;
  Material material = Material::Stone;  ///< of rods and balls; a solid has one for each face
  osg::Vec3d colour;                    ///< red, green, blue, 0 to 1
  osg::Vec3d anchor;                    ///< middle of the foot, the origin of the surface pattern
  Class classification = kUnclassified;
  bool foliage = false;  ///< a pulse may pass through: leaves fill the body and return anywhere inside
  osg::Vec3d low, high;  ///< corners of a box that holds the visible part
};

/// Where a ray meets a surface.
struct Touch {
  double t;
  osg::Vec3d normal;  ///< outwards, length 1
  Material material;
};

/// The part of a ray inside a ball.
struct Passage {
  double enter, leave;
};

/// Where the ray enters the shape from outside, ahead of its start; nothing if it starts inside or misses the shape.
std::optional<Touch> touch(const Shape& shape, const Ray& ray);

/// Where the ray runs inside the ball, ahead of its start.
std::optional<Passage> passage(const Ball& ball, const Ray& ray);

/// Distance of a point from the surface of the shape; 0 anywhere inside foliage. For a point beyond an edge of a solid,
/// the distance from the farthest of the planes it is outside of, which is at most the true distance.
double distanceToSurface(const Shape& shape, const osg::Vec3d& point);

}  // namespace QuorViewer
