#pragma once

#include <QuorOsgUtils/SManipulatorBase.h>

#include <osg/AutoTransform>
#include <osg/BoundingSphere>
#include <osg/Camera>
#include <osg/Node>
#include <osg/observer_ptr>
#include <osg/ref_ptr>
#include <osgViewer/Viewer>

#include <cstdint>
#include <vector>

namespace QuorOsgUtils {

/// The navigation shared by the point-cloud manipulators: everything except what a press does in normal mode and how
/// the right button turns the view. Applications use the derived manipulators.
///
/// | input                  | normal mode                                        | station mode                       |
/// |------------------------|----------------------------------------------------|------------------------------------|
/// | left button alone      | ignored, left to the application                   | the same                           |
/// | press, double click    | places the pivot, as the derived class defines it  | places the pivot at the station    |
/// | right drag             | turns the view and shows the pivot marker          | turns the view about the station   |
/// | middle drag            | pans, the scene follows the pointer at its depth   | the orbit manipulator's pan        |
/// | release                | hides the marker                                   | the same                           |
/// | wheel, perspective     | moves the camera along the ray under the pointer   | narrows or widens the view         |
/// | wheel, orthographic    | scales the view about the pointer                  | nothing                            |
/// | keys                   | the orbit manipulator's                            | the same                           |
///
/// Modifier keys change none of this.
///
/// Frames: world units; window positions in pixels from the bottom left of the image, Y up, as events carry them.
/// Depth: read from the `ScreenCaptureTool` that is the post-draw callback of the view's camera, together with the
/// matrices that the tool captured. Without a tool a pick finds nothing and a pan uses depth 0.
/// Ownership: the viewer is observed. The manipulator owns the pivot marker. A right drag in normal mode adds the
/// marker to the viewer's scene data, if that is a group. The release removes it from every group that holds it, even
/// when the viewer shows another scene by then. A manipulator that never receives the release, because the viewer
/// changed its manipulator during the drag, removes the marker at its next release. Its destructor also removes it,
/// unless a copy or the application still holds the marker.
/// Threads: the viewer's event thread, also for the destruction. The captured frame is read under its lock, held for
/// one pick or pan step.
/// GL: none is used.
/// Errors: without a view, a camera or the previous event the step does nothing; only a wheel event without a view goes
/// to the orbit manipulator's own wheel. A pan and an orthographic wheel step also do nothing when the viewport is
/// missing or empty. A press and a perspective wheel step work with an empty viewport, too.
class QUOR_OSG_UTILS_EXPORT PointCloudNavigation : public SLidarManipulatorBase {
 public:
  ~PointCloudNavigation() override;

  /// Dispatches one event as the table above lists it. Frame and resize events are processed even when already handled;
  /// other handled events are refused. A double click is a second press.
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

  /// Sets the home position so that the bounding sphere of the manipulator's node fills the stored field of view
  /// (`_fov`), seen along +Y with Z up. Neither an overridden `getFov` nor the camera's projection has an effect.
  /// Without a camera the distance is 3.5 times the radius.
  void computeHomePosition(const osg::Camera* camera = nullptr, bool useBoundingBox = false) override;

  bool handleMouseDrag(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;
  bool handleMousePush(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;
  /// Removes the marker from every group that holds it, if the view is an `osgViewer::Viewer`. Always false, so the
  /// event stays unhandled. Never starts a throw.
  bool handleMouseRelease(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;
  bool handleMouseWheel(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

  /// Rotates or pans by the movement between the last two recorded events. The buttons of the earlier event decide.
  bool performMovement() override;
  bool performMovementMiddleMouseButton(double eventTimeDelta, double dx, double dy) override;
  bool performMovementRightMouseButton(double eventTimeDelta, double dx, double dy) override;

  /// One wheel notch in percent (default 10): of the far plane's distance in perspective, of the view's size in
  /// orthographic projection. The orbit manipulator's own factor is left alone.
  void setWheelZoomFactor(double percent) override;
  double getWheelZoomFactor() const;

  /// The stored vertical field of view in degrees (default 30), which `computeHomePosition` uses.
  double getFov() override;

  /// The orbit rotation is pitch × yaw; each setter recomputes it at once.
  void setPitchQuat(osg::Quat pitch) override;
  void setYawQuat(osg::Quat yaw) override;
  void setPitchWithYawQuat(osg::Quat pitch, osg::Quat yaw) override;

  /// While set, a drag with the right button alone is refused (default off).
  virtual void setLockPerspective(bool lock);

  /// Multiplies rotation angles (default 1) and sets the trackball size to 1.1 − factor / 10, within the orbit
  /// manipulator's limits of 0.1 to 1.
  virtual void setRotationFactor(double factor);
  virtual double getRotationFactor();

  /// Replaces the observed viewer; null clears it.
  virtual void setOsgViewer(osgViewer::Viewer* viewer);

  /// Station mode: looking around from a scanner's station (default off). A switch counts from the next event on and
  /// resets nothing.
  virtual bool isStationModel();
  /// The station's centre in world units; single precision.
  virtual void setStationCenter(osg::Vec3f center);
  virtual void setStationModel(bool on);

  virtual bool performNormalMovementRightMouseButton(double eventTimeDelta, double dx, double dy) = 0;
  /// Does nothing and returns false: the pan of the normal mode is made by `handleNormalMouseDrag`.
  virtual bool performNormalMovementMiddleMouseButton(double eventTimeDelta, double dx, double dy);
  /// Turns the view by the trackball and swings the orbit centre about the station.
  virtual bool performStationMovementRightMouseButton(double eventTimeDelta, double dx, double dy);

  /// Moves the camera along the ray under the pointer, by one step of the wheel along the view's direction; true.
  virtual bool handleMouseWheelPerspective(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  /// Scales the view and keeps what is under the pointer in its place; false. A box off the axis is centred on it.
  virtual bool handleMouseWheelOrthographic(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);

  bool handleNormalMousePush(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleNormalMouseDrag(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleNormalMouseWheel(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleStationMousePush(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  /// Narrows the field of view to three quarters or widens it to four thirds; always false. It narrows from above 0 and
  /// widens from below 90 degrees: the limits hold for the field of view before the step, not after it.
  bool handleStationMouseWheel(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  /// Does nothing and returns false: drags in station mode are the scene graph's own.
  bool handleStationMouseDrag(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);

  /// Does nothing; the turning point is placed by each press.
  void setFixPrivotPoint(bool fix);

  /// The bounding sphere of `node` in world units, by the transforms on `path` from the scene's root to the node; the
  /// radius is not scaled. `path` is given as `collectParent` fills it, node first, and is reversed in place.
  osg::BoundingSphere getWorldBoundingBox(std::vector<osg::ref_ptr<osg::Node>>& path, osg::Node* node);

  /// Appends the nodes from `node` up to the manipulator's node to `path`, by the first parents that lead there.
  /// False, with `path` as it was, when none do.
  bool collectParent(std::vector<osg::ref_ptr<osg::Node>>& path, osg::Node* node);

 protected:
  explicit PointCloudNavigation(osgViewer::Viewer* viewer);
  /// Memberwise: the copy shares the pivot marker and the viewer.
  PointCloudNavigation(const PointCloudNavigation& other);

  /// Places the pivot and the marker, and optionally the orbit centre, at a press in normal mode.
  virtual void placePivot(const osgGA::GUIEventAdapter& ea, osgViewer::Viewer& viewer) = 0;

  /// False while the rotation factor is no finite number; a turn by it would leave the camera without a place.
  bool canTurn() const;

  /// Turns the view by the orbit manipulator's trackball and the orbit centre with it about `_pivotPoint`, by the
  /// trackball's angle times `angleFactor`. False without two recorded events.
  bool swingAboutPivot(double eventTimeDelta, double dx, double dy, double angleFactor);

  osg::observer_ptr<osgViewer::Viewer> _osgViewer;
  double _spareRatio = 0.15;
  osg::Vec3d _pivotPoint;
  std::int32_t _spareCount = 0;
  double _fov = 30.0;
  bool _lockPerspective = false;
  osg::Vec3d _spareVector;
  bool _stationModel = false;
  osg::Vec3d _stationCenter;
  double _wheelZoomFactor = 10.0;
  double _rotationFactor = 1.0;
  osg::ref_ptr<osg::AutoTransform> _pivotIndicator;
  osg::Quat _pitchQuat;
  osg::Quat _yawQuat;

 private:
  void _showPivotMarker(osgGA::GUIActionAdapter& aa);
  bool _panToPointer(osgGA::GUIActionAdapter& aa);
};

}  // namespace QuorOsgUtils
