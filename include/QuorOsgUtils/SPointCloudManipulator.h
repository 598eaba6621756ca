#pragma once

#include <QuorOsgUtils/PointCloudNavigation.h>

namespace QuorOsgUtils {

/// Camera navigation for point clouds. Each press moves the orbit centre to the depth of the scene in the middle of the
/// view. The right button orbits about it, with separate yaw and pitch. The middle button pans at the depth of what is
/// under the pointer. The wheel zooms towards the pointer. The left button alone is left to the application.
///
///     osg::ref_ptr<QuorOsgUtils::SPointCloudManipulator> manipulator =
///         new QuorOsgUtils::SPointCloudManipulator(&viewer);
///     viewer.getCamera()->setPostDrawCallback(captureTool);
///     viewer.setCameraManipulator(manipulator);
///
/// See `PointCloudNavigation` for the table of inputs, the frames and units, and what the application provides.
///
/// Rotation: yaw turns about the world's vertical (Z), pitch runs from 0 (looking straight down) to π (looking straight
/// up). A step that would leave the range ends at its border; only a single step down that passes 0 by less than the
/// pitch it began with goes on beyond it. The orbit rotation is pitch × yaw after every operation but
/// `setTransformation(eye, rotation)`, which sets both parts to identity; the next rotation joins them again.
class QUOR_OSG_UTILS_EXPORT SPointCloudManipulator : public PointCloudNavigation {
 public:
  /// The viewer is observed only, and may be null. Throwing and the fixed vertical axis of the scene graph are off.
  explicit SPointCloudManipulator(osgViewer::Viewer* viewer);

  /// Memberwise: the copy shares the pivot marker and the viewer.
  SPointCloudManipulator(const SPointCloudManipulator& other);
  ~SPointCloudManipulator() override;

  /// Takes the rotation as the initial one and sets pitch and yaw to identity.
  void setTransformation(const osg::Vec3d& eye, const osg::Quat& rotation) override;
  /// Takes the resulting rotation as the initial one and as the pitch; yaw becomes identity.
  void setTransformation(const osg::Vec3d& eye, const osg::Vec3d& center, const osg::Vec3d& up) override;

  bool performNormalMovementRightMouseButton(double eventTimeDelta, double dx, double dy) override;

  /// The rotation that carries a ball's point p1 to p2, both in normalised window units: `axis` in world axes, `angle`
  /// in radians. For XY they lie in the plane of the view's right and up axes under `rotation`, for YZ in that of up
  /// and ahead; unlike the scene graph's trackball there is no depth.
  void trackXYball(osg::Vec3d& axis, float& angle, osg::Quat& rotation, float p1x, float p1y, float p2x, float p2y);
  void trackYZball(osg::Vec3d& axis, float& angle, osg::Quat& rotation, float p1x, float p1y, float p2x, float p2y);

 protected:
  /// Moves pivot, orbit centre and marker to the point on the line from the eye through the orbit centre that is
  /// nearest to the scene point picked in the middle of the viewport, truncated to whole pixels. The viewport may be
  /// empty. Changes nothing without a viewport, when the eye lies in the orbit centre, or when the new centre
  /// would not be finite.
  void placePivot(const osgGA::GUIEventAdapter& ea, osgViewer::Viewer& viewer) override;

  osg::Quat _initialRotation;
  /// In radians; without meaning before the first `setTransformation`.
  double _initialRotationAngle = 0.0;
};

}  // namespace QuorOsgUtils
