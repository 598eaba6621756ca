#include "extras/PointerEvents.h"
#include "extras/Turntable.h"

#include <QuorOsgUtils/PrecisePivotManipulator.h>

#include <osg/CopyOp>

namespace QuorOsgUtils {

PrecisePivotManipulator::PrecisePivotManipulator(osgViewer::Viewer* viewer) : PreciseManipulator(viewer) {}

PrecisePivotManipulator::PrecisePivotManipulator(const PrecisePivotManipulator& other)
    // A virtual base is initialised here, not sliced: NOLINTNEXTLINE(cppcoreguidelines-slicing)
    : osg::Object(other, osg::CopyOp()), osg::Callback(other, osg::CopyOp()), PreciseManipulator(other) {}

PrecisePivotManipulator::~PrecisePivotManipulator() = default;

bool PrecisePivotManipulator::performNormalMovementRightMouseButton(double, double, double) {
  const std::optional<osg::Vec2d> turn = turnOf(_ga_t1.get(), _ga_t0.get());
  if (!turn) {
    return false;
  }
  const osg::Quat change = freeTurn(_rotation, *turn);
  _rotation = _rotation * change;
  _center = _pivotPoint + change * (_center - _pivotPoint);
  return true;
}

void PrecisePivotManipulator::placePivot(const osgGA::GUIEventAdapter& ea, osgViewer::Viewer& viewer) {
  osg::Camera* const camera = viewer.getCamera();
  if (!camera) {
    return;
  }
  if (isPan(ea)) {
    return grab(*camera, ea);
  }
  if (const std::optional<FoundPivot> found = findPivot(*camera, pointerPosition(ea))) {
    _pivotPoint = found->point;
    _pivotIndicator->setPosition(_pivotPoint);
  }
}

}  // namespace QuorOsgUtils
