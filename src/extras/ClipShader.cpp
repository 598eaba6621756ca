#include "extras/PossibleBox.h"

#include <QuorOsgUtils/ClipShader.h>

#include <osg/Matrixd>
#include <osg/Uniform>
#include <osg/Vec4>
#include <osgUtil/CullVisitor>

#include <algorithm>
#include <cmath>
#include <utility>

namespace QuorOsgUtils {
namespace {

constexpr GLenum kClipDistance0 = 0x3000;

// The signed distance from each box is positive inside. That of the union is the largest, and an excluded box counts
// negatively. The sides' fourth component is the sign.
constexpr const char* kBoxesShader = R"(#version 330 compatibility
uniform int quorClipCount;
uniform mat4 quorClipToBox[8];
uniform vec4 quorClipSides[8];
void clipCloud(vec4 eyePosition) {
  bool anyInside = false;
  float inside = 0.0;
  float outside = 1.0;
  for (int i = 0; i < quorClipCount; ++i) {
    vec3 within = quorClipSides[i].xyz - abs((quorClipToBox[i] * eyePosition).xyz);
    float depth = min(within.x, min(within.y, within.z));
    if (quorClipSides[i].w > 0.0) {
      inside = anyInside ? max(inside, depth) : depth;
      anyInside = true;
    } else {
      outside = min(outside, -depth);
    }
  }
  gl_ClipDistance[0] = anyInside ? min(inside, outside) : outside;
}
)";

constexpr const char* kPlanesShader = R"(#version 330 compatibility
void clipCloud(vec4 eyePosition) {
  gl_ClipVertex = eyePosition;
}
)";

osg::ref_ptr<osg::Shader> createVertexShader(const char* name, const char* source) {
  osg::ref_ptr<osg::Shader> shader = new osg::Shader(osg::Shader::VERTEX, source);
  shader->setName(name);
  return shader;
}

osg::Vec3d halfOf(const osg::BoundingBoxd& box) {
  return (box._max - box._min) * 0.5;
}

osg::Matrixd toParent(const ClipShader::Box& box) {
  return osg::Matrixd::rotate(box.rotation) * osg::Matrixd::translate((box.box._min + box.box._max) * 0.5);
}

/// The least distance from the faces, negative outside.
double depthIn(const ClipShader::Box& box, const osg::Vec3d& point) {
  const osg::Vec3d local = point * osg::Matrixd::inverse(toParent(box));
  const osg::Vec3d half = halfOf(box.box);
  return std::min({half.x() - std::abs(local.x()), half.y() - std::abs(local.y()), half.z() - std::abs(local.z())});
}

// A new object for each frame: the previous one may still be drawn.
osg::ref_ptr<osg::StateSet> createState(const std::vector<ClipShader::Box>& boxes, const osg::Matrixd& modelView) {
  const auto most = static_cast<unsigned int>(ClipShader::kMostBoxes);
  const osg::Matrixd fromEye = osg::Matrixd::inverse(modelView);
  osg::ref_ptr<osg::Uniform> toBox =
      new osg::Uniform(osg::Uniform::FLOAT_MAT4, "quorClipToBox", static_cast<int>(most));
  osg::ref_ptr<osg::Uniform> sides =
      new osg::Uniform(osg::Uniform::FLOAT_VEC4, "quorClipSides", static_cast<int>(most));
  for (unsigned int i = 0; i < boxes.size(); ++i) {
    const float sign = boxes[i].keep == ClipShader::Keep::Inside ? 1.0f : -1.0f;
    toBox->setElement(i, osg::Matrixf(fromEye * osg::Matrixd::inverse(toParent(boxes[i]))));
    sides->setElement(i, osg::Vec4f(osg::Vec3f(halfOf(boxes[i].box)), sign));
  }
  osg::ref_ptr<osg::StateSet> state = new osg::StateSet;
  state->addUniform(new osg::Uniform("quorClipCount", static_cast<int>(boxes.size())));
  state->addUniform(toBox);
  state->addUniform(sides);
  state->setMode(kClipDistance0, osg::StateAttribute::ON);
  return state;
}

}  // namespace

ClipShader::ClipShader() = default;

ClipShader::~ClipShader() = default;

ClipShader::Box ClipShader::boxOf(const ClipBoxState& state, Keep keep) {
  return {state.box, state.rotation, keep};
}

osg::ref_ptr<osg::Shader> ClipShader::createShader() {
  return createVertexShader("clip boxes", kBoxesShader);
}

osg::ref_ptr<osg::Shader> ClipShader::createPlanesShader() {
  return createVertexShader("clip planes", kPlanesShader);
}

bool ClipShader::setBoxes(std::vector<Box> boxes) {
  const bool arePossible =
      std::all_of(boxes.begin(), boxes.end(), [](const Box& box) { return isPossibleBox(box.box, box.rotation); });
  if (boxes.size() > kMostBoxes || !arePossible) {
    return false;
  }
  _boxes = std::move(boxes);
  return true;
}

bool ClipShader::keeps(const osg::Vec3d& point) const {
  bool anyInside = false;
  bool isIncluded = false;
  for (const Box& box : _boxes) {
    const double depth = depthIn(box, point);
    if (box.keep == Keep::Outside && depth > 0.0) {
      return false;
    }
    anyInside = anyInside || box.keep == Keep::Inside;
    isIncluded = isIncluded || (box.keep == Keep::Inside && depth >= 0.0);
  }
  return isIncluded || !anyInside;
}

void ClipShader::operator()(osg::Node* node, osg::NodeVisitor* visitor) {
  osgUtil::CullVisitor* const cull = visitor->asCullVisitor();
  if (cull == nullptr) {
    traverse(node, visitor);
    return;
  }
  const osg::ref_ptr<osg::StateSet> state = createState(_boxes, *cull->getModelViewMatrix());
  cull->pushStateSet(state);
  traverse(node, visitor);
  cull->popStateSet();
}

}  // namespace QuorOsgUtils
