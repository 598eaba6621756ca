#pragma once

#include <QuorOsgUtils/Export.h>

#include <osg/Quat>
#include <osg/Vec3d>
#include <osgGA/OrbitManipulator>

namespace QuorOsgUtils {

class SManipulatorBase;

/// The pose of an orbit camera as a value: to store, compare, interpolate and restore views.
///
/// Frames: `centre` is in world units. `rotation` transforms view axes (x right, y up, −z ahead) to world axes.
/// `distance` is the distance of the eye from the centre, in world units.
/// Threads: any, like other values. GL: none is used.
struct QUOR_OSG_UTILS_EXPORT ViewPose {
  osg::Vec3d centre;      ///< the point that the view orbits about
  double distance = 1.0;  ///< from the eye to the centre
  osg::Quat rotation;     ///< from view axes to world axes

  /// The position of the eye in the world.
  osg::Vec3d eye() const;
  /// The unit vector that the camera looks along, in world axes.
  osg::Vec3d direction() const;
};

/// The pose of any orbit manipulator.
[[nodiscard]] QUOR_OSG_UTILS_EXPORT ViewPose poseOf(const osgGA::OrbitManipulator& manipulator);

/// Gives the manipulator the pose, with the rotation split into pitch and yaw, so that the next drag continues from it.
QUOR_OSG_UTILS_EXPORT void setPose(SManipulatorBase& manipulator, const ViewPose& pose);

/// A rotation as pitch × yaw. The pitch turns about the view's x axis, up from straight down (0) to straight up (π).
/// The yaw is all the rest: a rotation about the world's Z axis if the horizon is level, otherwise with the tilt of the
/// horizon.
struct PitchAndYaw {
  osg::Quat pitch;  ///< about the view's x axis
  osg::Quat yaw;    ///< the rest of the rotation
};

/// Splits a rotation from view axes to world axes.
[[nodiscard]] QUOR_OSG_UTILS_EXPORT PitchAndYaw pitchAndYawOf(const osg::Quat& rotation);

/// Views along the axes of the world (Z up). Front looks along +Y, left along +X; Top has +Y upwards, Bottom −Y.
/// Isometric looks along (−1, 1, −1): the right, front and top sides are visible.
enum class ViewPreset { Top, Bottom, Front, Back, Left, Right, Isometric };

/// The rotation of a preset, from view axes to world axes.
[[nodiscard]] QUOR_OSG_UTILS_EXPORT osg::Quat rotationOf(ViewPreset preset);

/// The pose with another rotation in which `fixed`, a world point, keeps its position in the window.
[[nodiscard]] QUOR_OSG_UTILS_EXPORT ViewPose turnedAbout(const ViewPose& pose, const osg::Vec3d& fixed,
                                                         const osg::Quat& rotation);

/// The pose at `share` (0 to 1) of a transition. `fixed`, a world point, moves straight through the view: it stays in
/// place if it has the same position in both views. A level horizon stays level.
[[nodiscard]] QUOR_OSG_UTILS_EXPORT ViewPose interpolated(const ViewPose& from, const ViewPose& to,
                                                          const osg::Vec3d& fixed, double share);

}  // namespace QuorOsgUtils
