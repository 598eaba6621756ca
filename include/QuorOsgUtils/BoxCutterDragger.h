#pragma once

#include <QuorOsgUtils/Export.h>

#include <osg/BoundingBox>
#include <osg/ClipNode>
#include <osg/Geometry>
#include <osg/MatrixTransform>
#include <osg/Plane>
#include <osg/Quat>
#include <osg/ShapeDrawable>
#include <osg/Switch>
#include <osgGA/GUIActionAdapter>
#include <osgGA/GUIEventAdapter>
#include <osgManipulator/Dragger>
#include <osgManipulator/Projector>

#include <array>
#include <cstddef>
#include <vector>

namespace osgViewer {
class View;
}

namespace QuorOsgUtils {

/// The pointer during a drag of the clip box: its hits, the line of sight through it, and its positions in window
/// coordinates (pixels, origin at the bottom left, Y up).
class QUOR_OSG_UTILS_EXPORT BoxPointerInfo : public osgManipulator::PointerInfo {
 public:
  /// Without hits.
  BoxPointerInfo();
  /// Copies hits and positions, as the assignment does.
  BoxPointerInfo(const BoxPointerInfo& other);
  /// The base class holds an iterator into its hit list. The copy's iterator points to the first copied hit.
  BoxPointerInfo& operator=(const BoxPointerInfo& other);

  /// Clears the hits and the camera, and resets the members below to their defaults.
  void reset();

  ///@{
  /// Position of the press that started the drag.
  float _pushX = 0.0f;
  float _pushY = 0.0f;
  ///@}
  ///@{
  /// Position of the latest drag or release.
  float _dragX = 0.0f;
  float _dragY = 0.0f;
  ///@}
  /// Size of a pixel in world units at the distance of the camera manipulator's centre, computed from the full vertical
  /// field of view (fixed by the interface).
  double _pixelSize = 1.0;
  /// The inverse of the pick camera's view matrix at the press.
  osg::Matrixd _cameraToWorld;
};

/// A clip box for point clouds that is resized, moved and rotated with handles.
///
///     osg::ref_ptr<osg::ClipNode> clip = new osg::ClipNode;
///     clip->addChild(cloud);
///     osg::ref_ptr<QuorOsgUtils::BoxCutterDragger> box = new QuorOsgUtils::BoxCutterDragger(bounds, clip);
///     root->addChild(clip);
///     root->addChild(box);
///     box->setType(QuorOsgUtils::BoxCutterDragger::CUTTER_SCALE, 7);
///     box->setHandleEvents(true);
///
/// | input                    | on                | effect                                                       |
/// |--------------------------|-------------------|--------------------------------------------------------------|
/// | left press               | a visible handle  | starts a drag; the event is handled                          |
/// | drag, left button alone  | a face's cone     | the face follows the pointer along its normal                |
/// | drag, left button alone  | an axis arrow     | the box follows the pointer along the axis                   |
/// | drag, left button alone  | a ring            | the box rotates about its centre                             |
/// | left release             | anywhere          | ends the drag; the event is handled                          |
///
/// All other events, and events already handled, are ignored. A press selects the handle nearest to the eye, even if
/// another object of the scene is in front of it. A ring or arrow is drawn with a thicker line while it is dragged.
///
/// Model: the extents are an axis-aligned box in this node's local frame; only face drags change them. Rotation and
/// translation change this node's matrix. The six planes are in the frame of this node's parent, which must also be the
/// clip node's frame. Opposite faces stay at least `_minSize` apart, within single precision: 0.5 local units, unless a
/// subclass sets another value. A face drag is measured in world units but applied in local units, so the faces of a
/// scaled node do not follow the pointer. If a handle's axis points at the eye, moving the pointer by one pixel moves
/// the handle a long way. If a press cannot be projected onto that axis, no new start point is stored, and the drag is
/// measured from the previous start point. An application can reject such presses by overriding the protected `handle`.
///
/// Handles: cones and arrowheads have a constant size in pixels (about 20 wide and 18 long; arrowheads 150 from the
/// centre) from the first frame on; before that, these lengths are world units. The rings surround the box. Handles are
/// drawn with fixed-function state and lit by the view's head light (light 0). If the scene uses shader programs, the
/// application sets one on this node. In rotation mode the node is drawn in render bin -100 with a dark disc behind the
/// rings, in the other modes in bin 100.
///
/// Ownership: the node holds a reference to the clip node, which keeps its last planes after the node is destroyed. A
/// copy shares handles, state set, projectors, transform callback and clip node with its source: dragging the copy
/// moves the source. If event handling was on when the copy was made, the copy receives no events until
/// `setHandleEvents` has switched it off and on.
/// Threads: call it on the viewer's event thread, between frames, because the handles' colours and line widths do not
/// have the data variance `osg::Object::DYNAMIC`.
/// GL: needs no current context; drawing the disc disables depth writes and leaves them enabled.
/// Errors: nothing is thrown. Events without a view or a hit change nothing. Without a viewport the pointer position is
/// unknown: a drag then moves the box by an arbitrary but finite distance.
class QUOR_OSG_UTILS_EXPORT BoxCutterDragger : public osg::MatrixTransform {
 public:
  /// Which handles are shown.
  enum CutterType : int { CUTTER_ROTATE = 0, CUTTER_TRANSLATE = 1, CUTTER_SCALE = 2 };

  /// `box` is in local units, with positive extents. If `clipNode` is null, nothing is clipped; otherwise it should
  /// have no planes of its own: the first `applyClipPlane` would remove only every other one of them and add six. The
  /// constructor writes no planes. Initial mode: CUTTER_SCALE with all cones hidden.
  BoxCutterDragger(osg::BoundingBoxf box, osg::ref_ptr<osg::ClipNode> clipNode);

  /// Shares the handles and the clip node with the source; see Ownership above.
  BoxCutterDragger(const BoxCutterDragger& other);
  /// The source keeps its children and shares its handles.
  BoxCutterDragger(BoxCutterDragger&& other);

  /// In event traversals, handles the events if `setHandleEvents` is on; then traverses the children.
  void traverse(osg::NodeVisitor& visitor) override;

 protected:
  ~BoxCutterDragger() override;

  /// Passes a press, drag or release to the handlers of the current mode until one of them accepts it.
  virtual bool handle(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);

 public:
  /// Returns whether the event was handled. Does nothing unless `aa` is an `osgViewer::View`.
  virtual bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);

 protected:
  /// Builds the handles and the outline below this node. The constructor calls it once.
  virtual void setupDefaultGeometry();

 public:
  /// Shows the handles of one type, for the axes in the mask: 1 for X, 2 for Y, 4 for Z. Any other value of `type` is
  /// stored and has no other effect.
  void setType(CutterType type, int axisMask);

  /// Whether the node handles events during event traversals. Default: off.
  void setHandleEvents(bool on);

  ///@{
  /// Red, green, blue, alpha, 0 to 1. Takes effect in the next frame.
  void setBoxColor(osg::Vec4f color);
  void setXColor(osg::Vec4f color);
  void setYColor(osg::Vec4f color);
  void setZColor(osg::Vec4f color);
  ///@}

  /// Whether the clip node keeps a point given in its frame. Always true if there is no clip node or it has no planes.
  /// Tests the clip node's planes (as last written by `applyClipPlane`), not the current box.
  bool pointInBox(double x, double y, double z) const;

  /// The planes of the current box, in the frame of this node's parent: front (low y), right (high x), back, left, top
  /// (high z), bottom. Normals have length 1 and point inwards: a x + b y + c z + d >= 0 inside. If the box has no
  /// extent, the planes are zero; if the matrix mirrors, the normals point outwards.
  std::vector<osg::Plane> getCurrentClipPlanes() const;
  /// The planes last written by `applyClipPlane`; empty before its first call.
  std::vector<osg::Plane> getAllClipPlane() const;

 protected:
  /// Writes the planes of the current box into the clip node. If it has six planes, they are changed in place.
  /// Otherwise its planes are removed by ascending index, which leaves every other one (fixed by the interface), and
  /// six new ones numbered 0 to 5 are added.
  void applyClipPlane();

  /// The first path from a root down to the node; empty if there is none.
  void computeNodePathToRoot(osg::Node& node, osg::NodePath& path);

  /// Builds the arrows along the axes, which move the box.
  void setupAxisGeometry();
  /// Builds the cones on the faces, which resize the box.
  void setupScaleGeometry();
  /// Builds the rings and the disc behind them, which rotate the box.
  void setupRotationGeometry();

  ///@{
  /// Each returns false and does nothing if the pointer has not hit its handle.
  bool handleLeftScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleRightScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleFrontScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleBackScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleBottomScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleTopScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleXRotation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleYRotation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleZRotation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleXTranslation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleYTranslation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  bool handleZTranslation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  ///@}

  /// Faces in the order in which a press tests them: axis by axis, the lower side first.
  enum Face : std::size_t { LEFT_FACE, RIGHT_FACE, FRONT_FACE, BACK_FACE, BOTTOM_FACE, TOP_FACE, FACE_COUNT };

  /// The nodes of a face's handle.
  struct FaceHandle {
    osg::ref_ptr<osg::MatrixTransform> transform;    ///< to the centre of the face
    osg::ref_ptr<osg::MatrixTransform> orientation;  ///< its z axis points out of the box
    osg::ref_ptr<osg::ShapeDrawable> cone;           ///< what is drawn and pressed
  };
  /// The handles of the faces, accessed by `Face` and stored in the order left, right, top, bottom, front, back.
  class FaceHandles {
   public:
    ///@{
    /// The handle of a `Face`; only `at` checks the number.
    FaceHandle& at(std::size_t face) { return _handles.at(kPlaces.at(face)); }
    const FaceHandle& at(std::size_t face) const { return _handles.at(kPlaces.at(face)); }
    FaceHandle& operator[](std::size_t face) { return _handles[kPlaces[face]]; }
    const FaceHandle& operator[](std::size_t face) const { return _handles[kPlaces[face]]; }
    ///@}

    /// Always 6.
    std::size_t size() const { return _handles.size(); }
    ///@{
    /// Iteration is in storage order.
    FaceHandle* begin() { return _handles.data(); }
    FaceHandle* end() { return _handles.data() + _handles.size(); }
    const FaceHandle* begin() const { return _handles.data(); }
    const FaceHandle* end() const { return _handles.data() + _handles.size(); }
    ///@}

   private:
    static constexpr std::array<std::size_t, FACE_COUNT> kPlaces = {0, 1, 4, 5, 3, 2};
    std::array<FaceHandle, FACE_COUNT> _handles;
  };
  /// The nodes of an axis arrow.
  struct AxisHandle {
    osg::ref_ptr<osg::MatrixTransform> transform;  ///< its z axis is the axis of the box
    osg::ref_ptr<osg::ShapeDrawable> head;         ///< the cone at its tip
    osg::ref_ptr<osg::Geometry> shaft;             ///< the line from the centre
  };
  /// The nodes of a ring.
  struct RingHandle {
    osg::ref_ptr<osg::MatrixTransform> transform;  ///< the ring lies in its xy plane
    osg::ref_ptr<osg::Geometry> ring;              ///< the line that is drawn
  };

  /// True from a press that a handle accepted until the next release.
  bool _draggerActive = false;
  bool _handleEvents = false;       ///< see `setHandleEvents`
  CutterType _type = CUTTER_SCALE;  ///< see `setType`
  /// Minimum extent of the box along each axis, in local units.
  float _minSize = 0.5f;

  osg::ref_ptr<osg::Geometry> _topOutline;             ///< the edges around the top face
  osg::ref_ptr<osg::Geometry> _bottomOutline;          ///< the edges around the bottom face
  osg::ref_ptr<osg::Geometry> _verticalEdges;          ///< the other four edges
  osg::ref_ptr<osg::Switch> _scaleSwitch;              ///< on in CUTTER_SCALE
  osg::ref_ptr<osg::MatrixTransform> _boxCenter;       ///< to the centre of the box; parent of the faces' handles
  FaceHandles _faces;                                  ///< the cones
  osg::ref_ptr<osg::Switch> _translateSwitch;          ///< on in CUTTER_TRANSLATE
  osg::ref_ptr<osg::MatrixTransform> _axesTransform;   ///< to the centre of the box; parent of the arrows
  std::array<AxisHandle, 3> _axes;                     ///< X, Y, Z
  osg::ref_ptr<osg::Switch> _rotateSwitch;             ///< on in CUTTER_ROTATE
  osg::ref_ptr<osg::MatrixTransform> _ringsTransform;  ///< to the centre of the box, with the size of the rings
  std::array<RingHandle, 3> _rings;                    ///< X, Y, Z

  ///@{
  /// Lines along the three axes. Drags do not use them; they are fixed by the interface.
  osg::ref_ptr<osgManipulator::LineProjector> _xProjector;
  osg::ref_ptr<osgManipulator::LineProjector> _yProjector;
  osg::ref_ptr<osgManipulator::LineProjector> _zProjector;
  ///@}
  /// For the current drag: the line along z in its handle's frame.
  osg::ref_ptr<osgManipulator::LineProjector> _lineProjector;
  /// For the current rotation: the cylinder about its axis.
  osg::ref_ptr<osgManipulator::CylinderPlaneProjector> _cylinderProjector;

  osg::ref_ptr<osg::ClipNode> _clipNode;  ///< receives the planes; may be null
  osg::BoundingBoxf _box;                 ///< the extents, in local units
  osg::BoundingBoxf _startBox;            ///< at the press that began the drag
  /// Applies the motion commands of the drags to this node's matrix.
  osg::ref_ptr<osgManipulator::DraggerTransformCallback> _transformCallback;

  osg::Vec4f _highlightColor = osg::Vec4f(1.0f, 1.0f, 0.0f, 1.0f);  ///< never drawn; fixed by the interface
  osg::Vec4f _boxColor = osg::Vec4f(0.9f, 0.9f, 0.9f, 1.0f);        ///< of the outline
  osg::Vec4f _xColor = osg::Vec4f(1.0f, 0.0f, 0.0f, 1.0f);          ///< of the handles for X
  osg::Vec4f _yColor = osg::Vec4f(0.0f, 1.0f, 0.0f, 1.0f);          ///< of the handles for Y
  osg::Vec4f _zColor = osg::Vec4f(0.0f, 0.0f, 1.0f, 1.0f);          ///< of the handles for Z

  /// The press projected onto the line of `_lineProjector`, in that line's frame.
  osg::Vec3d _startProjectedPoint;
  osg::Vec3d _prevWorldProjPt;  ///< the pointer's latest projection onto the rotation cylinder, in world coordinates
  osg::Quat _prevRotation;      ///< the rotation since the press
  osg::Matrixd _startLocalToWorld;  ///< of the dragged handle, at the press
  osg::Matrixd _startWorldToLocal;  ///< its inverse

  /// Traversal mask for the hit test of a press.
  unsigned int _intersectionMask = ~0U;
  BoxPointerInfo _pointer;              ///< of the current drag
  std::vector<osg::Plane> _clipPlanes;  ///< see `getAllClipPlane`
  /// A third of the viewport's height in pixels at the latest event. Never read; fixed by the interface.
  double _screenScale = 100.0;

 private:
  friend class ClipBoxControl;

  using Handler = bool (BoxCutterDragger::*)(const BoxPointerInfo&, const osgGA::GUIEventAdapter&,
                                             osgGA::GUIActionAdapter&);
  using FaceSetter = void (BoxCutterDragger::*)(float delta);
  struct FaceDrag;

  void _updateDragger();
  void _updateScale();
  void _updateTranslation();
  void _updateRotation();
  void _updateBoxGeometry();

  // Each moves one face to its position in the start box plus delta, and updates the clip planes.
  void _updateLeftScale(float delta);
  void _updateRightScale(float delta);
  void _updateFrontScale(float delta);
  void _updateBackScale(float delta);
  void _updateBottomScale(float delta);
  void _updateTopScale(float delta);
  void _updateFace(Face face, float delta);

  void switchConeAxis(int mask);
  void switchAxis(int mask);
  void switchRotaeAxis(int mask);  // the spelling is fixed by the interface
  void _setAxisColor(std::size_t axis, const osg::Vec4f& color);

  osg::ref_ptr<osg::Geometry> _createCircleGeometry(float radius, unsigned int segments);
  osg::ref_ptr<osg::Geometry> _createCirclePolygonGeometry(float radius, unsigned int segments);

  bool _push(const osgGA::GUIEventAdapter& ea, osgViewer::View& view);
  void _pickHandle(const osgGA::GUIEventAdapter& ea, osgViewer::View& view);
  bool _followPointer(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
  osg::Matrixd _frameOf(osg::Node& node);

  bool _dragFace(const FaceDrag& drag, const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                 osgGA::GUIActionAdapter& aa);
  void _moveFace(const FaceDrag& drag, const BoxPointerInfo& pointer);
  bool _dragRing(RingHandle& handle, const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                 osgGA::GUIActionAdapter& aa);
  void _beginTurn(RingHandle& handle, const BoxPointerInfo& pointer, osgGA::GUIActionAdapter& aa);
  void _turn(const BoxPointerInfo& pointer, osgGA::GUIActionAdapter& aa);
  void _sendTurn(osgManipulator::MotionCommand::Stage stage, const osg::Quat& rotation);
  bool _dragAxis(AxisHandle& handle, const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                 osgGA::GUIActionAdapter& aa);
  void _beginShift(AxisHandle& handle, const BoxPointerInfo& pointer, osgGA::GUIActionAdapter& aa);
  void _shift(const BoxPointerInfo& pointer, osgGA::GUIActionAdapter& aa);
  void _sendShift(osgManipulator::MotionCommand::Stage stage, const osg::Vec3d& translation);

  // Sent at each event of a drag, so that it allocates nothing.
  osg::ref_ptr<osgManipulator::TranslateInLineCommand> _shiftCommand;
  osg::ref_ptr<osgManipulator::Rotate3DCommand> _turnCommand;
};

}  // namespace QuorOsgUtils
