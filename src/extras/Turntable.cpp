#include "extras/Turntable.h"

#include <algorithm>
#include <cmath>

namespace QuorOsgUtils {

namespace {

constexpr double kPi = 3.14159265358979323846;
const osg::Vec3d kViewRight(1.0, 0.0, 0.0);
const osg::Vec3d kViewUp(0.0, 1.0, 0.0);
const osg::Vec3d kViewAhead(0.0, 0.0, -1.0);
const osg::Vec3d kWorldUp(0.0, 0.0, 1.0);

/// From straight down (0) to straight up (π).
double pitchRadians(const osg::Quat& rotation) {
  return std::acos(std::clamp(-(rotation * kViewAhead).z(), -1.0, 1.0));
}

/// The angle of a rotation about the world's Z axis.
double yawRadians(const osg::Quat& yaw) {
  return 2.0 * std::atan2(yaw.z(), yaw.w());
}

double shortWay(double radians) {
  return std::remainder(radians, 2.0 * kPi);
}

osg::Quat pitchBy(double radians) {
  return {radians, kViewRight};
}

}  // namespace

osg::Quat pitchOf(const osg::Quat& rotation) {
  return pitchBy(pitchRadians(rotation));
}

osg::Quat yawOf(const osg::Quat& rotation) {
  return pitchOf(rotation).inverse() * rotation;
}

osg::Quat turntable(const osg::Quat& rotation, const osg::Vec2d& turn) {
  const double pitch = std::clamp(pitchRadians(rotation) + turn.y(), 0.0, kPi);
  return pitchBy(pitch) * yawOf(rotation) * osg::Quat(-turn.x(), kWorldUp);
}

osg::Quat freeTurn(const osg::Quat& rotation, const osg::Vec2d& turn) {
  const osg::Vec3d axis = rotation * (kViewRight * turn.y() - kViewUp * turn.x());
  const double angle = turn.length();
  return angle > 0.0 ? osg::Quat(angle, axis / angle) : osg::Quat();
}

bool isLevel(const osg::Quat& rotation) {
  constexpr double kTilt = 1e-6;
  const osg::Quat yaw = yawOf(rotation);
  return std::hypot(yaw.x(), yaw.y()) < kTilt;
}

osg::Quat rotationBetween(const osg::Quat& from, const osg::Quat& to, double share) {
  if (!isLevel(from) || !isLevel(to)) {
    osg::Quat between;
    between.slerp(share, from, to);
    return between;
  }
  const double yawFrom = yawRadians(yawOf(from));
  const double yawChange = shortWay(yawRadians(yawOf(to)) - yawFrom);
  const double pitchFrom = pitchRadians(from);
  return pitchBy(pitchFrom + (pitchRadians(to) - pitchFrom) * share) * osg::Quat(yawFrom + yawChange * share, kWorldUp);
}

}  // namespace QuorOsgUtils
