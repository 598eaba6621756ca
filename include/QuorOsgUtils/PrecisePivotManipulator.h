#pragma once

#include <QuorOsgUtils/PreciseManipulator.h>
#include <QuorOsgUtils/SPointCloudPrivotManipulator.h>

namespace QuorOsgUtils {

/// `SPointCloudPrivotManipulator` with precise navigation: the zoom converges on the scene, a pan keeps the grabbed
/// point under the pointer, and a press over background does not move the view. See `PreciseNavigation` for the inputs
/// and the options.
///
///     osg::ref_ptr<QuorOsgUtils::PrecisePivotManipulator> manipulator =
///         new QuorOsgUtils::PrecisePivotManipulator(&viewer);
///     viewer.getCamera()->setPostDrawCallback(captureTool);
///     viewer.setCameraManipulator(manipulator);
///
/// A press with another button than the middle one places the pivot at the scene point under the pointer. A right drag
/// rotates the view about it, freely: the horizon may tilt. The pivot stays at its position in the window.
class QUOR_OSG_UTILS_EXPORT PrecisePivotManipulator : public PreciseManipulator<SPointCloudPrivotManipulator> {
 public:
  /// Observes the viewer, which may be null.
  explicit PrecisePivotManipulator(osgViewer::Viewer* viewer);
  /// Memberwise: the copy shares the pivot marker and the viewer.
  PrecisePivotManipulator(const PrecisePivotManipulator& other);
  ~PrecisePivotManipulator() override;

  /// Rotates the view about the pivot, by the rotation speed. Returns false without two recorded events.
  bool performNormalMovementRightMouseButton(double eventTimeDelta, double dx, double dy) override;

 protected:
  /// Places the pivot as the description of the class says.
  void placePivot(const osgGA::GUIEventAdapter& ea, osgViewer::Viewer& viewer) override;
};

}  // namespace QuorOsgUtils
