#pragma once

#include <QuorOsgUtils/SPointCloudManipulator.h>
#include <QuorOsgUtils/SPointCloudPrivotManipulator.h>

#include <osg/Quat>
#include <osg/Vec3d>
#include <osg/ref_ptr>
#include <osgViewer/Viewer>

namespace QuorViewer {

/// The camera's pose: the point it looks at, the distance from it, and the rotation.
struct Pose {
  osg::Vec3d centre;
  double distance = 1.0;
  osg::Quat rotation;

  osg::Vec3d eye() const { return centre - direction() * distance; }
  osg::Vec3d direction() const { return rotation * osg::Vec3d(0.0, 0.0, -1.0); }
};

/// Navigation about the middle of the view or about the point under the pointer, and looking around from a station,
/// which works in both. Switching manipulators and leaving a station keep the view. Points are relative to the local
/// origin.
class Navigator {
 public:
  /// Installs the first manipulator. The viewer outlives the navigator.
  explicit Navigator(osgViewer::Viewer& viewer);

  /// The manipulator in use.
  QuorOsgUtils::SLidarManipulatorBase& manipulator() const;

  bool rotatesAboutPointer() const { return _aboutPointer; }
  /// Switches to the other manipulator.
  void swap();

  Pose pose() const;
  void setPose(const Pose& pose);

  bool isAtStation() const { return _atStation; }
  /// Moves the eye to a station and keeps the view direction; from then on the view only rotates.
  void enterStation(const osg::Vec3d& station);
  /// Returns to normal navigation and keeps the view.
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
