#include "viewer/navigate/Navigator.h"

#include <osgGA/GUIEventAdapter>

#include <algorithm>
#include <cmath>

namespace QuorViewer {
namespace {

// At a station, panning is proportional to the distance to the orbit centre: at this distance, a drag across the window
// moves by a few steps.
constexpr double kStationReach = 5.0;

struct PitchAndYaw {
  osg::Quat pitch;
  osg::Quat yaw;
};

// The pitch is the rotation up from straight down; the yaw is all the rest, including any tilt of the horizon.
PitchAndYaw split(const osg::Quat& rotation) {
  const osg::Vec3d ahead = rotation * osg::Vec3d(0.0, 0.0, -1.0);
  const double fromStraightDown = std::acos(std::clamp(-ahead.z(), -1.0, 1.0));
  const osg::Quat pitch(fromStraightDown, osg::Vec3d(1.0, 0.0, 0.0));
  return {pitch, pitch.inverse() * rotation};
}

}  // namespace

Navigator::Navigator(osgViewer::Viewer& viewer)
    : _viewer(viewer),
      _middle(new QuorOsgUtils::SPointCloudManipulator(&viewer)),
      _pointer(new QuorOsgUtils::SPointCloudPrivotManipulator(&viewer)) {
  _viewer.setCameraManipulator(_middle);
}

QuorOsgUtils::SLidarManipulatorBase& Navigator::manipulator() const {
  return _aboutPointer ? static_cast<QuorOsgUtils::SLidarManipulatorBase&>(*_pointer) : *_middle;
}

// The release of a drag in progress goes to the new manipulator, so the old one gets a release event of its own.
// Otherwise its pivot marker would stay in the scene.
void Navigator::swap() {
  const osg::ref_ptr<osgGA::GUIEventAdapter> release = new osgGA::GUIEventAdapter;
  release->setEventType(osgGA::GUIEventAdapter::RELEASE);
  manipulator().handle(*release, _viewer);
  constexpr bool kGoHome = false;
  const Pose before = pose();
  _aboutPointer = !_aboutPointer;
  setPose(before);
  _viewer.setCameraManipulator(&manipulator(), kGoHome);
}

Pose Navigator::pose() const {
  const QuorOsgUtils::SLidarManipulatorBase& used = manipulator();
  return {used.getCenter(), used.getDistance(), used.getRotation()};
}

void Navigator::setPose(const Pose& pose) {
  QuorOsgUtils::SLidarManipulatorBase& used = manipulator();
  const PitchAndYaw parts = split(pose.rotation);
  used.setCenter(pose.centre);
  used.setDistance(pose.distance);
  used.setPitchWithYawQuat(parts.pitch, parts.yaw);
}

// The manipulators store the station in single precision; the eye must be exactly at the point that they rotate about.
void Navigator::enterStation(const osg::Vec3d& station) {
  const osg::Vec3f kept(station);
  const Pose before = pose();
  setPose({osg::Vec3d(kept) + before.direction() * kStationReach, kStationReach, before.rotation});
  _middle->setStationCenter(kept);
  _pointer->setStationCenter(kept);
  _setStationMode(true);
}

void Navigator::leaveStation() {
  _setStationMode(false);
  setPose(pose());
}

void Navigator::_setStationMode(bool on) {
  _atStation = on;
  _middle->setStationModel(on);
  _pointer->setStationModel(on);
}

}  // namespace QuorViewer
