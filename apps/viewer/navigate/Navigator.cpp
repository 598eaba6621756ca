#include "viewer/navigate/Navigator.h"

#include <osgGA/GUIEventAdapter>

namespace QuorViewer {
namespace {

// At a station, panning is proportional to the distance to the orbit centre: at this distance, a drag across the window
// moves by a few steps.
constexpr double kStationReach = 5.0;

}  // namespace

Navigator::Navigator(osgViewer::Viewer& viewer)
    : _viewer(viewer),
      _middle(new QuorOsgUtils::PreciseOrbitManipulator(&viewer)),
      _pointer(new QuorOsgUtils::PrecisePivotManipulator(&viewer)) {
  _viewer.setCameraManipulator(_middle);
}

QuorOsgUtils::SLidarManipulatorBase& Navigator::manipulator() const {
  return _aboutPointer ? static_cast<QuorOsgUtils::SLidarManipulatorBase&>(*_pointer) : *_middle;
}

QuorOsgUtils::PreciseNavigation& Navigator::_precise() const {
  return _aboutPointer ? static_cast<QuorOsgUtils::PreciseNavigation&>(*_pointer) : *_middle;
}

// At a release the manipulators pan to the event's position, which this event does not have.
void Navigator::endDrag() {
  const ViewPose before = pose();
  const osg::ref_ptr<osgGA::GUIEventAdapter> release = new osgGA::GUIEventAdapter;
  release->setEventType(osgGA::GUIEventAdapter::RELEASE);
  manipulator().handle(*release, _viewer);
  setPose(before);
}

// The release of a drag in progress goes to the new manipulator, so the old one needs one of its own. Otherwise its
// pivot marker would stay in the scene.
void Navigator::swap() {
  endDrag();
  constexpr bool kGoHome = false;
  const ViewPose before = pose();
  _aboutPointer = !_aboutPointer;
  setPose(before);
  _viewer.setCameraManipulator(&manipulator(), kGoHome);
}

ViewPose Navigator::pose() const {
  return poseOf(manipulator());
}

void Navigator::setPose(const ViewPose& pose) {
  QuorOsgUtils::setPose(manipulator(), pose);
}

void Navigator::setSceneBounds(const osg::BoundingBoxd& bounds) {
  _middle->setSceneBounds(bounds);
  _pointer->setSceneBounds(bounds);
}

void Navigator::setRotationSpeed(double degrees) {
  _middle->setRotationSpeed(degrees);
  _pointer->setRotationSpeed(degrees);
}

void Navigator::centreOnScene() {
  _precise().centreOnScene(*_viewer.getCamera());
}

osg::Vec3d Navigator::pivot() const {
  return _precise().getVisibleScenePoint(*_viewer.getCamera()).value_or(pose().centre);
}

void Navigator::forgetScene() {
  _middle->forgetScenePoints();
  _pointer->forgetScenePoints();
}

// The manipulators store the station in single precision; the eye must be exactly at the point that they rotate about.
void Navigator::enterStation(const osg::Vec3d& station, const osg::Quat& rotation) {
  const osg::Vec3f kept(station);
  const ViewPose ahead{osg::Vec3d(), kStationReach, rotation};
  setPose({osg::Vec3d(kept) + ahead.direction() * kStationReach, kStationReach, rotation});
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
