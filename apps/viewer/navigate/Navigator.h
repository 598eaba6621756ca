#pragma once

#include <QuorOsgUtils/SPointCloudManipulator.h>
#include <QuorOsgUtils/SPointCloudPrivotManipulator.h>

#include <osg/Quat>
#include <osg/Vec3d>
#include <osg/ref_ptr>
#include <osgViewer/Viewer>

namespace QuorViewer {

/// Where the camera is: what it looks at, from how far, and how it is turned.
struct Pose {
  osg::Vec3d centre;
  double distance = 1.0;
  osg::Quat rotation;

  osg::Vec3d eye() const { return centre - direction() * distance; }
  osg::Vec3d direction() const { return rotation * osg::Vec3d(0.0, 0.0, -1.0); }
};

/// The two ways to move through the scene, about the middle of the view or about the point under the pointer, and
/// looking around from a station, which both know. Whatever is switched, the view stays where it is unless a pose is
/// asked for. Points are relative to the local origin.
class Navigator {
 public:
  /// Installs the first manipulator. The viewer outlives the navigator.
  explicit Navigator(osgViewer::Viewer& viewer);

  /// The manipulator in use.
  QuorOsgUtils::SLidarManipulatorBase& manipulator() const;

  bool turnsAboutPointer() const { return _aboutPointer; }
  /// Takes the other manipulator.
  void swap();

  Pose pose() const;
  void setPose(const Pose& pose);

  bool isAtStation() const { return _atStation; }
  /// Puts the eye on a station, looking on in the same direction; from then on the view only turns there.
  void enterStation(const osg::Vec3d& station);
  /// Back to moving about. The view stays.
  void leaveStation();

 private:
  void _setStationMode(bool on);

  osgViewer::Viewer& _viewer;
  osg::ref_ptr<QuorOsgUtils::SPointCloudManipulator> _middle;
  osg::ref_ptr<QuorOsgUtils::SPointCloudPrivotManipulator> _pointer;
  bool _aboutPointer = false;
  bool _atStation = false;
};

}  // namespace QuorViewer
