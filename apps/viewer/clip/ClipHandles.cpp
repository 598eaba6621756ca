#include "viewer/clip/ClipHandles.h"

#include "viewer/render/ShaderProgram.h"

#include <osg/BlendFunc>
#include <osg/CullFace>
#include <osg/Depth>
#include <osg/LineWidth>
#include <osg/NodeVisitor>
#include <osg/Transform>
#include <osg/Uniform>

#include <cmath>

namespace QuorViewer {
namespace {

// The kinds of drawable, as the shaders expect them.
constexpr int kSolid = 1;
constexpr int kRing = 2;

constexpr float kOutlineWidthPixels = 1.5f;
constexpr float kArrowLengthPixels = 150.0f;
constexpr float kRingPickRadius = 1.1f;
// At the ring's nearest point to the eye a drag may rotate either way; this far beside it the direction is clear.
constexpr double kBesideNearestDegrees = 20.0;
constexpr double kLeastSightDegrees = 5.0;

const osg::Vec4f kXColour(0.93f, 0.27f, 0.26f, 1.0f);
const osg::Vec4f kYColour(0.42f, 0.80f, 0.30f, 1.0f);
const osg::Vec4f kZColour(0.27f, 0.56f, 0.98f, 1.0f);
const osg::Vec4f kBoxColour(0.95f, 0.86f, 0.66f, 1.0f);

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
// the half behind the disc.
constexpr const char* kFragmentShader = R"(#version 330 compatibility
uniform int kind;
uniform bool secondPass;
flat in vec4 base;
in vec3 normal;
layout(location = 0) out vec4 colour;
void main() {
  if (secondPass && (base.a < 1.0 || (kind == 2 && normal.z < 0.0))) discard;
  float facing = kind == 1 ? max(normalize(normal).z, 0.0) : 1.0;
  float shine = kind == 1 ? 0.35 * pow(facing, 24.0) : 0.0;
  colour = vec4(base.rgb * (0.35 + 0.65 * facing) + shine, base.a);
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

osg::Matrixd toScene(const osg::Node& node) {
  const osg::NodePathList paths = node.getParentalNodePaths();
  return paths.empty() ? osg::Matrixd() : osg::computeLocalToWorld(paths.front(), true);
}

}  // namespace

ClipHandles::ClipHandles(const osg::BoundingBoxf& box, osg::ClipNode* clipNode) : BoxCutterDragger(box, clipNode) {
  setXColor(kXColour);
  setYColor(kYColour);
  setZColor(kZColour);
  setBoxColor(kBoxColour);
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
}

void ClipHandles::setUpState(osg::StateSet& state) {
  state.setAttribute(createProgram("clip box handles", kVertexShader, kFragmentShader));
  state.addUniform(new osg::Uniform("kind", 0));
  state.addUniform(new osg::Uniform("secondPass", false));
  state.setAttribute(createDepth(1.0));
  state.setAttributeAndModes(new osg::BlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA));
  state.setMode(GL_LINE_SMOOTH, osg::StateAttribute::ON);
}

void ClipHandles::setUpStateOfSecondRingPass(osg::StateSet& state) {
  setUpState(state);
  state.addUniform(new osg::Uniform("secondPass", true));
  state.setRenderBinDetails(DrawOrder::kHandles, "RenderBin", osg::StateSet::OVERRIDE_RENDERBIN_DETAILS);
}

HandlePath ClipHandles::pathOfFace(std::size_t face, double share) const {
  const osg::Vec3d from = osg::Vec3d() * toScene(*_faces.at(face).cone);
  const std::size_t axis = face / 2;
  const double inwards = face % 2 == 0 ? share : -share;
  return {from, from + _directionOf(axis) * (inwards * _extentAlong(axis))};
}

HandlePath ClipHandles::pathOfAxis(std::size_t axis, double share) const {
  const osg::Vec3d from = osg::Vec3d(0.0, 0.0, kArrowLengthPixels) * toScene(*_axes.at(axis).head);
  return {from, from + _directionOf(axis) * (share * _extentAlong(axis))};
}

HandlePath ClipHandles::pathOfRing(std::size_t axis, double degrees, const osg::Vec3d& eye) const {
  const osg::Matrixd matrix = toScene(*_rings.at(axis).ring);
  const osg::Vec3d seenFrom = eye * osg::Matrixd::inverse(matrix);
  const double start =
      std::atan2(seenFrom.y(), seenFrom.x()) + osg::DegreesToRadians(std::copysign(kBesideNearestDegrees, degrees));
  const auto placeAt = [&](double radians) {
    return osg::Vec3d(kRingPickRadius * std::cos(radians), kRingPickRadius * std::sin(radians), 0.0) * matrix;
  };
  return {placeAt(start), placeAt(start + osg::DegreesToRadians(degrees))};
}

bool ClipHandles::handle(const QuorOsgUtils::BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                         osgGA::GUIActionAdapter& aa) {
  const bool blind = ea.getEventType() == osgGA::GUIEventAdapter::PUSH && _pointsAtEye(pointer);
  return !blind && BoxCutterDragger::handle(pointer, ea, aa);
}

bool ClipHandles::_pointsAtEye(const QuorOsgUtils::BoxPointerInfo& pointer) const {
  const double leastSine = std::sin(osg::DegreesToRadians(kLeastSightDegrees));
  osg::Vec3d nearPoint, farPoint;
  pointer.getNearFarPoints(nearPoint, farPoint);
  osg::Vec3d sight = farPoint - nearPoint;
  sight.normalize();
  for (std::size_t axis = 0; axis < _axes.size(); ++axis) {
    const bool hit = pointer.contains(_faces.at(2 * axis).transform) ||
                     pointer.contains(_faces.at(2 * axis + 1).transform) || pointer.contains(_axes.at(axis).transform);
    if (hit && (sight ^ _directionOf(axis)).length() < leastSine) {
      return true;
    }
  }
  return false;
}

osg::Vec3d ClipHandles::_directionOf(std::size_t axis) const {
  osg::Vec3d direction;
  direction[static_cast<int>(axis)] = 1.0;
  return osg::Matrixd::transform3x3(direction, getMatrix());
}

double ClipHandles::_extentAlong(std::size_t axis) const {
  const int component = static_cast<int>(axis);
  return static_cast<double>(_box._max[component]) - _box._min[component];
}

}  // namespace QuorViewer
