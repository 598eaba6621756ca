#include "extras/Turntable.h"

#include <QuorOsgUtils/SManipulatorBase.h>
#include <QuorOsgUtils/ViewPose.h>

#include <osg/Math>

namespace QuorOsgUtils {

namespace {

/// A point in the axes of a view.
osg::Vec3d inView(const ViewPose& pose, const osg::Vec3d& world) {
  return pose.rotation.inverse() * (world - pose.eye());
}

/// The pose with a rotation and a distance in which `fixed` is at `place`, in view axes.
ViewPose poseWith(const osg::Vec3d& fixed, const osg::Vec3d& place, const osg::Quat& rotation, double distance) {
  ViewPose pose{osg::Vec3d(), distance, rotation};
  pose.centre = fixed - rotation * place + pose.direction() * distance;
  return pose;
}

/// Pitch up from straight down and yaw about Z, in degrees.
osg::Quat levelRotation(double pitchDegrees, double yawDegrees) {
  return osg::Quat(osg::DegreesToRadians(pitchDegrees), osg::Vec3d(1.0, 0.0, 0.0)) *
         osg::Quat(osg::DegreesToRadians(yawDegrees), osg::Vec3d(0.0, 0.0, 1.0));
}

}  // namespace

osg::Vec3d ViewPose::eye() const {
  return centre - direction() * distance;
}

osg::Vec3d ViewPose::direction() const {
  return rotation * osg::Vec3d(0.0, 0.0, -1.0);
}

ViewPose poseOf(const osgGA::OrbitManipulator& manipulator) {
  return {manipulator.getCenter(), manipulator.getDistance(), manipulator.getRotation()};
}

void setPose(SManipulatorBase& manipulator, const ViewPose& pose) {
  manipulator.setCenter(pose.centre);
  manipulator.setDistance(pose.distance);
  manipulator.setPitchWithYawQuat(pitchOf(pose.rotation), yawOf(pose.rotation));
}

PitchAndYaw pitchAndYawOf(const osg::Quat& rotation) {
  return {pitchOf(rotation), yawOf(rotation)};
}

osg::Quat rotationOf(ViewPreset preset) {
  constexpr double kIsometricElevation = 35.264389682754654;  // atan(1 / √2)
  switch (preset) {
    case ViewPreset::Top:
      return levelRotation(0.0, 0.0);
    case ViewPreset::Bottom:
      return levelRotation(180.0, 0.0);
    case ViewPreset::Front:
      return levelRotation(90.0, 0.0);
    case ViewPreset::Back:
      return levelRotation(90.0, 180.0);
    case ViewPreset::Left:
      return levelRotation(90.0, -90.0);
    case ViewPreset::Right:
      return levelRotation(90.0, 90.0);
    case ViewPreset::Isometric:
      return levelRotation(90.0 - kIsometricElevation, 45.0);
  }
  return {};
}

ViewPose turnedAbout(const ViewPose& pose, const osg::Vec3d& fixed, const osg::Quat& rotation) {
  return poseWith(fixed, inView(pose, fixed), rotation, pose.distance);
}

ViewPose interpolated(const ViewPose& from, const ViewPose& to, const osg::Vec3d& fixed, double share) {
  const osg::Vec3d start = inView(from, fixed);
  const osg::Vec3d place = start + (inView(to, fixed) - start) * share;
  return poseWith(fixed, place, rotationBetween(from.rotation, to.rotation, share),
                  from.distance + (to.distance - from.distance) * share);
}

}  // namespace QuorOsgUtils
