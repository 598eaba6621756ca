#pragma once

#include <osg/Quat>
#include <osg/Vec3d>

namespace QuorOsgUtils {

/// The axes of a view, in world axes.
struct ViewAxes {
  osg::Vec3d right;
  osg::Vec3d up;
  osg::Vec3d ahead;
};

/// A rotation as a unit axis and an angle in radians. The axis is zero if there is no rotation.
struct AxisAngle {
  osg::Vec3d axis;
  float angle;
};

ViewAxes viewAxes(const osg::Quat& rotation);

/// The trackball rotation for a pointer movement from p1 to p2: angle = asin(|p2 − p1| / (2 × trackball size)), about
/// p2 × p1.
AxisAngle trackballRotation(const osg::Vec3d& p1, const osg::Vec3d& p2, double trackballSize);

/// Limits a pitch: a move down that would increase its angle again gives 0 (straight down), a move up beyond π gives π
/// (straight up). `angleBefore` is the angle before the move; `yBefore` and `yNow` are the pointer's y positions.
osg::Quat limitedPitch(const osg::Quat& pitch, double angleBefore, float yBefore, float yNow);

}  // namespace QuorOsgUtils
