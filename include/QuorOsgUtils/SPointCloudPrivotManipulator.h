#pragma once

#include <QuorOsgUtils/PointCloudNavigation.h>

namespace QuorOsgUtils {

/// Camera navigation for point clouds about what is under the pointer: each press picks the scene there, and the right
/// button turns the view about it, so that it stays where it is in the window. Everything else is as in
/// `SPointCloudManipulator`; an application may offer both and let users choose.
///
///     osg::ref_ptr<QuorOsgUtils::SPointCloudPrivotManipulator> manipulator =
///         new QuorOsgUtils::SPointCloudPrivotManipulator(&viewer);
///     viewer.getCamera()->setPostDrawCallback(captureTool);
///     viewer.setCameraManipulator(manipulator);
///
/// See `PointCloudNavigation` for the table of inputs, the frames and units, and what the application provides.
///
/// Rotation: the scene graph's trackball, free in all directions; the horizon may tilt. The rotation factor acts
/// through the trackball's size alone and does not multiply the angle, unlike in station mode. Pitch and yaw parts are
/// left alone, so after a turn they no longer add up to the orbit rotation; setting either joins them again.
class QUOR_OSG_UTILS_EXPORT SPointCloudPrivotManipulator : public PointCloudNavigation {
 public:
  /// The viewer is observed only, and may be null. Throwing and the fixed vertical axis of the scene graph are off.
  explicit SPointCloudPrivotManipulator(osgViewer::Viewer* viewer);

  /// Memberwise: the copy shares the pivot marker and the viewer.
  SPointCloudPrivotManipulator(const SPointCloudPrivotManipulator& other);
  ~SPointCloudPrivotManipulator() override;

  /// Turns the view and swings the orbit centre about the picked point. False without two recorded events.
  bool performNormalMovementRightMouseButton(double eventTimeDelta, double dx, double dy) override;

 protected:
  /// The scene under the pointer, or (0, 0, 0) where nothing can be picked. The orbit centre stays.
  void placePivot(const osgGA::GUIEventAdapter& ea, osgViewer::Viewer& viewer) override;
};

}  // namespace QuorOsgUtils
