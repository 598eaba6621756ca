#include "cutter/HandleLines.h"
#include "extras/AttachmentMask.h"

#include <QuorOsgUtils/ClipBoxControl.h>

#include <osg/BlendFunc>
#include <osg/CullFace>
#include <osg/Depth>
#include <osg/LineWidth>
#include <osg/NodeVisitor>
#include <osg/Program>
#include <osg/Shader>
#include <osg/Uniform>
#include <osgUtil/CullVisitor>

namespace QuorOsgUtils {
namespace {

// The kinds of drawable, as the shaders expect them.
constexpr int kSolid = 1;
constexpr int kRing = 2;

constexpr float kOutlineWidthPixels = 1.5f;
constexpr int kAfterTheScene = 100;  // render bin
constexpr unsigned int kAttachments = 5;

const osg::Vec4f kXColor(0.93f, 0.27f, 0.26f, 1.0f);
const osg::Vec4f kYColor(0.42f, 0.80f, 0.30f, 1.0f);
const osg::Vec4f kZColor(0.27f, 0.56f, 0.98f, 1.0f);
const osg::Vec4f kBoxColor(0.95f, 0.86f, 0.66f, 1.0f);

constexpr const char* kVertexShader = R"(#version 330 compatibility
uniform int kind;
flat out vec4 base;
out vec3 normal;
void main() {
  base = gl_Color;
  normal = kind == 0 ? vec3(0.0, 0.0, 1.0) : gl_NormalMatrix * gl_Normal;
  gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
}
)";

// The light is at the eye. A ring's normals point away from its centre, so a normal that points away from the eye is on
// the half behind the disc. The library's disc is nearly opaque, to dim that half, and would cover the background with
// a dark circle. Here it is a faint light veil, and the half behind it is drawn translucent instead.
constexpr const char* kFragmentShader = R"(#version 330 compatibility
uniform int kind;
uniform bool secondPass;
uniform bool highlighted;
flat in vec4 base;
in vec3 normal;
layout(location = 0) out vec4 color;
const vec4 veil = vec4(1.0, 1.0, 1.0, 0.04);
const float alphaBehind = 0.3;
const float highlight = 0.6;   // of the way to white
void main() {
  bool disc = base.a < 1.0;
  bool behind = kind == 2 && normal.z < 0.0;
  if (secondPass && (disc || behind)) discard;
  float facing = kind == 1 ? max(normalize(normal).z, 0.0) : 1.0;
  float shine = kind == 1 ? 0.35 * pow(facing, 24.0) : 0.0;
  vec3 lit = base.rgb * (0.35 + 0.65 * facing) + shine;
  color = disc ? veil : vec4(mix(lit, vec3(1.0), highlighted ? highlight : 0.0), behind ? alphaBehind : 1.0);
}
)";

osg::ref_ptr<osg::Depth> createDepth(double farthest) {
  return new osg::Depth(osg::Depth::LEQUAL, 0.0, farthest, false);
}

// A drawable with a draw callback of its own may leave depth writes on. With a depth attribute of its own, OSG applies
// the attribute again for whatever is drawn next.
class OwnDepthForCallbacks : public osg::NodeVisitor {
 public:
  OwnDepthForCallbacks() : osg::NodeVisitor(TRAVERSE_ALL_CHILDREN) {}
  void apply(osg::Drawable& drawable) override {
    if (drawable.getDrawCallback() != nullptr) {
      drawable.getOrCreateStateSet()->setAttribute(createDepth(1.0));
    }
  }
};

void setKind(osg::Node& node, int kind) {
  node.getOrCreateStateSet()->addUniform(new osg::Uniform("kind", kind));
}

// Without depth writes, a solid's far side would cover its near side.
void setUpSolid(osg::Node& node) {
  osg::StateSet& state = *node.getOrCreateStateSet();
  setKind(node, kSolid);
  state.setAttributeAndModes(new osg::CullFace(osg::CullFace::BACK));
  state.setAttribute(createDepth(0.0));
}

}  // namespace

// DYNAMIC: the viewer's frame waits until all handles below have been drawn.
void ClipBoxControl::_setUpState() {
  osg::StateSet& state = *getOrCreateStateSet();
  state.setDataVariance(osg::Object::DYNAMIC);
  const osg::ref_ptr<osg::Program> program = new osg::Program;
  program->setName("clip box handles");
  program->addShader(new osg::Shader(osg::Shader::VERTEX, kVertexShader));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, kFragmentShader));
  state.setAttribute(program);
  state.addUniform(new osg::Uniform("kind", 0));
  state.addUniform(new osg::Uniform("secondPass", false));
  state.addUniform(new osg::Uniform("highlighted", false));
  state.setAttribute(createDepth(1.0));
  state.setAttributeAndModes(new osg::BlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA));
  state.setMode(GL_LINE_SMOOTH, osg::StateAttribute::ON);
  for (unsigned int attachment = 1; attachment < kAttachments; ++attachment) {
    state.setAttribute(new AttachmentMask(attachment));
  }
  _secondPass = new osg::StateSet;
  _secondPass->addUniform(new osg::Uniform("secondPass", true));
  _secondPass->setNestRenderBins(false);
  _secondPass->setRenderBinDetails(kAfterTheScene, "RenderBin", osg::StateSet::OVERRIDE_RENDERBIN_DETAILS);
}

void ClipBoxControl::_setUpHandles() {
  setXColor(kXColor);
  setYColor(kYColor);
  setZColor(kZColor);
  setBoxColor(kBoxColor);
  for (const FaceHandle& face : _faces) {
    setUpSolid(*face.cone);
  }
  for (const AxisHandle& axis : _axes) {
    setUpSolid(*axis.head);
  }
  for (const RingHandle& ring : _rings) {
    setKind(*ring.ring, kRing);
  }
  for (osg::Geometry* lines : {_topOutline.get(), _bottomOutline.get(), _verticalEdges.get()}) {
    lines->getOrCreateStateSet()->setAttribute(new osg::LineWidth(kOutlineWidthPixels));
  }
  OwnDepthForCallbacks visitor;
  accept(visitor);
  _setUpChanges();
}

// All that drags and the pointer change exists from the start: a state set that is being drawn must not grow.
void ClipBoxControl::_setUpChanges() {
  for (osg::Node* const handle : _handleNodes()) {
    osg::StateSet& state = *handle->getOrCreateStateSet();
    state.setDataVariance(osg::Object::DYNAMIC);
    state.addUniform(new osg::Uniform("highlighted", false));
  }
  for (std::size_t axis = 0; axis < _axes.size(); ++axis) {
    osg::StateSet& shaft = *_axes[axis].transform->getOrCreateStateSet();
    osg::StateSet& ring = *_rings[axis].ring->getOrCreateStateSet();
    shaft.setAttribute(new osg::LineWidth(kShaftLineWidth));
    ring.setAttribute(new osg::LineWidth(kRingLineWidth));
    ring.setDataVariance(osg::Object::DYNAMIC);
  }
}

// The rings are drawn before the scene, which covers them, and once more after it, where only the half in front of the
// disc is drawn.
void ClipBoxControl::traverse(osg::NodeVisitor& visitor) {
  BoxCutterDragger::traverse(visitor);
  osgUtil::CullVisitor* const cull = visitor.asCullVisitor();
  if (cull != nullptr && _type == CUTTER_ROTATE) {
    cull->pushStateSet(_secondPass);
    BoxCutterDragger::traverse(visitor);
    cull->popStateSet();
  }
}

}  // namespace QuorOsgUtils
