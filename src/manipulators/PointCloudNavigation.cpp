#include "manipulators/PivotMarker.h"

#include <QuorOsgUtils/PointCloudNavigation.h>

#include <osg/CopyOp>

#include <cmath>

namespace QuorOsgUtils {

PointCloudNavigation::PointCloudNavigation(osgViewer::Viewer* viewer)
    : _osgViewer(viewer), _pivotIndicator(createPivotMarker()) {
  setVerticalAxisFixed(false);
  setAllowThrow(false);
}

PointCloudNavigation::PointCloudNavigation(const PointCloudNavigation& other)
    // A virtual base is initialised here, not sliced: NOLINTNEXTLINE(cppcoreguidelines-slicing)
    : osg::Object(other, osg::CopyOp()),
      osg::Callback(other, osg::CopyOp()),
      SLidarManipulatorBase(other),
      _osgViewer(other._osgViewer),
      _spareRatio(other._spareRatio),
      _pivotPoint(other._pivotPoint),
      _spareCount(other._spareCount),
      _fov(other._fov),
      _lockPerspective(other._lockPerspective),
      _spareVector(other._spareVector),
      _stationModel(other._stationModel),
      _stationCenter(other._stationCenter),
      _wheelZoomFactor(other._wheelZoomFactor),
      _rotationFactor(other._rotationFactor),
      _pivotIndicator(other._pivotIndicator),
      _pitchQuat(other._pitchQuat),
      _yawQuat(other._yawQuat) {}

PointCloudNavigation::~PointCloudNavigation() {
  const int references = static_cast<int>(_pivotIndicator->getNumParents()) + 1;
  const bool isShared = _pivotIndicator->referenceCount() > references;
  if (!isShared) {
    hidePivotMarker(*_pivotIndicator);
  }
}

void PointCloudNavigation::setWheelZoomFactor(double percent) {
  _wheelZoomFactor = percent;
}

double PointCloudNavigation::getWheelZoomFactor() const {
  return _wheelZoomFactor;
}

double PointCloudNavigation::getFov() {
  return _fov;
}

void PointCloudNavigation::setPitchQuat(osg::Quat pitch) {
  _pitchQuat = pitch;
  _rotation = _pitchQuat * _yawQuat;
}

void PointCloudNavigation::setYawQuat(osg::Quat yaw) {
  _yawQuat = yaw;
  _rotation = _pitchQuat * _yawQuat;
}

void PointCloudNavigation::setPitchWithYawQuat(osg::Quat pitch, osg::Quat yaw) {
  _pitchQuat = pitch;
  _yawQuat = yaw;
  _rotation = _pitchQuat * _yawQuat;
}

void PointCloudNavigation::setLockPerspective(bool lock) {
  _lockPerspective = lock;
}

void PointCloudNavigation::setRotationFactor(double factor) {
  _rotationFactor = factor;
  setTrackballSize(1.0 - factor / 10.0 + 0.1);
}

bool PointCloudNavigation::canTurn() const {
  return std::isfinite(_rotationFactor) && std::isfinite(_trackballSize);
}

double PointCloudNavigation::getRotationFactor() {
  return _rotationFactor;
}

void PointCloudNavigation::setOsgViewer(osgViewer::Viewer* viewer) {
  _osgViewer = viewer;
}

bool PointCloudNavigation::isStationModel() {
  return _stationModel;
}

void PointCloudNavigation::setStationCenter(osg::Vec3f center) {
  _stationCenter = osg::Vec3d(center);
}

void PointCloudNavigation::setStationModel(bool on) {
  _stationModel = on;
}

void PointCloudNavigation::setFixPrivotPoint(bool) {}

}  // namespace QuorOsgUtils
