#pragma once

#include <QuorOsgUtils/Export.h>
#include <QuorOsgUtils/PointCloudNavigation.h>
#include <QuorOsgUtils/ViewPose.h>

#include <osg/BoundingBox>
#include <osg/Camera>
#include <osg/Vec2d>
#include <osg/Vec3d>
#include <osgGA/GUIActionAdapter>
#include <osgGA/GUIEventAdapter>

#include <optional>
#include <vector>

namespace QuorOsgUtils {

struct ViewState;

/// Where the pivot is placed if the captured frame shows only background at a press.
enum class PivotFallback {
  NearbyPixels,  ///< the scene point nearest to the position in the window, within the search radius
  LastPivot,     ///< the latest scene point that a press or a zoom found, if it is on screen
  SceneBounds,   ///< the middle of the part of the ray that lies in the bounds of the scene
  OrbitCentre    ///< the orbit centre
};

/// The behaviour and the options shared by `PreciseOrbitManipulator` and `PrecisePivotManipulator`.
///
/// | input               | normal mode                                            | station mode                 |
/// |---------------------|--------------------------------------------------------|------------------------------|
/// | press               | places the pivot on the scene, or uses a fallback      | as in the base class         |
/// | right drag          | rotates by the rotation speed                          | looks around, horizon level  |
/// | middle drag         | the pressed scene point stays under the pointer        | as in the base class         |
/// | wheel, perspective  | approaches the scene point nearest to the pointer      | changes the field of view    |
/// | wheel, orthographic | scales the view about the pointer                      | nothing                      |
///
/// Everything else is as in the base class. Every input that changes the view requests a redraw.
///
/// Zoom: `setWheelZoomFactor` is the share in percent (default 20, limited to 1 to 90). A notch towards the scene
/// multiplies the distance of its target by 1 − share, a notch back divides it by the same. Nearer than the least
/// distance the steps stay constant, so that the camera can pass through. The target is the scene point nearest to the
/// pointer in the window, within the search radius; over background it is at the depth of the latest scene point that
/// was found, or at the orbit centre's distance. While the pointer stays and nothing else changes the view, the target
/// is kept, or follows the scene points that come into sight beside it, and steps back undo the steps towards it
/// exactly. Once the camera has reached the target, the zoom continues to the next scene point ahead. A zoom does not
/// move the eye further from the centre of the scene's bounds than eight times their radius. After a step the orbit
/// centre is at the target's depth.
/// `SCROLL_UP` and `SCROLL_DOWN` are one notch. `SCROLL_2D`, and any scroll event with a vertical delta, count by the
/// delta: see `setScrollUnitsPerNotch`.
///
/// Frames: world units; window positions in pixels from the bottom left. An event carries the column and row of the
/// pixel under the pointer, so its position is the centre of that pixel: (x + 0.5, y + 0.5).
/// Depth: as for the base class, from the `ScreenCaptureTool` of the view's camera.
/// Threads: the viewer's event thread only. GL: none is used.
class QUOR_OSG_UTILS_EXPORT PreciseNavigation {
 public:
  /// The vertical field of view in degrees from which drags at a station rotate at full speed; below it, more slowly.
  static constexpr double kStationFieldDegrees = 60.0;

  ///@{
  /// In the order in which they are tried; if none exists, the pivot stays. Default: all, in the order of the enum.
  void setPivotFallbacks(std::vector<PivotFallback> fallbacks);
  const std::vector<PivotFallback>& getPivotFallbacks() const;
  ///@}

  ///@{
  /// How far from a position a scene point may be, in pixels. Default: 32; not negative.
  void setSearchRadius(int pixels);
  int getSearchRadius() const;
  ///@}

  ///@{
  /// The angle by which a drag of half the window's width rotates the view, in degrees, multiplied by the rotation
  /// factor. Default: 90. In station mode it is reduced in proportion to a field of view below `kStationFieldDegrees`.
  void setRotationSpeed(double degreesPerHalfWindow);
  double getRotationSpeed() const;
  ///@}

  ///@{
  /// The distance in world units below which zoom steps stay constant. Default: 0, which means 1/5000 of the radius of
  /// the scene's bounds.
  void setLeastZoomDistance(double distance);
  double getLeastZoomDistance() const;
  ///@}

  ///@{
  /// The bounds of the scene in world units. Default: invalid, which means those of the manipulator's node.
  void setSceneBounds(const osg::BoundingBoxd& bounds);
  const osg::BoundingBoxd& getSceneBounds() const;
  ///@}

  ///@{
  /// The vertical scroll delta that counts as one notch: 1 for deltas in notches (default), 120 for those of Windows
  /// and of Qt's `angleDelta`. Must be more than 0.
  void setScrollUnitsPerNotch(double units);
  double getScrollUnitsPerNotch() const;
  ///@}

  /// The latest scene point that a press or a zoom found, in world units; nothing before the first.
  const std::optional<osg::Vec3d>& getLastScenePoint() const;
  /// The same if the view of the camera shows it; nothing otherwise.
  std::optional<osg::Vec3d> getVisibleScenePoint(const osg::Camera& camera);
  /// Forgets the scene points of presses and zooms. Call it when a change of the scene, such as another origin, has
  /// made them invalid.
  void forgetScenePoints();

  /// Moves the orbit centre along the line of sight to the depth of the scene in the middle of the view, or of the
  /// first fallback that exists. The eye and the view do not change. Call it before a change of the projection, so that
  /// the scale in the middle of the view can be kept. Returns false if nothing is found.
  bool centreOnScene(osg::Camera& camera);

 protected:
  using Event = osgGA::GUIEventAdapter;  ///< the type of all events

  /// With the default settings.
  PreciseNavigation();
  /// Copies the settings and the state of a zoom or pan.
  PreciseNavigation(const PreciseNavigation& other);
  PreciseNavigation& operator=(const PreciseNavigation&) = delete;
  virtual ~PreciseNavigation();

  /// The manipulator itself.
  virtual PointCloudNavigation& navigation() = 0;

  /// A pivot for a rotation, or a target of a zoom.
  struct FoundPivot {
    osg::Vec3d point;  ///< in world units
    bool isScene;      ///< it is a captured scene point, not a substitute
  };

  /// The scene point at a window position, or the point of the first fallback that exists.
  std::optional<FoundPivot> findPivot(osg::Camera& camera, const osg::Vec2d& position);
  /// Whether the event belongs to a pan in normal mode.
  bool isPan(const Event& ea);
  /// Keeps the scene point at the event's position, for `pan`.
  void grab(osg::Camera& camera, const Event& ea);
  /// Moves the view so that the grabbed point is at the event's position. Grabs it first if there was no press.
  bool pan(const Event& ea, osgGA::GUIActionAdapter& aa);
  /// Handles one scroll event in either mode and either projection.
  bool zoom(const Event& ea, osgGA::GUIActionAdapter& aa);
  /// Pans to where a button was released: some systems report no last movement there. Ends the pan, unless the middle
  /// button is still held.
  void letGo(const Event& ea, osgGA::GUIActionAdapter& aa);

  /// How far a drag between two events turns the view, in radians: to the right and up. Nothing without two events, or
  /// if the rotation factor or the speed is not finite.
  std::optional<osg::Vec2d> turnOf(const Event* from, const Event* to);
  /// Looks around from a station: the eye stays.
  bool lookAround(const std::optional<osg::Vec2d>& turn, const osg::Camera* camera);

 private:
  /// A step of a zoom, to be undone exactly.
  struct ZoomStepTaken {
    double notches;
    ViewPose before;
    osg::Vec3d target;
    osg::Vec3d direction;
  };

  /// A zoom in progress, from the first notch until something else happens.
  struct Approach {
    osg::Vec3d target;
    osg::Vec3d direction;  ///< unit vector from the eye to the target
    osg::Vec2d pointer;
    ViewPose pose;                     ///< after the latest step
    bool isScene;                      ///< the target is a captured scene point
    double farthest;                   ///< allowed distance from the centre of the scene's bounds
    std::vector<ZoomStepTaken> steps;  ///< the latest is last
  };

  std::optional<osg::Vec3d> _pointNear(osg::Camera& camera, const osg::Vec2d& position, int reachPixels);
  std::optional<osg::Vec3d> _pointCloseTo(osg::Camera& camera, const osg::Vec3d& target);
  std::optional<osg::Vec3d> _pointOf(PivotFallback fallback, osg::Camera& camera, const osg::Vec2d& position);
  osg::BoundingBoxd _boundsInUse();
  double _leastDistanceInUse();
  double _shareInUse();
  void _zoomStation(osg::Camera& camera, double notches);
  void _scaleOrthographic(osg::Camera& camera, const osg::Vec2d& pointer, double notches);
  void _approachPointer(osg::Camera& camera, const osg::Vec2d& pointer, double notches);
  void _step(double notches);
  bool _continues(const osg::Vec2d& pointer);
  bool _isReached();
  bool _undoStep(double notches);
  void _rememberStep(double notches, const ViewPose& before);
  void _refine(osg::Camera& camera, const osg::Vec2d& pointer);
  void _setTarget(const FoundPivot& target);
  void _aim(osg::Camera& camera, const osg::Vec2d& pointer, bool continues);
  void _aimAt(const FoundPivot& target, const osg::Vec2d& pointer);
  std::optional<FoundPivot> _targetUnder(const ViewState& state, osg::Camera& camera, const osg::Vec2d& pointer);

  std::vector<PivotFallback> _fallbacks;
  int _searchRadiusPixels = 32;
  double _rotationSpeedDegrees = 90.0;
  double _leastZoomDistance = 0.0;
  double _scrollUnitsPerNotch = 1.0;
  osg::BoundingBoxd _sceneBounds;
  std::optional<osg::Vec3d> _lastScenePoint;
  std::optional<osg::Vec3d> _grabbed;
  std::optional<osg::Vec2d> _pannedTo;  // by the current pan
  std::optional<Approach> _approach;
};

}  // namespace QuorOsgUtils
