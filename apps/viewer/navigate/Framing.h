#pragma once

#include <osg/Quat>
#include <osg/Vec3d>
#include <osg/Vec3f>

#include <vector>

namespace QuorViewer {

/// The window for framing: its vertical field of view, and its width divided by its height.
struct FieldOfView {
  double verticalDegrees = 30.0;
  double aspectRatio = 1.0;
};

/// Rotation of a camera that looks at its centre from `elevationDegrees` above the horizon, `azimuthDegrees`
/// counter-clockwise around it from the south. `pitch` × `yaw` is the camera's rotation.
struct Direction {
  double azimuthDegrees = 0.0;
  double elevationDegrees = 0.0;

  osg::Quat pitch() const;
  osg::Quat yaw() const;
};

/// The point to aim at, and the height of the world that the image shows there (world units).
struct Framing {
  osg::Vec3d centre;
  double height = 0.0;
};

/// The closest view under `rotation` that shows all the points. The centre is in the middle of the image and, in depth,
/// among the points. Expects at least one point.
Framing framePerspective(const std::vector<osg::Vec3f>& points, const osg::Quat& rotation, const FieldOfView& field);
Framing frameOrthographic(const std::vector<osg::Vec3f>& points, const osg::Quat& rotation, const FieldOfView& field);

/// World height that a perspective image shows at this distance, and the distance for a height.
double heightAtDistance(double distance, const FieldOfView& field);
double distanceForHeight(double height, const FieldOfView& field);

}  // namespace QuorViewer
