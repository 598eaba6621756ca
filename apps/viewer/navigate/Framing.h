#pragma once

#include <osg/Quat>
#include <osg/Vec3d>
#include <osg/Vec3f>

#include <vector>

namespace QuorViewer {

/// The field of view to frame for: vertical angle, and width divided by height.
struct FieldOfView {
  double verticalDegrees = 30.0;
  double aspectRatio = 1.0;
};

/// The direction from which a camera looks at its centre: `elevationDegrees` above the horizontal plane and
/// `azimuthDegrees` counter-clockwise from south (−Y), seen from above. `pitch` × `yaw` is the camera's rotation.
struct Direction {
  double azimuthDegrees = 0.0;
  double elevationDegrees = 0.0;

  osg::Quat pitch() const;
  osg::Quat yaw() const;
};

/// The point at the centre of the image, and the height of the image at that point, in world units.
struct Framing {
  osg::Vec3d centre;
  double height = 0.0;
};

/// The closest view under `rotation` that shows all the points. The centre is in the middle of the image, at
/// the mean of the smallest and greatest depth of the points. Expects at least one point.
Framing framePerspective(const std::vector<osg::Vec3f>& points, const osg::Quat& rotation, const FieldOfView& field);
Framing frameOrthographic(const std::vector<osg::Vec3f>& points, const osg::Quat& rotation, const FieldOfView& field);

/// World height that a perspective image shows at this distance, and the distance for a height.
double heightAtDistance(double distance, const FieldOfView& field);
double distanceForHeight(double height, const FieldOfView& field);

}  // namespace QuorViewer
