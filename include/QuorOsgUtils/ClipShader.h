#pragma once

#include <QuorOsgUtils/ClipBoxControl.h>
#include <QuorOsgUtils/Export.h>

#include <osg/BoundingBox>
#include <osg/NodeCallback>
#include <osg/Quat>
#include <osg/Shader>
#include <osg/Vec3d>
#include <osg/ref_ptr>

#include <cstddef>
#include <vector>

namespace QuorOsgUtils {

/// Cuts a cloud in the application's own shader, by one box or several, each of which keeps what is inside or what is
/// outside it. It is a cull callback of a group above the cloud (OSG does not call it in the same way for a drawable),
/// and a vertex shader to be linked into the cloud's program:
///
///     osg::ref_ptr<QuorOsgUtils::ClipShader> clip = new QuorOsgUtils::ClipShader;
///     clip->setBoxes({{bounds}, {house, {}, QuorOsgUtils::ClipShader::Keep::Outside}});
///     cloudGroup->addCullCallback(clip);
///     program->addShader(QuorOsgUtils::ClipShader::createShader());
///
///     void clipCloud(vec4 eyePosition);  // in the application's vertex shader
///     void main() {
///       clipCloud(gl_ModelViewMatrix * gl_Vertex);
///       ...
///
/// A point is kept if it is inside any of the boxes that keep the inside (or if there are none), and outside all boxes
/// that keep the outside. Points on a face are kept. Points and other primitives of one vertex are cut exactly; lines
/// and triangles are cut along an interpolation between their vertices.
///
/// `createPlanesShader` has the same function for a cloud below an `osg::ClipNode`, such as that of a `ClipBoxControl`:
/// it writes `gl_ClipVertex`, so OpenGL cuts by the clip planes of the node, and the callback is not needed.
///
/// Frames: boxes are in the frame of the node's children, in double precision; distances to the box are computed from
/// eye coordinates, so they are exact far from the origin too, if the cloud's positions are.
/// Ownership: nodes hold a reference to the callback; one callback may be used by several nodes.
/// Threads: call the methods on the viewer's thread, between frames. Culling may run on several threads.
/// To stop cutting, set no boxes: without the callback the program would keep the last ones. Nodes that share the
/// program need the callback, too. GL: needs GLSL 3.30 compatibility. Boxes use `gl_ClipDistance[0]` and the uniforms
/// `quorClipCount`, `quorClipToBox` and `quorClipSides`; clip distance 0 is enabled for the node's children only. A
/// program that writes `gl_ClipDistance` may not write `gl_ClipVertex`. Do not use boxes below a clip node that cuts:
/// its planes 1 to 5 enable distances that the shader never writes.
class QUOR_OSG_UTILS_EXPORT ClipShader : public osg::NodeCallback {
 public:
  /// What a box keeps.
  enum class Keep { Inside, Outside };
  /// A box in the frame of the node's children.
  struct Box {
    osg::BoundingBoxd box;     ///< before the rotation
    osg::Quat rotation;        ///< about the centre
    Keep keep = Keep::Inside;  ///< what is inside or what is outside
  };
  enum : std::size_t { kMostBoxes = 8 };  ///< at the same time

  /// Without boxes.
  ClipShader();

  /// The box of a control.
  static Box boxOf(const ClipBoxState& state, Keep keep = Keep::Inside);
  ///@{
  /// A vertex shader that defines `void clipCloud(vec4 eyePosition)` for boxes, or for a clip node.
  static osg::ref_ptr<osg::Shader> createShader();
  static osg::ref_ptr<osg::Shader> createPlanesShader();
  ///@}

  ///@{
  /// Default: none, so everything is kept. False, and no change, if there are more than `kMostBoxes`, or if
  /// `ClipBoxControl::setBox` would refuse one of them.
  bool setBoxes(std::vector<Box> boxes);
  const std::vector<Box>& boxes() const { return _boxes; }
  ///@}
  /// Whether a point in the frame of the boxes is kept, by the same rule in double precision.
  bool keeps(const osg::Vec3d& point) const;

  /// Sets the uniforms and traverses the children. OSG calls it during the cull traversal.
  void operator()(osg::Node* node, osg::NodeVisitor* visitor) override;

 protected:
  ~ClipShader() override;

 private:
  std::vector<Box> _boxes;
};

}  // namespace QuorOsgUtils
