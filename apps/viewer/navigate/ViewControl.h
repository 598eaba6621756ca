#pragma once

#include "viewer/navigate/Framing.h"
#include "viewer/navigate/Navigator.h"

#include <osg/BoundingBox>
#include <osg/Camera>

#include <string>
#include <vector>

namespace QuorViewer {

/// The views that the viewer sets itself, besides pointer navigation: home, a close look at a point, and the switch
/// between perspective and orthographic projection. All points are relative to the local origin.
class ViewControl {
 public:
  /// Both outlive the control.
  ViewControl(osg::Camera& camera, Navigator& navigator);

  /// The bounds of all points, and a sample of them, which home frames.
  void setContent(const osg::BoundingBoxd& bounds, const std::vector<osg::Vec3f>& places);

  const osg::BoundingBoxd& bounds() const { return _bounds; }

  /// An oblique view of everything, in the current projection.
  void home();
  /// Moves `point` to the middle, close enough to see what is around it, and keeps the direction.
  void lookAt(const osg::Vec3d& point);

  bool isOrthographic() const;
  /// Switches to the other projection; objects at the depth of the orbit centre keep their size in pixels.
  void toggleProjection();

  /// Vertical, of a perspective image; 0 for an orthographic one.
  double fieldOfViewDegrees() const;
  /// Restores the default field of view, in perspective.
  void resetFieldOfView();

  /// World position of the camera and its projection, as text for a terminal: "view eye … centre … up … projection …".
  /// `origin` is added to eye and centre.
  std::string describe(const osg::Vec3d& origin) const;

 private:
  FieldOfView _field() const;
  double _radius() const;
  // Height of the image in world units at the orbit centre's depth, and its setter.
  double _pictureHeight() const;
  void _setPictureHeight(double height);
  double _distanceBehindEverything() const;

  osg::Camera& _camera;
  Navigator& _navigator;
  osg::BoundingBoxd _bounds;
  std::vector<osg::Vec3f> _places;
};

}  // namespace QuorViewer
