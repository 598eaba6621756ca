#include "viewer/measure/PickMarker.h"

#include "viewer/render/ShaderProgram.h"

#include <osg/BlendFunc>
#include <osg/CullStack>
#include <osg/Depth>
#include <osg/LineWidth>
#include <osg/NodeVisitor>
#include <osg/PointSprite>

#include <algorithm>

namespace QuorViewer {
namespace {

constexpr const char* kRingVertexShader = R"(#version 330 compatibility
flat out float latest;
const float sizePixels = 25.0;
void main() {
  latest = float(gl_VertexID);
  gl_PointSize = sizePixels;
  gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
}
)";

// A ring with a dot in the middle, both with dark edges, so that it is visible on any colour.
constexpr const char* kRingFragmentShader = R"(#version 330 compatibility
flat in float latest;
layout(location = 0) out vec4 colour;
const float halfSizePixels = 12.5;
float band(float radius, float middle, float halfWidth) {
  return 1.0 - smoothstep(halfWidth - 0.5, halfWidth + 0.5, abs(radius - middle));
}
void main() {
  float radius = length(gl_PointCoord * 2.0 - 1.0) * halfSizePixels;
  float bright = max(band(radius, 9.0, 1.2), band(radius, 0.0, 1.8));
  float dark = max(band(radius, 9.0, 2.6), band(radius, 0.0, 3.2));
  vec3 accent = mix(vec3(0.80, 0.84, 0.90), vec3(1.0, 0.72, 0.16), latest);
  colour = vec4(mix(vec3(0.0), accent, bright), max(bright, 0.65 * dark));
}
)";

constexpr const char* kLineVertexShader = R"(#version 330 compatibility
void main() { gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex; }
)";

constexpr const char* kLineFragmentShader = R"(#version 330 compatibility
layout(location = 0) out vec4 colour;
void main() { colour = vec4(1.0, 0.82, 0.45, 0.9); }
)";

constexpr float kLineWidthPixels = 1.5f;

// OSG does not draw what is smaller than a few pixels. The bounds of a single pick, and of two picks of one point, are
// a point, but its rings are always large. The frustum still culls them, so that a marker out of sight does not move
// the near and far planes.
class OfAnySize : public osg::Group {
 public:
  OfAnySize() { setCullingActive(false); }
  void traverse(osg::NodeVisitor& visitor) override {
    auto* const stack = dynamic_cast<osg::CullStack*>(&visitor);
    if (stack == nullptr) {
      return osg::Group::traverse(visitor);
    }
    const osg::CullingSet::Mask before = stack->getCurrentCullingSet().getCullingMask();
    stack->getCurrentCullingSet().setCullingMask(before & ~osg::CullingSet::SMALL_FEATURE_CULLING);
    osg::Group::traverse(visitor);
    stack->getCurrentCullingSet().setCullingMask(before);
  }
};

osg::ref_ptr<osg::Geometry> createGeometry(osg::Vec3Array* points, osg::DrawArrays* primitive) {
  osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
  geometry->setUseDisplayList(false);
  geometry->setUseVertexBufferObjects(true);
  geometry->setDataVariance(osg::Object::DYNAMIC);
  geometry->setVertexArray(points);
  geometry->addPrimitiveSet(primitive);
  return geometry;
}

void setUpState(osg::StateSet& state) {
  state.setAttributeAndModes(new osg::Depth(osg::Depth::ALWAYS, 0.0, 1.0, false), osg::StateAttribute::OFF);
  state.setAttributeAndModes(new osg::BlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA));
  state.setMode(GL_POINT_SPRITE_ARB, osg::StateAttribute::ON);
  state.setMode(GL_VERTEX_PROGRAM_POINT_SIZE, osg::StateAttribute::ON);
  state.setMode(GL_LIGHTING, osg::StateAttribute::OFF);
  state.setRenderBinDetails(DrawOrder::kPickMarker, "RenderBin");
}

}  // namespace

PickMarker::PickMarker()
    : _node(new OfAnySize),
      _points(new osg::Vec3Array(2)),
      _rings(new osg::DrawArrays(GL_POINTS, 0, 0)),
      _line(new osg::DrawArrays(GL_LINES, 0, 0)) {
  osg::ref_ptr<osg::Geometry> line = createGeometry(_points, _line);
  line->getOrCreateStateSet()->setAttribute(createProgram("pick line", kLineVertexShader, kLineFragmentShader));
  line->getOrCreateStateSet()->setAttribute(new osg::LineWidth(kLineWidthPixels));
  osg::ref_ptr<osg::Geometry> rings = createGeometry(_points, _rings);
  rings->getOrCreateStateSet()->setAttribute(createProgram("pick rings", kRingVertexShader, kRingFragmentShader));
  setUpState(*_node->getOrCreateStateSet());
  _node->addChild(line);
  _node->addChild(rings);
  clear();
}

void PickMarker::mark(const osg::Vec3d& point) {
  (*_points)[0] = _count == 0 ? osg::Vec3(point) : (*_points)[1];
  (*_points)[1] = point;
  _points->dirty();
  _show(std::min(_count + 1, 2U));
}

void PickMarker::clear() {
  _show(0);
}

void PickMarker::_show(unsigned int count) {
  _count = count;
  _rings->setFirst(count == 1 ? 1 : 0);
  _rings->setCount(static_cast<GLsizei>(count));
  _line->setCount(count == 2 ? 2 : 0);
  for (unsigned int child = 0; child < _node->getNumChildren(); ++child) {
    _node->getChild(child)->dirtyBound();
  }
  _node->setNodeMask(count > 0 ? ~0U : 0U);
}

}  // namespace QuorViewer
