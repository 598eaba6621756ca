#include "extras/Turntable.h"

#include <QuorOsgUtils/PreciseOrbitManipulator.h>

#include <osg/CopyOp>

namespace QuorOsgUtils {

PreciseOrbitManipulator::PreciseOrbitManipulator(osgViewer::Viewer* viewer) : PreciseManipulator(viewer) {}

PreciseOrbitManipulator::PreciseOrbitManipulator(const PreciseOrbitManipulator& other)
    // A virtual base is initialised here, not sliced: NOLINTNEXTLINE(cppcoreguidelines-slicing)
    : osg::Object(other, osg::CopyOp()), osg::Callback(other, osg::CopyOp()), PreciseManipulator(other) {}

PreciseOrbitManipulator::~PreciseOrbitManipulator() = default;

bool PreciseOrbitManipulator::performNormalMovementRightMouseButton(double, double, double) {
  const std::optional<osg::Vec2d> turn = turnOf(_ga_t1.get(), _ga_t0.get());
  if (!turn) {
    return false;
  }
  const PitchAndYaw parts = pitchAndYawOf(turntable(_rotation, *turn));
  setPitchWithYawQuat(parts.pitch, parts.yaw);
  return true;
}

void PreciseOrbitManipulator::placePivot(const osgGA::GUIEventAdapter& ea, osgViewer::Viewer& viewer) {
  osg::Camera* const camera = viewer.getCamera();
  if (!camera) {
    return;
  }
  if (isPan(ea)) {
    return grab(*camera, ea);
  }
  if (centreOnScene(*camera)) {
    _pivotPoint = _center;
    _pivotIndicator->setPosition(_center);
  }
}

}  // namespace QuorOsgUtils
