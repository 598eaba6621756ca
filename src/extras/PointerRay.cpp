#include "extras/PointerRay.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace QuorOsgUtils {

// The line through the position's points at depths 0 and 1 holds in both kinds of projection.
std::optional<osg::Vec3d> viewPointAhead(const ViewState& state, const osg::Vec2d& position, double ahead) {
  const std::optional<osg::Vec3d> start = windowToView(state, osg::Vec3d(position.x(), position.y(), 0.0));
  const std::optional<osg::Vec3d> end = windowToView(state, osg::Vec3d(position.x(), position.y(), 1.0));
  if (!start || !end) {
    return std::nullopt;
  }
  return ifFinite(*start + (*end - *start) * ((-ahead - start->z()) / (end->z() - start->z())));
}

std::optional<PointerRay> pointerRay(const ViewState& state, const osg::Vec2d& position) {
  const std::optional<osg::Vec3d> start = viewPointAhead(state, position, 0.0);
  const std::optional<osg::Vec3d> further = viewPointAhead(state, position, 1.0);
  osg::Matrixd toWorld;
  if (!start || !further || !toWorld.invert(state.view)) {
    return std::nullopt;
  }
  osg::Vec3d direction = osg::Matrixd::transform3x3(*further - *start, toWorld);
  direction.normalize();
  return PointerRay{*start * toWorld, direction};
}

double distanceAhead(const ViewState& state, const osg::Vec3d& world) {
  return -(world * state.view).z();
}

bool isOnScreen(const ViewState& state, const osg::Vec3d& world) {
  if (!(distanceAhead(state, world) > 0.0)) {
    return false;
  }
  const osg::Vec3d clip = world * state.view * state.projection;
  return std::abs(clip.x()) <= 1.0 && std::abs(clip.y()) <= 1.0;
}

std::optional<osg::Vec3d> middleInside(const PointerRay& ray, const osg::BoundingBoxd& box) {
  double enter = 0.0;
  double leave = std::numeric_limits<double>::max();
  for (int axis = 0; axis < 3; ++axis) {
    const double low = box._min[axis] - ray.origin[axis];
    const double high = box._max[axis] - ray.origin[axis];
    const double slope = ray.direction[axis];
    if (slope == 0.0) {
      if (low > 0.0 || high < 0.0) {
        return std::nullopt;
      }
      continue;
    }
    enter = std::max(enter, std::min(low / slope, high / slope));
    leave = std::min(leave, std::max(low / slope, high / slope));
  }
  return enter <= leave ? std::optional<osg::Vec3d>(ray.origin + ray.direction * (0.5 * (enter + leave)))
                        : std::nullopt;
}

}  // namespace QuorOsgUtils
