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

/// A rotation as a unit axis and an angle in radians; without length where there is no rotation.
struct Turn {
  osg::Vec3d axis;
  float angle;
};

ViewAxes viewAxes(const osg::Quat& rotation);

/// The turn that a pointer's way from p1 to p2 asks of a ball: half of the way is the sine of its angle in units of the
/// ball's size.
Turn trackballTurn(const osg::Vec3d& p1, const osg::Vec3d& p2, double trackballSize);

/// Keeps a pitch from turning over: a move down that would make it grow again ends at 0 (straight down), a move up that
/// takes it beyond π ends at π (straight up). `angleBefore` is the pitch's angle before the move; the positions are the
/// pointer's heights.
osg::Quat limitedPitch(const osg::Quat& pitch, double angleBefore, float yBefore, float yNow);

}  // namespace QuorOsgUtils
