#pragma once

#include <QuorOsgUtils/PreciseManipulator.h>
#include <QuorOsgUtils/SPointCloudManipulator.h>

namespace QuorOsgUtils {

/// `SPointCloudManipulator` with precise navigation: the zoom converges on the scene, a pan keeps the grabbed point
/// under the pointer, and a press over background does not move the view. See `PreciseNavigation` for the inputs and
/// the options.
///
///     osg::ref_ptr<QuorOsgUtils::PreciseOrbitManipulator> manipulator =
///         new QuorOsgUtils::PreciseOrbitManipulator(&viewer);
///     viewer.getCamera()->setPostDrawCallback(captureTool);
///     viewer.setCameraManipulator(manipulator);
///
/// A press with another button than the middle one moves the orbit centre along the line of sight to the depth of the
/// scene in the middle of the view, and the pivot with it. A right drag orbits about it like a turntable: the pitch
/// stays between straight down and straight up, and a level horizon stays level.
class QUOR_OSG_UTILS_EXPORT PreciseOrbitManipulator : public PreciseManipulator<SPointCloudManipulator> {
 public:
  /// Observes the viewer, which may be null.
  explicit PreciseOrbitManipulator(osgViewer::Viewer* viewer);
  /// Memberwise: the copy shares the pivot marker and the viewer.
  PreciseOrbitManipulator(const PreciseOrbitManipulator& other);
  ~PreciseOrbitManipulator() override;

  /// Rotates the view about the orbit centre, by the rotation speed. Returns false without two recorded events.
  bool performNormalMovementRightMouseButton(double eventTimeDelta, double dx, double dy) override;

 protected:
  /// Places the pivot as the description of the class says.
  void placePivot(const osgGA::GUIEventAdapter& ea, osgViewer::Viewer& viewer) override;
};

}  // namespace QuorOsgUtils
