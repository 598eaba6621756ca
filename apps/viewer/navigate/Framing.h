#pragma once

#include <osg/Quat>
#include <osg/Vec3d>
#include <osg/Vec3f>

#include <vector>

namespace QuorViewer {

/// The window as framing sees it: a vertical field of view and how much wider than high the window is.
struct FieldOfView {
  double verticalDegrees = 30.0;
  double aspectRatio = 1.0;
};

/// Turn of a camera that looks at its centre from `elevationDegrees` above the horizon, having walked
/// `azimuthDegrees` counter-clockwise around it from the south. `pitch` × `yaw` is the camera's rotation.
struct Direction {
  double azimuthDegrees = 0.0;
  double elevationDegrees = 0.0;

  osg::Quat pitch() const;
  osg::Quat yaw() const;
};

/// Where to aim, and how much of the world the picture's height shows there (world units).
struct Framing {
  osg::Vec3d centre;
  double height = 0.0;
};

/// The tightest view under `rotation` that has all the points in the picture. The centre lies in the middle of the
/// picture and amid the points in depth. Expects at least one point.
Framing framePerspective(const std::vector<osg::Vec3f>& points, const osg::Quat& rotation, const FieldOfView& field);
Framing frameOrthographic(const std::vector<osg::Vec3f>& points, const osg::Quat& rotation, const FieldOfView& field);

/// Height of the world that a perspective picture shows at this distance, and the distance for a height.
double heightAtDistance(double distance, const FieldOfView& field);
double distanceForHeight(double height, const FieldOfView& field);

}  // namespace QuorViewer
