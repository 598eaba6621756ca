#include "manipulators/ScenePick.h"
#include "manipulators/WindowMatrix.h"

#include <QuorOsgUtils/SPointCloudPrivotManipulator.h>

#include <osg/CopyOp>

namespace QuorOsgUtils {

SPointCloudPrivotManipulator::SPointCloudPrivotManipulator(osgViewer::Viewer* viewer) : PointCloudNavigation(viewer) {}

SPointCloudPrivotManipulator::SPointCloudPrivotManipulator(const SPointCloudPrivotManipulator& other)
    // A virtual base is initialised here, not sliced: NOLINTNEXTLINE(cppcoreguidelines-slicing)
    : osg::Object(other, osg::CopyOp()), osg::Callback(other, osg::CopyOp()), PointCloudNavigation(other) {}

SPointCloudPrivotManipulator::~SPointCloudPrivotManipulator() = default;

void SPointCloudPrivotManipulator::placePivot(const osgGA::GUIEventAdapter& ea, osgViewer::Viewer& viewer) {
  if (!viewer.getCamera()) {
    return;
  }
  _pivotPoint = osg::Vec3d();
  pickSceneDepthPoint(wholePixel(ea.getX()), wholePixel(ea.getY()), _pivotPoint, &viewer);
  _pivotIndicator->setPosition(_pivotPoint);
}

bool SPointCloudPrivotManipulator::performNormalMovementRightMouseButton(double eventTimeDelta, double dx, double dy) {
  constexpr double kAngleFactor = 1.0;
  return swingAboutPivot(eventTimeDelta, dx, dy, kAngleFactor);
}

}  // namespace QuorOsgUtils
