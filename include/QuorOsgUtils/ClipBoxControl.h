#pragma once

#include <QuorOsgUtils/BoxCutterDragger.h>

#include <osg/BoundingBox>
#include <osg/ClipNode>
#include <osg/Matrixd>
#include <osg/Plane>
#include <osg/Quat>
#include <osg/StateSet>
#include <osg/Vec2f>
#include <osg/Vec3d>
#include <osgGA/GUIActionAdapter>
#include <osgGA/GUIEventAdapter>
#include <osgViewer/View>

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace QuorOsgUtils {

/// Everything that a user can change about a `ClipBoxControl`, as a value: plain numbers, to be compared, kept for undo
/// or written to a file (with 17 significant digits, so that they are read back exactly).
///
/// Frames and units: those of the control's parent, in double precision.
struct QUOR_OSG_UTILS_EXPORT ClipBoxState {
  osg::BoundingBoxd box;  ///< before the rotation; its centre is that of the rotated box
  osg::Quat rotation;     ///< about the centre
  bool cuts = true;       ///< whether the planes are in the clip node
  bool isVisible = true;  ///< whether the outline and the handles are drawn
  BoxCutterDragger::CutterType mode = BoxCutterDragger::CUTTER_SCALE;  ///< which handles are shown
  int axisMask = 7;  ///< of the handles shown: 1 for X, 2 for Y, 4 for Z

  ///@{
  /// Exact comparison.
  bool operator==(const ClipBoxState& other) const;
  bool operator!=(const ClipBoxState& other) const { return !(*this == other); }
  ///@}
};

/// One step of a drag, or all of it.
struct ClipBoxChange {
  ClipBoxState before;       ///< at the press
  ClipBoxState after;        ///< now
  bool isCancelled = false;  ///< the drag was cancelled: `after` equals `before`
};

/// The application's functions, each of which may be empty. They are called on the viewer's thread, within the event
/// traversal, and may call the control, replace its listener and release it.
struct ClipBoxListener {
  std::function<void(const ClipBoxChange&)> began;    ///< a press on a handle; may refuse it by `cancelDrag`
  std::function<void(const ClipBoxChange&)> changed;  ///< after each step that changed the box
  std::function<void(const ClipBoxChange&)> ended;    ///< a release, or `cancelDrag`
};

/// The steps of drags, measured from the press along the axes of the box. 0: no steps. A drag by less than half a step
/// leaves the state exactly as it was.
struct ClipBoxSnap {
  double resizeStep = 0.0;   ///< in local units
  double moveStep = 0.0;     ///< in local units
  double turnDegrees = 0.0;  ///< about an axis
};

/// A `BoxCutterDragger` that is ready to use: handles that are visible in captured frames, values in double precision,
/// a state that can be stored and restored, callbacks, snapping and Escape.
///
///     osg::ref_ptr<osg::ClipNode> clip = new osg::ClipNode;
///     clip->addChild(cloud);  // its shader writes gl_ClipVertex: see ClipShader
///     osg::ref_ptr<QuorOsgUtils::ClipBoxControl> control = new QuorOsgUtils::ClipBoxControl(bounds, clip);
///     root->addChild(clip);
///     root->addChild(control);
///     control->setListener({{}, {}, [&](const auto& change) { undo.push_back(change.before); }});
///
/// Inputs are those of `BoxCutterDragger`, and Escape, which cancels a drag. After that, all drags up to the release of
/// the left button, and the release, are handled without effect, so that they do not turn the camera. A default viewer
/// also quits at Escape: call `setKeyEventSetsDone(0)`. Events are handled from the start, and the
/// cones of all axes are shown. A cone or an arrow that points at the eye ignores presses: a pointer move of one pixel
/// would move it by a huge distance. If the cones of opposite faces overlap, a press grabs the one on its side of the
/// box's middle.
///
/// Size: see `leastExtent`. The extents are relative to the centre, which is in this node's matrix, so that a thin box
/// keeps its thickness far away from the origin. The base's `_box` holds the extents rounded to single precision; the
/// clip planes are computed from the double-precision values.
///
/// Frames, ownership, threads: as for `BoxCutterDragger`. The clip node must have no planes of its own; if it is null,
/// nothing is cut.
/// Threading models that draw during the next frame's events: the state sets of the clip node and the handles, and the
/// planes, get the variance `osg::Object::DYNAMIC`, so that the viewer's `frame` waits until what is below them has
/// been drawn. OSG reads the variance when it first draws a state set, so set it yourself if the clip node is drawn
/// before it is given to the control, or gets another state set later. Set the handles' colours before they are drawn.
/// GL: needs an OpenGL 3.3 compatibility context. The handles are drawn by a program of their own, into attachment 0
/// only, lit by a light at the eye; they test depth but do not write it, so the depth of a captured frame contains only
/// the scene. Cones are drawn on top of everything. In rotation mode the handles are drawn twice, before the scene
/// (render bin -100) and after it (bin 100), and the disc is a faint veil. All state is restored. Errors: nothing is
/// thrown; invalid values are refused.
class QUOR_OSG_UTILS_EXPORT ClipBoxControl : public BoxCutterDragger {
 public:
  /// No side is shorter than this, in local units.
  static constexpr double kLeastExtent = 0.001;
  /// The shortest side of a box whose longest side is `longest`: `kLeastExtent`, or a millionth of the longest side if
  /// that is more, so that opposite faces stay apart in single precision.
  static double leastExtent(double longest);

  /// A box that is not rotated, cuts and is visible. If `box` is refused as by `setBox`, its centre and sides of one
  /// unit are used.
  ClipBoxControl(const osg::BoundingBoxd& box, osg::ClipNode* clipNode);
  ClipBoxControl(const ClipBoxControl&) = delete;
  ClipBoxControl& operator=(const ClipBoxControl&) = delete;

  /// In rotation mode the cull traversal visits the handles twice; see the class.
  void traverse(osg::NodeVisitor& visitor) override;
  /// Handles Escape, then as the base class.
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

  /// Replaces the extents and the rotation. False, and no change, if a value is not finite or a side is shorter than
  /// `leastExtent`. Cancels a drag.
  bool setBox(const osg::BoundingBoxd& box, const osg::Quat& rotation = osg::Quat());
  ///@{
  /// As last set, exactly, or as the drags since have changed it.
  osg::BoundingBoxd box() const { return state().box; }
  osg::Quat rotation() const { return state().rotation; }
  ///@}
  /// The six planes of the box in double precision, in the parent's frame and the order of `getCurrentClipPlanes`.
  /// Normals point inwards.
  std::vector<osg::Plane> planes() const;

  ///@{
  /// Writes the planes into the clip node, and keeps them up to date; or removes them. Default: they cut.
  void cut();
  void uncut();
  bool cuts() const { return _cuts; }
  ///@}

  ///@{
  /// Whether the outline and the handles are drawn and receive events. Default: true. Cancels a drag. A hidden control
  /// has the node mask 0; when it is shown again, it gets the mask that it had.
  void setVisible(bool visible);
  bool isVisible() const { return getNodeMask() != 0U; }
  ///@}

  ///@{
  /// Selects the handles that are shown. Cancels a drag.
  void showHandles(CutterType mode, int axisMask);
  CutterType mode() const { return _type; }
  int axisMask() const { return _axisMask; }
  ///@}

  /// All that users can change, as it is now.
  ClipBoxState state() const;
  /// Restores a state. `setState(state())` changes nothing, whatever the rotation. Returns false as `setBox` does, or
  /// if the mode is unknown. Cancels a drag. The listener is not called, except for the drag.
  bool setState(const ClipBoxState& wanted);

  /// Replaces the application's functions.
  void setListener(ClipBoxListener listener);
  ///@{
  /// Default: no steps. Negative values and values that are not finite count as 0.
  void setSnap(const ClipBoxSnap& snap);
  const ClipBoxSnap& snap() const { return _snap; }
  ///@}

  /// Whether a handle is dragged.
  bool isDragged() const { return _draggerActive; }
  /// Ends a drag and restores the box that it began with. False if no handle is dragged. For the rest of the gesture
  /// see the class.
  bool cancelDrag();
  /// Whether Escape cancels a drag. Default: true. Switch it off if the application handles the key itself.
  void setEscapeCancels(bool on) { _escapeCancels = on; }

  /// Draws the handle that a press would select brighter than the others. Tests only the handles, not the scene. True
  /// if this changes the picture. Call it at pointer moves.
  bool highlightUnderPointer(const osgGA::GUIEventAdapter& ea, osgViewer::View& view);
  /// True if a handle was highlighted.
  bool removeHighlight() { return _highlight(nullptr); }

  /// The start and end points of a drag of a handle in world coordinates, for scripted tours and tests. They are valid
  /// after the first frame that shows the handles, because these have no size before it.
  struct DragPath {
    osg::Vec3d from;  ///< where to press
    osg::Vec3d to;    ///< where to release
  };
  /// Moves a face (0 to 5: low x, high x, low y, …) into the box by a fraction of the box's extent.
  DragPath pathOfFace(std::size_t face, double share) const;
  /// Moves the box along an axis by a fraction of its extent.
  DragPath pathOfAxis(std::size_t axis, double share) const;
  /// Rotates the box. It starts on the ring, near the ring point closest to the eye.
  DragPath pathOfRing(std::size_t axis, double degrees, const osg::Vec3d& eye) const;

 protected:
  ~ClipBoxControl() override;

  bool handle(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

 private:
  void _setUpState();
  void _setUpHandles();
  void _setUpChanges();
  void _place(const osg::BoundingBoxd& box, const osg::Quat& rotation);
  void _setExtents(const osg::BoundingBoxd& extents);
  osg::BoundingBoxd _currentExtents() const;
  std::array<osg::Plane, 6> _currentPlanes() const;
  void _writePlanes();
  void _removePlanes();

  bool _swallow(const osgGA::GUIEventAdapter& ea);
  bool _begin(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  void _followSnapped();
  void _snapExtents();
  void _snapPosition();
  void _snapRotation();
  using Told = std::function<void(const ClipBoxChange&)> ClipBoxListener::*;
  void _tell(Told function, bool isCancelled = false) const;

  bool _highlight(osg::Node* handle);
  osg::Node* _handleUnderPointer(const osgGA::GUIEventAdapter& ea, osgViewer::View& view) const;
  std::vector<osg::Node*> _handleNodes() const;
  void _setLeastExtent();
  void _chooseOverlappingFace();
  bool _conesOverlap(std::size_t axis) const;
  bool _isAboveMiddle(std::size_t axis) const;
  bool _pointsAtEye(const BoxPointerInfo& pointer) const;
  osg::Vec3d _directionOf(std::size_t axis) const;
  double _extentAlong(std::size_t axis) const;

  bool _cuts = true;
  bool _escapeCancels = true;
  int _axisMask = 7;
  std::shared_ptr<const ClipBoxListener> _listener = std::make_shared<const ClipBoxListener>();  // never null
  ClipBoxSnap _snap;
  osg::ref_ptr<osg::StateSet> _secondPass;  // of the rings, after the scene
  osg::Node* _highlighted = nullptr;        // below this node; null: none

  // The extents in double precision, where `_box` is their rounded value.
  osg::BoundingBoxd _extents;
  // The box and rotation that were placed last, with what `_place` made of them: valid while that has not changed.
  osg::BoundingBoxd _placedBox;
  osg::Quat _placedRotation;
  osg::BoundingBoxd _placedExtents;
  osg::Matrixd _placedMatrix;

  ClipBoxState _atPress;
  osg::BoundingBoxd _extentsAtPress;
  osg::Matrixd _matrixAtPress;
  osg::Vec2f _latestPosition;  // of the pointer during a drag
  bool _isCancelled = false;   // the drag, but its button is still held
  osg::Node::NodeMask _visibleMask = ~0U;
};

}  // namespace QuorOsgUtils
