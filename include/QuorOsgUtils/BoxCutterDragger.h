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

/// The pointer in a drag of the clip box: what it hit, the line of sight through it, and where it was. Positions are in
/// window units, the origin bottom left.
class QUOR_OSG_UTILS_EXPORT BoxPointerInfo : public osgManipulator::PointerInfo {
 public:
  BoxPointerInfo();
  BoxPointerInfo(const BoxPointerInfo& other);
  /// The base keeps a place in its own list of hits; here it begins at the copied list's first.
  BoxPointerInfo& operator=(const BoxPointerInfo& other);

  /// No hits, no camera, and the values below as at first.
  void reset();

  /// Where the press was that began the drag.
  float _pushX = 0.0f;
  float _pushY = 0.0f;
  /// Where the latest drag or release was.
  float _dragX = 0.0f;
  float _dragY = 0.0f;
  /// World size of a pixel at the distance of the manipulator's centre, by the full vertical field of view.
  double _pixelSize = 1.0;
  /// The inverse of the pick camera's view matrix at the press.
  osg::Matrixd _cameraToWorld;
};

/// A box that cuts a point cloud, resized, moved and turned by handles.
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
/// | left press               | a handle shown    | begins a drag; the event is handled                          |
/// | drag, left button alone  | a face's cone     | the face follows the pointer along its normal                |
/// | drag, left button alone  | an axis' arrow    | the box follows the pointer along the axis                   |
/// | drag, left button alone  | a ring            | the box turns about its centre                               |
/// | left release             | anywhere          | ends the drag; the event is handled                          |
///
/// Everything else is left to others, and so is an event already handled. The handle nearest to the eye is meant,
/// also where something else in the scene is in front of it. The highlight of a drag is a thicker line.
///
/// Model: the extents are an axis-aligned box in this node's own frame and change only by the faces; turning and moving
/// change this node's matrix. The six planes stand in the frame of this node's parent, which must be the clip node's
/// frame too. A face never comes nearer than 0.5 local units to the opposite one, as far as single precision tells them
/// apart. Distances dragged on a face are world units, and taken for local ones: a scaled node's faces do not keep to
/// the pointer. A handle seen end-on is hard to hold: a pixel's move is a long way there, and a press that finds no
/// place on an arrow's line fixes no beginning, so that the moves count from the beginning before. A host may refuse
/// such presses by overriding the protected `handle`.
///
/// Handles: cones and arrows keep their size in pixels (about 20 across, 18 long; arrows 150 away from the centre) from
/// the first frame on; before it they stand in world units. The rings circle the box. They are drawn with
/// fixed-function state, lit by the view's head light (light 0): where programs are in use, the host gives the node
/// one. In the mode of the rings the node is drawn in render bin -100 with a dark disc behind them, otherwise in bin
/// 100.
///
/// Ownership: the node keeps the clip node, which keeps the last planes when the node is gone. Copies share handles,
/// state set, projectors, transform callback and clip node with their source: drags of a copy move its source, and a
/// copy that was made while events were handled takes none before `setHandleEvents` has turned it off and on.
/// Threads: the event thread of the viewer, between frames: colours and line widths of the handles are not marked as
/// dynamic. GL: needs no current context; the disc turns depth writes off and on again.
/// Errors: nothing is thrown; an event that meets no view or no hit changes nothing. Without a viewport nobody can tell
/// where the pointer is: a drag then moves the box by an amount without meaning, but finite.
class QUOR_OSG_UTILS_EXPORT BoxCutterDragger : public osg::MatrixTransform {
 public:
  /// Which handles are shown.
  enum CutterType : int { CUTTER_ROTATE = 0, CUTTER_TRANSLATE = 1, CUTTER_SCALE = 2 };

  /// `box` in local units, with positive extents. `clipNode` may be null, then nothing is cut; otherwise it should hold
  /// no planes of its own: the first cut would take away only every other one of them, and add six. Cuts nothing yet.
  /// Starts with the cones' mode and all of them hidden.
  BoxCutterDragger(osg::BoundingBoxf box, osg::ref_ptr<osg::ClipNode> clipNode);

  BoxCutterDragger(const BoxCutterDragger& other);
  /// The source keeps its children and shares its handles.
  BoxCutterDragger(BoxCutterDragger&& other);

  void traverse(osg::NodeVisitor& visitor) override;

 protected:
  ~BoxCutterDragger() override;

  /// Hands an event of a drag, or the press that may begin one, to the handlers of the mode's handles.
  virtual bool handle(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);

 public:
  /// Answers whether the event is used up. `aa` must be an `osgViewer::View`; any other is ignored.
  virtual bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);

 protected:
  /// Builds the handles and the outline, once, below this node.
  virtual void setupDefaultGeometry();

 public:
  /// Shows one kind of handles, and of these the ones whose axis is in the mask: 1 for X, 2 for Y, 4 for Z. A value
  /// that is none of the three types is stored and changes nothing else.
  void setType(CutterType type, int axisMask);

  /// Whether the node takes events that its event traversal meets. Off at first.
  void setHandleEvents(bool on);

  /// Red, green, blue, alpha, 0 to 1. Seen from the next frame on.
  void setBoxColor(osg::Vec4f color);
  void setXColor(osg::Vec4f color);
  void setYColor(osg::Vec4f color);
  void setZColor(osg::Vec4f color);

  /// Whether the clip node would keep a point, given in its frame. True for every point when there is no clip node, or
  /// when it has no planes. The planes of the last cut count, not the box at hand.
  bool pointInBox(double x, double y, double z) const;

  /// The planes of the box at hand, in the frame of this node's parent: front (low y), right (high x), back, left, top
  /// (high z), bottom. Normals have length 1 and point inwards: a x + b y + c z + d >= 0 inside. A box without extent
  /// yields planes of zeros, a matrix that mirrors normals that point outwards.
  std::vector<osg::Plane> getCurrentClipPlanes() const;
  /// The planes of the last cut; none before the first.
  std::vector<osg::Plane> getAllClipPlane() const;

 protected:
  /// Writes the planes of the box at hand into the clip node. Six planes that it has are changed in place; any other
  /// number is removed by ascending index, which leaves every other one, and six new ones numbered 0 to 5 are added.
  void applyClipPlane();

  /// The first path from a root down to the node; empty when there is none.
  void computeNodePathToRoot(osg::Node& node, osg::NodePath& path);

  void setupAxisGeometry();
  void setupScaleGeometry();
  void setupRotationGeometry();

  /// Each answers false, without effect, when the pointer has not hit its handle.
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

  /// Faces in the order in which a press tries them: axis by axis, the lower side first.
  enum Face : std::size_t { LEFT_FACE, RIGHT_FACE, FRONT_FACE, BACK_FACE, BOTTOM_FACE, TOP_FACE, FACE_COUNT };

  struct FaceHandle {
    osg::ref_ptr<osg::MatrixTransform> transform;    ///< to the middle of the face
    osg::ref_ptr<osg::MatrixTransform> orientation;  ///< its z axis points out of the box
    osg::ref_ptr<osg::ShapeDrawable> cone;
  };
  /// The handles of the faces, accessed by `Face` and stored in the order left, right, top, bottom, front, back.
  class FaceHandles {
   public:
    FaceHandle& at(std::size_t face) { return _handles.at(kPlaces.at(face)); }
    const FaceHandle& at(std::size_t face) const { return _handles.at(kPlaces.at(face)); }
    FaceHandle& operator[](std::size_t face) { return _handles[kPlaces[face]]; }
    const FaceHandle& operator[](std::size_t face) const { return _handles[kPlaces[face]]; }

    std::size_t size() const { return _handles.size(); }
    /// In the order of storage.
    FaceHandle* begin() { return _handles.data(); }
    FaceHandle* end() { return _handles.data() + _handles.size(); }
    const FaceHandle* begin() const { return _handles.data(); }
    const FaceHandle* end() const { return _handles.data() + _handles.size(); }

   private:
    static constexpr std::array<std::size_t, FACE_COUNT> kPlaces = {0, 1, 4, 5, 3, 2};
    std::array<FaceHandle, FACE_COUNT> _handles;
  };
  struct AxisHandle {
    osg::ref_ptr<osg::MatrixTransform> transform;  ///< its z axis is the axis of the box
    osg::ref_ptr<osg::ShapeDrawable> head;
    osg::ref_ptr<osg::Geometry> shaft;
  };
  struct RingHandle {
    osg::ref_ptr<osg::MatrixTransform> transform;  ///< the ring lies in its xy plane
    osg::ref_ptr<osg::Geometry> ring;
  };

  /// From a press that a handle took to the next release.
  bool _draggerActive = false;
  bool _handleEvents = false;
  CutterType _type = CUTTER_SCALE;
  /// Least extent of the box along each axis.
  float _minSize = 0.5f;

  osg::ref_ptr<osg::Geometry> _topOutline;
  osg::ref_ptr<osg::Geometry> _bottomOutline;
  osg::ref_ptr<osg::Geometry> _verticalEdges;
  osg::ref_ptr<osg::Switch> _scaleSwitch;
  osg::ref_ptr<osg::MatrixTransform> _boxCenter;
  FaceHandles _faces;
  osg::ref_ptr<osg::Switch> _translateSwitch;
  osg::ref_ptr<osg::MatrixTransform> _axesTransform;
  std::array<AxisHandle, 3> _axes;  ///< X, Y, Z, as `_rings`
  osg::ref_ptr<osg::Switch> _rotateSwitch;
  osg::ref_ptr<osg::MatrixTransform> _ringsTransform;
  std::array<RingHandle, 3> _rings;

  /// Along the three axes; no drag uses them.
  osg::ref_ptr<osgManipulator::LineProjector> _xProjector;
  osg::ref_ptr<osgManipulator::LineProjector> _yProjector;
  osg::ref_ptr<osgManipulator::LineProjector> _zProjector;
  /// Of the drag at hand, along z in the frame of its handle.
  osg::ref_ptr<osgManipulator::LineProjector> _lineProjector;
  osg::ref_ptr<osgManipulator::CylinderPlaneProjector> _cylinderProjector;

  osg::ref_ptr<osg::ClipNode> _clipNode;
  osg::BoundingBoxf _box;
  osg::BoundingBoxf _startBox;  ///< at the press that began the drag
  /// Gives this node the motions of the drags.
  osg::ref_ptr<osgManipulator::DraggerTransformCallback> _transformCallback;

  osg::Vec4f _highlightColor = osg::Vec4f(1.0f, 1.0f, 0.0f, 1.0f);  ///< kept for subclasses, drawn by none
  osg::Vec4f _boxColor = osg::Vec4f(0.9f, 0.9f, 0.9f, 1.0f);
  osg::Vec4f _xColor = osg::Vec4f(1.0f, 0.0f, 0.0f, 1.0f);
  osg::Vec4f _yColor = osg::Vec4f(0.0f, 1.0f, 0.0f, 1.0f);
  osg::Vec4f _zColor = osg::Vec4f(0.0f, 0.0f, 1.0f, 1.0f);

  /// Where the press met the projector's line, in the line's frame.
  osg::Vec3d _startProjectedPoint;
  /// Where the pointer last met the rotation's cylinder, in world units, and the rotation since the press.
  osg::Vec3d _prevWorldProjPt;
  osg::Quat _prevRotation;
  osg::Matrixd _startLocalToWorld;
  osg::Matrixd _startWorldToLocal;

  /// Which nodes a press may hit.
  unsigned int _intersectionMask = ~0u;
  BoxPointerInfo _pointer;
  std::vector<osg::Plane> _clipPlanes;
  /// A third of the viewport's height at the latest event.
  double _screenScale = 100.0;

 private:
  using Handler = bool (BoxCutterDragger::*)(const BoxPointerInfo&, const osgGA::GUIEventAdapter&,
                                             osgGA::GUIActionAdapter&);
  using FaceSetter = void (BoxCutterDragger::*)(float delta);
  struct FaceDrag;

  void _updateDragger();
  void _updateScale();
  void _updateTranslation();
  void _updateRotation();
  void _updateBoxGeometry();

  // Each sets one extent of the box to that of the start box plus delta, and cuts.
  void _updateLeftScale(float delta);
  void _updateRightScale(float delta);
  void _updateFrontScale(float delta);
  void _updateBackScale(float delta);
  void _updateBottomScale(float delta);
  void _updateTopScale(float delta);
  void _updateFace(Face face, float delta);

  void switchConeAxis(int mask);
  void switchAxis(int mask);
  void switchRotaeAxis(int mask);
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
};

}  // namespace QuorOsgUtils
