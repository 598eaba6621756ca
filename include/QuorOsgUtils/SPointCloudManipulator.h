#pragma once

#include <QuorOsgUtils/PointCloudNavigation.h>

namespace QuorOsgUtils {

/// Camera navigation for point clouds. Each press moves the orbit centre to the depth of the scene in the middle of the
/// view. The right button orbits about it, with separate yaw and pitch. The middle button pans at the depth of the
/// scene under the pointer. The wheel zooms towards the pointer. Events with only the left button are left to the
/// application.
///
///     osg::ref_ptr<QuorOsgUtils::SPointCloudManipulator> manipulator =
///         new QuorOsgUtils::SPointCloudManipulator(&viewer);
///     viewer.getCamera()->setPostDrawCallback(captureTool);
///     viewer.setCameraManipulator(manipulator);
///
/// See `PointCloudNavigation` for the table of inputs, the frames and units, and what the application provides.
///
/// Rotation: yaw rotates about the world's vertical axis (Z); pitch ranges from 0 (looking straight down) to π (looking
/// straight up). A step that would leave the range stops at its limit. Exception: a downward step from pitch p that
/// ends between −p and 0 is not limited. The orbit rotation is pitch × yaw after every operation except
/// `setTransformation(eye, rotation)`, which sets both parts to identity; the next rotation makes the orbit rotation
/// pitch × yaw again (fixed by the interface).
class QUOR_OSG_UTILS_EXPORT SPointCloudManipulator : public PointCloudNavigation {
 public:
  /// Observes the viewer, which may be null. OSG's throw and fixed vertical axis are switched off.
  explicit SPointCloudManipulator(osgViewer::Viewer* viewer);

  /// Memberwise: the copy shares the pivot marker and the viewer.
  SPointCloudManipulator(const SPointCloudManipulator& other);
  ~SPointCloudManipulator() override;

  /// Stores the rotation as the initial one and sets pitch and yaw to identity. The other overload differs (fixed by
  /// the interface).
  void setTransformation(const osg::Vec3d& eye, const osg::Quat& rotation) override;
  /// Stores the resulting rotation as the initial one and as the pitch; sets yaw to identity.
  void setTransformation(const osg::Vec3d& eye, const osg::Vec3d& center, const osg::Vec3d& up) override;

  /// Changes yaw and pitch by the movement between the last two recorded events. Returns false without two such events.
  bool performNormalMovementRightMouseButton(double eventTimeDelta, double dx, double dy) override;

  ///@{
  /// The trackball rotation from p1 to p2, both in normalised window coordinates (-1 to 1): `axis` in world axes,
  /// `angle` in radians. The points lie in the plane of two view axes of `rotation`: right and up for XY, up and
  /// forward for YZ. Unlike in OSG's trackball, they are not projected onto a sphere.
  void trackXYball(osg::Vec3d& axis, float& angle, osg::Quat& rotation, float p1x, float p1y, float p2x, float p2y);
  void trackYZball(osg::Vec3d& axis, float& angle, osg::Quat& rotation, float p1x, float p1y, float p2x, float p2y);
  ///@}

 protected:
  /// Moves pivot, orbit centre and marker to the point on the line from the eye through the orbit centre that is
  /// nearest to the scene point picked at the viewport's centre (truncated to whole pixels). The viewport may be
  /// empty. Changes nothing without a viewport, if the eye is at the orbit centre, or if the new centre would not be
  /// finite.
  void placePivot(const osgGA::GUIEventAdapter& ea, osgViewer::Viewer& viewer) override;

  osg::Quat _initialRotation;  ///< as last stored by `setTransformation`
  /// In radians; not meaningful before the first `setTransformation`.
  double _initialRotationAngle = 0.0;
};

}  // namespace QuorOsgUtils
