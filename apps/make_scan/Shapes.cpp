#include "make_scan/Shapes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace QuorViewer {

namespace {

// A convex body is entered at the latest entry through the outer side of a face's plane, unless an exit comes first.
std::optional<Touch> touchSolid(const Solid& solid, const Ray& ray) {
  double enter = 0.0;
  double leave = std::numeric_limits<double>::infinity();
  const Solid::Face* entered = nullptr;
  for (const Solid::Face& face : solid.faces) {
    const double height = face.normal * ray.start - face.offset;
    const double speed = face.normal * ray.direction;
    if (height > 0.0 && speed >= 0.0) {
      return std::nullopt;
    }
    if (speed == 0.0) {
      continue;
    }
    const double t = -height / speed;
    if (speed > 0.0) {
      leave = std::min(leave, t);
    } else if (t > enter) {
      enter = t;
      entered = &face;
    }
    if (enter > leave) {
      return std::nullopt;
    }
  }
  if (!entered) {
    return std::nullopt;
  }
  return Touch{enter, entered->normal, entered->material};
}

struct Roots {
  double first, second;
};

// Roots of t² + 2 * half * t + constant.
std::optional<Roots> roots(double half, double constant) {
  const double discriminant = half * half - constant;
  if (discriminant < 0.0) {
    return std::nullopt;
  }
  const double root = std::sqrt(discriminant);
  return Roots{-half - root, -half + root};
}

std::optional<Roots> ballRoots(const osg::Vec3d& centre, double radius, const Ray& ray) {
  const osg::Vec3d apart = ray.start - centre;
  return roots(apart * ray.direction, apart * apart - radius * radius);
}

std::optional<Touch> touchBall(const osg::Vec3d& centre, double radius, Material material, const Ray& ray) {
  const std::optional<Roots> met = ballRoots(centre, radius, ray);
  if (!met || met->first <= 0.0) {
    return std::nullopt;
  }
  return Touch{met->first, (ray.at(met->first) - centre) / radius, material};
}

// The cylinder around the rod's axis is hit where the ray's component across that axis comes within the radius.
std::optional<Touch> touchRodSide(const Rod& rod, Material material, const Ray& ray) {
  const osg::Vec3d line = rod.to - rod.from;
  const double length = line.length();
  const osg::Vec3d axis = line / length;
  const osg::Vec3d apart = ray.start - rod.from;
  const osg::Vec3d across = ray.direction - axis * (ray.direction * axis);
  const osg::Vec3d offset = apart - axis * (apart * axis);
  const double speed = across * across;
  if (speed == 0.0) {
    return std::nullopt;
  }
  const std::optional<Roots> met = roots(across * offset / speed, (offset * offset - rod.radius * rod.radius) / speed);
  if (!met || met->first <= 0.0) {
    return std::nullopt;
  }
  const osg::Vec3d place = ray.at(met->first) - rod.from;
  const double along = place * axis;
  if (along < 0.0 || along > length) {
    return std::nullopt;
  }
  return Touch{met->first, (place - axis * along) / rod.radius, material};
}

std::optional<Touch> nearer(const std::optional<Touch>& first, const std::optional<Touch>& second) {
  if (!first || !second) {
    return first ? first : second;
  }
  return first->t <= second->t ? first : second;
}

std::optional<Touch> touchRod(const Rod& rod, Material material, const Ray& ray) {
  const std::optional<Touch> ends = nearer(touchBall(rod.from, rod.radius, material, ray),  //
                                           touchBall(rod.to, rod.radius, material, ray));
  return nearer(touchRodSide(rod, material, ray), ends);
}

double solidDistance(const Solid& solid, const osg::Vec3d& point) {
  double outermost = -std::numeric_limits<double>::infinity();
  for (const Solid::Face& face : solid.faces) {
    outermost = std::max(outermost, face.normal * point - face.offset);
  }
  return std::abs(outermost);
}

double rodDistance(const Rod& rod, const osg::Vec3d& point) {
  const osg::Vec3d line = rod.to - rod.from;
  const double share = std::clamp((point - rod.from) * line / (line * line), 0.0, 1.0);
  return std::abs((point - rod.from - line * share).length() - rod.radius);
}

}  // namespace

std::optional<Touch> touch(const Shape& shape, const Ray& ray) {
  if (const auto* solid = std::get_if<Solid>(&shape.body)) {
    return touchSolid(*solid, ray);
  }
  if (const auto* rod = std::get_if<Rod>(&shape.body)) {
    return touchRod(*rod, shape.material, ray);
  }
  const auto& ball = std::get<Ball>(shape.body);
  return touchBall(ball.centre, ball.radius, shape.material, ray);
}

std::optional<Passage> passage(const Ball& ball, const Ray& ray) {
  const std::optional<Roots> met = ballRoots(ball.centre, ball.radius, ray);
  if (!met || met->second <= 0.0) {
    return std::nullopt;
  }
  return Passage{std::max(met->first, 0.0), met->second};
}

double distanceToSurface(const Shape& shape, const osg::Vec3d& point) {
  if (const auto* solid = std::get_if<Solid>(&shape.body)) {
    return solidDistance(*solid, point);
  }
  if (const auto* rod = std::get_if<Rod>(&shape.body)) {
    return rodDistance(*rod, point);
  }
  const auto& ball = std::get<Ball>(shape.body);
  const double outside = (point - ball.centre).length() - ball.radius;
  return shape.foliage ? std::max(outside, 0.0) : std::abs(outside);
}

}  // namespace QuorViewer
