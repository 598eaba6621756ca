#pragma once

#include "viewer/navigate/Framing.h"
#include "viewer/navigate/Navigator.h"

#include <osg/BoundingBox>
#include <osg/Camera>

#include <string>
#include <vector>

namespace QuorViewer {

/// A view in either projection: `height` is that of the image at the centre, in world units.
struct View {
  ViewPose pose;
  double height = 1.0;
  bool orthographic = false;  ///< the projection that it was shown in
};

/// The views that the viewer sets itself, besides pointer navigation: home, a close look at a point, and the switch
/// between perspective and orthographic projection. All points are relative to the local origin.
class ViewControl {
 public:
  /// Both outlive the control.
  ViewControl(osg::Camera& camera, Navigator& navigator);

  /// The bounds of all points, and a sample of them, which home frames.
  void setContent(const osg::BoundingBoxd& bounds, const std::vector<osg::Vec3f>& places);

  const osg::BoundingBoxd& bounds() const { return _bounds; }

  View view() const;
  /// Shows a view in the current projection.
  void setView(const View& view);

  /// An oblique view of everything.
  View homeView() const;
  void home() { setView(homeView()); }
  /// The view of all of `bounds` in the current direction.
  View viewOf(const osg::BoundingBoxd& bounds) const;
  /// The view with `point` in the middle, close enough to see what is around it.
  View closeView(const osg::Vec3d& point) const;
  /// The view turned to a preset about the pivot, which keeps its position in the window.
  View presetView(QuorOsgUtils::ViewPreset preset) const;

  /// The point that a preset turns the view about.
  osg::Vec3d pivot() const { return _navigator.pivot(); }

  bool isOrthographic() const;
  /// Switches to the other projection; what is in the middle of the view keeps its size in pixels.
  void toggleProjection();

  /// Vertical, of a perspective image; 0 for an orthographic one.
  double fieldOfViewDegrees() const;
  /// Sets a vertical field of view in degrees, in perspective.
  void setFieldOfView(double verticalDegrees);
  /// Restores the default field of view, in perspective.
  void resetFieldOfView() { setFieldOfView(_field().verticalDegrees); }
  /// Width of the image divided by its height.
  double aspectRatio() const { return _field().aspectRatio; }
  /// A sample of all points.
  const std::vector<osg::Vec3f>& places() const { return _places; }

  /// Moves the near plane closer when the camera is close to its centre. Call it before each frame.
  void adaptNearPlane();

  /// World position of the camera and its projection, as text for a terminal: "view eye … centre … up … projection …".
  /// `origin` is added to eye and centre.
  std::string describe(const osg::Vec3d& origin) const;

 private:
  FieldOfView _field() const;
  double _radius() const;
  // Height of the image in world units at the orbit centre's depth, and its setter.
  double _pictureHeight() const;
  void _setPictureHeight(double height);
  double _distanceBehindEverything(const osg::Vec3d& centre) const;
  View _viewOf(const osg::Vec3d& centre, const osg::Quat& rotation, double framedHeight) const;

  osg::Camera& _camera;
  Navigator& _navigator;
  osg::BoundingBoxd _bounds;
  std::vector<osg::Vec3f> _places;
};

}  // namespace QuorViewer
