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

/// The base of the point-cloud manipulators. It implements all navigation except what a press does in normal mode and
/// how the right button rotates the view. Applications use the derived manipulators.
///
/// | input                  | normal mode                                        | station mode                       |
/// |------------------------|----------------------------------------------------|------------------------------------|
/// | left button alone      | ignored, left to the application                   | the same                           |
/// | press, double click    | places the pivot, as the derived class defines it  | places the pivot at the station    |
/// | right drag             | rotates the view and shows the pivot marker        | rotates the view about the station |
/// | middle drag            | pans; the scene follows the pointer at its depth   | the orbit manipulator's pan        |
/// | release                | hides the marker                                   | the same                           |
/// | wheel, perspective     | moves the camera along the ray under the pointer   | changes the field of view          |
/// | wheel, orthographic    | scales the view about the pointer                  | nothing                            |
/// | keys                   | the orbit manipulator's                            | the same                           |
///
/// Modifier keys have no effect.
///
/// Frames: world units; window positions in pixels from the bottom left of the image, Y up, as events carry them.
/// Depth: read from the `ScreenCaptureTool` that is the post-draw callback of the view's camera, together with the
/// matrices that the tool captured; from a `SnapshotCaptureTool`, the latest snapshot. Without a tool a pick finds
/// nothing and a pan uses depth 0. Ownership: the manipulator observes the viewer and owns the pivot marker. A right
/// drag in normal mode adds the marker to the viewer's scene data, if that is a group. The release removes it from
/// every group that holds it, even if the viewer shows another scene by then. A manipulator that never receives the
/// release, because the viewer changed its manipulator during the drag, removes the marker at its next release. Its
/// destructor also removes it, unless a copy or the application still holds the marker. Threads: the viewer's event
/// thread only, for destruction as well. The frame buffer of a tool is read under its lock, which is held for one pick
/// or pan step; a snapshot needs none. GL: none is used. Errors: without a view, a camera or a previous event, a step
/// does nothing, except that a wheel event without a view goes to the orbit manipulator's wheel handler. A pan and an
/// orthographic wheel step also do nothing if the viewport is missing or empty. A press and a perspective wheel step
/// also work with an empty viewport.
class QUOR_OSG_UTILS_EXPORT PointCloudNavigation : public SLidarManipulatorBase {
 public:
  ~PointCloudNavigation() override;

  /// Dispatches one event as the table above lists it. Frame and resize events are processed even when already handled;
  /// other handled events are ignored. A double click is a second press.
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

  /// Sets the home position so that the bounding sphere of the manipulator's node fills the stored field of view
  /// (`_fov`), seen along +Y with Z up. Neither an overridden `getFov` nor the camera's projection has an effect.
  /// Without a camera the distance is 3.5 times the radius.
  void computeHomePosition(const osg::Camera* camera = nullptr, bool useBoundingBox = false) override;

  /// Ignores the left button alone. Otherwise rotates or pans, in normal or station mode.
  bool handleMouseDrag(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;
  /// Ignores the left button alone. Otherwise places the pivot, in normal or station mode.
  bool handleMousePush(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;
  /// Removes the marker from every group that holds it, if the view is an `osgViewer::Viewer`. Always returns false,
  /// so the event stays unhandled (fixed by the interface). Never starts a throw.
  bool handleMouseRelease(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;
  /// One wheel step, in normal or station mode.
  bool handleMouseWheel(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

  /// Rotates or pans by the movement between the last two recorded events, depending on the buttons of the earlier one.
  bool performMovement() override;
  /// Pans in station mode; in normal mode `handleNormalMouseDrag` does it.
  bool performMovementMiddleMouseButton(double eventTimeDelta, double dx, double dy) override;
  /// Rotates the view, in normal or station mode.
  bool performMovementRightMouseButton(double eventTimeDelta, double dx, double dy) override;

  ///@{
  /// The size of one wheel step in percent (default 10): of the far-plane distance in perspective projection, of the
  /// view size in orthographic projection. The orbit manipulator's own factor does not change.
  void setWheelZoomFactor(double percent) override;
  double getWheelZoomFactor() const;
  ///@}

  /// The stored vertical field of view in degrees (default 30), which `computeHomePosition` uses.
  double getFov() override;

  ///@{
  /// The orbit rotation is pitch × yaw; each setter recomputes it at once.
  void setPitchQuat(osg::Quat pitch) override;
  void setYawQuat(osg::Quat yaw) override;
  void setPitchWithYawQuat(osg::Quat pitch, osg::Quat yaw) override;
  ///@}

  /// While set, a drag with only the right button is ignored in normal mode. Default: off.
  virtual void setLockPerspective(bool lock);

  ///@{
  /// Multiplies rotation angles (default 1) and sets the trackball size to 1.1 − factor / 10, within the orbit
  /// manipulator's limits of 0.1 to 1.
  virtual void setRotationFactor(double factor);
  virtual double getRotationFactor();
  ///@}

  /// Replaces the observed viewer; null clears it.
  virtual void setOsgViewer(osgViewer::Viewer* viewer);

  /// Station mode: the camera looks around from a scanner station. Default: off. A change takes effect at the next
  /// event and does not reset the view.
  virtual bool isStationModel();
  /// The station's centre in world units; single precision.
  virtual void setStationCenter(osg::Vec3f center);
  /// Switches station mode on or off.
  virtual void setStationModel(bool on);

  /// Rotates the view in normal mode, as the derived class defines it.
  virtual bool performNormalMovementRightMouseButton(double eventTimeDelta, double dx, double dy) = 0;
  /// Does nothing and returns false: in normal mode `handleNormalMouseDrag` does the pan.
  virtual bool performNormalMovementMiddleMouseButton(double eventTimeDelta, double dx, double dy);
  /// Rotates the view with the trackball, and the orbit centre about the station.
  virtual bool performStationMovementRightMouseButton(double eventTimeDelta, double dx, double dy);

  /// Moves the camera along the ray under the pointer, so that it advances one wheel step along the view direction.
  /// Always returns true.
  virtual bool handleMouseWheelPerspective(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  /// Scales the view about the pointer. Always returns false. An off-axis view volume is centred on the axis (fixed by
  /// the interface).
  virtual bool handleMouseWheelOrthographic(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);

  ///@{
  /// The parts of the handlers above for normal and for station mode.
  bool handleNormalMousePush(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleNormalMouseDrag(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleNormalMouseWheel(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleStationMousePush(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  ///@}
  /// Multiplies the field of view by 3/4 if it is above 0 degrees, or by 4/3 if it is below 90. The limits apply before
  /// the step, not after it. Always returns false.
  bool handleStationMouseWheel(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  /// Does nothing and returns false: `StandardManipulator` handles drags in station mode.
  bool handleStationMouseDrag(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);

  /// Does nothing: each press places the pivot. The spelling is fixed by the interface.
  void setFixPrivotPoint(bool fix);

  /// The bounding sphere of `node` in world units, using the transforms on `path` from the scene's root to the node;
  /// the radius is not scaled. Pass `path` as `collectParent` fills it, node first; it is reversed in place.
  osg::BoundingSphere getWorldBoundingBox(std::vector<osg::ref_ptr<osg::Node>>& path, osg::Node* node);

  /// Appends the nodes from `node` up to the manipulator's node to `path`, along the first parents that lead there.
  /// If none do, returns false and leaves `path` unchanged.
  bool collectParent(std::vector<osg::ref_ptr<osg::Node>>& path, osg::Node* node);

 protected:
  /// Observes the viewer, which may be null.
  explicit PointCloudNavigation(osgViewer::Viewer* viewer);
  /// Memberwise: the copy shares the pivot marker and the viewer.
  PointCloudNavigation(const PointCloudNavigation& other);

  /// Places the pivot and the marker, and optionally the orbit centre, at a press in normal mode.
  virtual void placePivot(const osgGA::GUIEventAdapter& ea, osgViewer::Viewer& viewer) = 0;

  /// Returns false if the rotation factor or the trackball size is not finite: rotating would make the camera position
  /// non-finite.
  bool canTurn() const;

  /// Rotates the view with the orbit manipulator's trackball, and the orbit centre about `_pivotPoint` by the
  /// trackball's angle times `angleFactor`. Returns false without two recorded events.
  bool swingAboutPivot(double eventTimeDelta, double dx, double dy, double angleFactor);

  osg::observer_ptr<osgViewer::Viewer> _osgViewer;   ///< see `setOsgViewer`
  double _spareRatio = 0.15;                         ///< never read; fixed by the interface
  osg::Vec3d _pivotPoint;                            ///< in world units; placed by each press
  std::int32_t _spareCount = 0;                      ///< never read; fixed by the interface
  double _fov = 30.0;                                ///< see `getFov`
  bool _lockPerspective = false;                     ///< see `setLockPerspective`
  osg::Vec3d _spareVector;                           ///< never read; fixed by the interface
  bool _stationModel = false;                        ///< see `setStationModel`
  osg::Vec3d _stationCenter;                         ///< see `setStationCenter`
  double _wheelZoomFactor = 10.0;                    ///< see `setWheelZoomFactor`
  double _rotationFactor = 1.0;                      ///< see `setRotationFactor`
  osg::ref_ptr<osg::AutoTransform> _pivotIndicator;  ///< the marker that a right drag shows at the pivot
  osg::Quat _pitchQuat;                              ///< see `setPitchQuat`
  osg::Quat _yawQuat;                                ///< see `setYawQuat`

 private:
  void _showPivotMarker(osgGA::GUIActionAdapter& aa);
  bool _panToPointer(osgGA::GUIActionAdapter& aa);
};

}  // namespace QuorOsgUtils
