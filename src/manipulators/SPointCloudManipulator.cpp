#include "manipulators/NavigationEvents.h"
#include "manipulators/ScenePick.h"
#include "manipulators/Trackball.h"

#include <QuorOsgUtils/SPointCloudManipulator.h>

#include <osg/CopyOp>

#include <optional>

namespace QuorOsgUtils {

namespace {

double angleOf(const osg::Quat& rotation) {
  double angle = 0.0;
  osg::Vec3d axis;
  rotation.getRotate(angle, axis);
  return angle;
}

/// The foot of the perpendicular from a point to the line of sight. Nothing if the eye is at the orbit centre, so
/// that there is no line, or if the foot is not finite.
std::optional<osg::Vec3d> footOnLineOfSight(const osg::Vec3d& eye, const osg::Vec3d& orbitCenter,
                                            const osg::Vec3d& point) {
  osg::Vec3d ahead = orbitCenter - eye;
  if (!(ahead.normalize() > 0.0)) {
    return std::nullopt;
  }
  return ifFinite(eye + ahead * ((point - eye) * ahead));
}

}  // namespace

SPointCloudManipulator::SPointCloudManipulator(osgViewer::Viewer* viewer) : PointCloudNavigation(viewer) {}

SPointCloudManipulator::SPointCloudManipulator(const SPointCloudManipulator& other)
    // A virtual base is initialised here, not sliced: NOLINTNEXTLINE(cppcoreguidelines-slicing)
    : osg::Object(other, osg::CopyOp()),
      osg::Callback(other, osg::CopyOp()),
      PointCloudNavigation(other),
      _initialRotation(other._initialRotation),
      _initialRotationAngle(other._initialRotationAngle) {}

SPointCloudManipulator::~SPointCloudManipulator() = default;

void SPointCloudManipulator::setTransformation(const osg::Vec3d& eye, const osg::Quat& rotation) {
  osgGA::OrbitManipulator::setTransformation(eye, rotation);
  _initialRotation = rotation;
  _pitchQuat = osg::Quat();
  _yawQuat = osg::Quat();
  _initialRotationAngle = angleOf(_initialRotation);
}

void SPointCloudManipulator::setTransformation(const osg::Vec3d& eye, const osg::Vec3d& center, const osg::Vec3d& up) {
  osgGA::OrbitManipulator::setTransformation(eye, center, up);
  osg::Vec3d resultingEye;
  getTransformation(resultingEye, _initialRotation);
  _pitchQuat = _initialRotation;
  _yawQuat = osg::Quat();
  _initialRotationAngle = angleOf(_initialRotation);
}

void SPointCloudManipulator::placePivot(const osgGA::GUIEventAdapter&, osgViewer::Viewer& viewer) {
  const osg::Camera* camera = viewer.getCamera();
  if (!camera || !camera->getViewport()) {
    return;
  }
  osg::Vec3d picked;
  pickMiddleDepthPoint(picked, viewer);
  osg::Vec3d eye, lookAt, up;
  camera->getViewMatrix().getLookAt(eye, lookAt, up, 1.0);
  const std::optional<osg::Vec3d> foot = footOnLineOfSight(eye, _center, picked);
  if (!foot) {
    return;
  }
  _pivotPoint = *foot;
  _center = *foot;
  _distance = (eye - _center).length();
  _pivotIndicator->setPosition(_center);
}

bool SPointCloudManipulator::performNormalMovementRightMouseButton(double, double, double) {
  const std::optional<PointerMove> move = pointerMove(_ga_t1.get(), _ga_t0.get());
  if (!move || !canTurn()) {
    return false;
  }
  const double pitchBefore = angleOf(_pitchQuat);
  osg::Vec3d axis;
  float angle = 0.0f;
  trackXYball(axis, angle, _yawQuat, move->fromX, 0.5f, move->toX, 0.5f);
  _yawQuat = _yawQuat * osg::Quat(-angle * _rotationFactor, axis);
  trackYZball(axis, angle, _pitchQuat, 0.5f, move->fromY, 0.5f, move->toY);
  _pitchQuat = _pitchQuat * osg::Quat(angle * _rotationFactor, axis);
  _pitchQuat = limitedPitch(_pitchQuat, pitchBefore, move->fromY, move->toY);
  _rotation = _pitchQuat * _yawQuat;
  return true;
}

void SPointCloudManipulator::trackXYball(osg::Vec3d& axis, float& angle, osg::Quat& rotation, float p1x, float p1y,
                                         float p2x, float p2y) {
  const ViewAxes axes = viewAxes(rotation);
  const AxisAngle step =
      trackballRotation(axes.right * p1x + axes.up * p1y, axes.right * p2x + axes.up * p2y, _trackballSize);
  axis = step.axis;
  angle = step.angle;
}

void SPointCloudManipulator::trackYZball(osg::Vec3d& axis, float& angle, osg::Quat& rotation, float p1x, float p1y,
                                         float p2x, float p2y) {
  const ViewAxes axes = viewAxes(rotation);
  const AxisAngle step =
      trackballRotation(axes.up * p1x + axes.ahead * p1y, axes.up * p2x + axes.ahead * p2y, _trackballSize);
  axis = step.axis;
  angle = step.angle;
}

}  // namespace QuorOsgUtils
