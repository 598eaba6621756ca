#pragma once

#include <QuorOsgUtils/PreciseOrbitManipulator.h>
#include <QuorOsgUtils/PrecisePivotManipulator.h>
#include <QuorOsgUtils/ViewPose.h>

#include <osg/BoundingBox>
#include <osg/Quat>
#include <osg/Vec3d>
#include <osg/ref_ptr>
#include <osgViewer/Viewer>

namespace QuorViewer {

using QuorOsgUtils::ViewPose;

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
  /// Switches to the other manipulator. Ends a drag.
  void swap();
  /// Ends a drag before its button is released: hides the pivot marker. Keeps the view.
  void endDrag();

  ViewPose pose() const;
  void setPose(const ViewPose& pose);

  /// Limits how far a zoom moves away.
  void setSceneBounds(const osg::BoundingBoxd& bounds);
  /// Degrees that a drag of half the window's width rotates the view.
  void setRotationSpeed(double degrees);
  /// Moves the orbit centre along the line of sight to the depth of the scene in the middle of the view.
  void centreOnScene();
  /// The point that a preset view is turned about: the pivot if it is on screen, otherwise the orbit centre.
  osg::Vec3d pivot() const;
  /// Forgets all points of the scene, because it has changed.
  void forgetScene();

  bool isAtStation() const { return _atStation; }
  /// Moves the eye to a station; from then on the view only rotates.
  void enterStation(const osg::Vec3d& station, const osg::Quat& rotation);
  /// Returns to normal navigation and keeps the view.
  void leaveStation();

 private:
  QuorOsgUtils::PreciseNavigation& _precise() const;
  void _setStationMode(bool on);

  osgViewer::Viewer& _viewer;
  osg::ref_ptr<QuorOsgUtils::PreciseOrbitManipulator> _middle;
  osg::ref_ptr<QuorOsgUtils::PrecisePivotManipulator> _pointer;
  bool _aboutPointer = false;
  bool _atStation = false;
};

}  // namespace QuorViewer
