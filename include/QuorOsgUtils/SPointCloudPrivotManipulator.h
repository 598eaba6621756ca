#pragma once

#include <QuorOsgUtils/PointCloudNavigation.h>

namespace QuorOsgUtils {

/// Camera navigation for point clouds about the scene point under the pointer: each press picks that point, and the
/// right button rotates the view about it, so that it stays in place in the window. Everything else is as in
/// `SPointCloudManipulator`; an application may offer both and let users choose. The spelling of the class name is
/// fixed by the interface.
///
///     osg::ref_ptr<QuorOsgUtils::SPointCloudPrivotManipulator> manipulator =
///         new QuorOsgUtils::SPointCloudPrivotManipulator(&viewer);
///     viewer.getCamera()->setPostDrawCallback(captureTool);
///     viewer.setCameraManipulator(manipulator);
///
/// See `PointCloudNavigation` for the table of inputs, the frames and units, and what the application provides.
///
/// Rotation: OSG's trackball, free in all directions; the horizon may tilt. The rotation factor only changes the
/// trackball's size and does not multiply the angle, unlike in station mode. Rotating does not change the pitch and yaw
/// parts, so the orbit rotation is no longer pitch × yaw; setting either part restores this.
class QUOR_OSG_UTILS_EXPORT SPointCloudPrivotManipulator : public PointCloudNavigation {
 public:
  /// Observes the viewer, which may be null. OSG's throw and fixed vertical axis are switched off.
  explicit SPointCloudPrivotManipulator(osgViewer::Viewer* viewer);

  /// Memberwise: the copy shares the pivot marker and the viewer.
  SPointCloudPrivotManipulator(const SPointCloudPrivotManipulator& other);
  ~SPointCloudPrivotManipulator() override;

  /// Rotates the view, and the orbit centre about the picked point. Returns false without two recorded events.
  bool performNormalMovementRightMouseButton(double eventTimeDelta, double dx, double dy) override;

 protected:
  /// Moves pivot and marker to the scene point under the pointer, or to (0, 0, 0) if nothing can be picked. The orbit
  /// centre does not change.
  void placePivot(const osgGA::GUIEventAdapter& ea, osgViewer::Viewer& viewer) override;
};

}  // namespace QuorOsgUtils
