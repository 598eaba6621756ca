#pragma once

#include <osg/Quat>
#include <osg/Vec2d>

namespace QuorOsgUtils {

/// The two parts of a rotation, pitch × yaw: the rotation about the view's x axis up from straight down, and the rest.
osg::Quat pitchOf(const osg::Quat& rotation);
osg::Quat yawOf(const osg::Quat& rotation);

/// Turns a rotation as a turntable does: `turn.x()` to the right about the world's Z axis and `turn.y()` up, in
/// radians. The pitch stays between straight down and straight up. A level horizon stays level.
osg::Quat turntable(const osg::Quat& rotation, const osg::Vec2d& turn);

/// The world rotation that turns a view to the right by `turn.x()` and up by `turn.y()` about its own axes, in radians.
osg::Quat freeTurn(const osg::Quat& rotation, const osg::Vec2d& turn);

/// Whether the horizon of a view is level.
bool isLevel(const osg::Quat& rotation);

/// The rotation at `share` (0 to 1) between two; level if both are.
osg::Quat rotationBetween(const osg::Quat& from, const osg::Quat& to, double share);

}  // namespace QuorOsgUtils
