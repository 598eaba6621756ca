#include "viewer/render/PointCloud.h"

#include "viewer/render/ShaderProgram.h"

#include <QuorOsgUtils/CapturedCamera.h>

#include <osg/Depth>
#include <osg/Geometry>
#include <osg/MatrixTransform>
#include <osg/NodeVisitor>
#include <osg/PointSprite>
#include <osg/Texture2D>

#include <algorithm>

namespace QuorViewer {
namespace {

// Generic attributes that share a location with no conventional one (vertex 0, colour 3, …) on any driver.
constexpr unsigned int kRecordAttribute = 1;
constexpr unsigned int kIntensityAttribute = 6;
constexpr unsigned int kCodesAttribute = 7;
constexpr int kRampUnit = 0;
constexpr int kClassUnit = 1;

constexpr const char* kVertexShader = R"(#version 330 compatibility
layout(location = 1) in uint record;      // of a node's point: its index in the file
layout(location = 6) in uint intensity;
layout(location = 7) in uvec2 codes;      // classification; return number and number of returns in 4 bits each

uniform int colourMode;
uniform float pointSizePixels;
uniform float spacing;                    // of a node's points in world units; 0: the point size is the same everywhere
uniform float pixelsPerUnit;              // at distance 1, or everywhere in an orthographic projection
uniform vec3 nodeOrigin;                  // relative to the local origin
uniform vec2 elevationRange;
uniform vec2 intensityRange;
uniform float rampExponent;
uniform sampler2D ramp;
uniform sampler2D classColours;
uniform uvec2 firstPoint;                 // low and high half of the chunk's first index
uniform uvec3 runs;                       // points in a run, distance of runs, distance of points, in the file; or 0
uniform uint scanNumber;

flat out vec3 pointColour;
flat out uvec4 identifier;
flat out vec4 position;
flat out float value;
flat out ivec4 attributes;
flat out float width;

float share(float v, vec2 range) { return clamp((v - range.x) / (range.y - range.x), 0.0, 1.0); }

vec3 onRamp(float place) { return texture(ramp, vec2(mix(0.5, 255.5, place) / 256.0, 0.5)).rgb; }

vec3 colourOfPoint() {
  if (colourMode == 1) return vec3(mix(0.12, 1.0, share(float(intensity), intensityRange)));
  if (colourMode == 2) return onRamp(pow(share(gl_Vertex.z + nodeOrigin.z, elevationRange), rampExponent));
  if (colourMode == 3) return texelFetch(classColours, ivec2(int(codes.x), 0), 0).rgb;
  return gl_Color.rgb;
}

uint lowHalfOfPoint() {
  uint place = uint(gl_VertexID);
  return runs.x == 0U ? record : firstPoint.x + place / runs.x * runs.y + place % runs.x * runs.z;
}

// As wide as the points are apart, so that a coarse node has no gaps.
float widthOfPoint(float w) {
  return clamp(spacing * pixelsPerUnit / w, pointSizePixels, 4.0 * pointSizePixels);
}

void main() {
  uint low = lowHalfOfPoint();
  uint carry = low < firstPoint.x ? 1U : 0U;
  pointColour = colourOfPoint();
  identifier = uvec4(scanNumber, low, firstPoint.y + carry, 1U);
  position = vec4(gl_Vertex.xyz + nodeOrigin, 1.0);
  value = float(intensity);
  attributes = ivec4(int(low), int(codes.x), int(codes.y & 15U), int(codes.y >> 4U));
  gl_ClipVertex = gl_ModelViewMatrix * gl_Vertex;
  gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
  width = widthOfPoint(gl_Position.w);
  gl_PointSize = width;
}
)";

constexpr const char* kFragmentShader = R"(#version 330 compatibility
flat in vec3 pointColour;
flat in uvec4 identifier;
flat in vec4 position;
flat in float value;
flat in ivec4 attributes;
flat in float width;

layout(location = 0) out vec4 colour;
layout(location = 1) out uvec4 identifierOut;
layout(location = 2) out vec4 positionOut;
layout(location = 3) out vec4 valueOut;
layout(location = 4) out ivec4 attributesOut;

void main() {
  // In a point of one pixel some drivers put the coordinate into a corner.
  vec2 fromCentre = gl_PointCoord * 2.0 - 1.0;
  if (width > 1.0 && dot(fromCentre, fromCentre) > 1.0) discard;
  colour = vec4(pointColour, 1.0);
  identifierOut = identifier;
  positionOut = position;
  valueOut = vec4(value, 0.0, 0.0, 1.0);
  attributesOut = attributes;
}
)";

// Intersectors never hit points, so they skip the cloud instead of testing every point at each press of a button.
class UnseenByRays : public osg::Group {
 public:
  void traverse(osg::NodeVisitor& visitor) override {
    if (visitor.getVisitorType() != osg::NodeVisitor::INTERSECTION_VISITOR) {
      osg::Group::traverse(visitor);
    }
  }
};

struct KnownBounds : osg::Drawable::ComputeBoundingBoxCallback {
  explicit KnownBounds(const osg::BoundingBox& box) : bounds(box) {}
  osg::BoundingBox computeBound(const osg::Drawable& /*drawable*/) const override { return bounds; }
  osg::BoundingBox bounds;
};

osg::ref_ptr<osg::Texture2D> createLookUp(osg::Image* image, osg::Texture::FilterMode filter) {
  osg::ref_ptr<osg::Texture2D> texture = new osg::Texture2D(image);
  texture->setFilter(osg::Texture::MIN_FILTER, filter);
  texture->setFilter(osg::Texture::MAG_FILTER, filter);
  texture->setWrap(osg::Texture::WRAP_S, osg::Texture::CLAMP_TO_EDGE);
  texture->setWrap(osg::Texture::WRAP_T, osg::Texture::CLAMP_TO_EDGE);
  return texture;
}

void setUpState(osg::StateSet& state) {
  state.setAttribute(createProgram("points", kVertexShader, kFragmentShader));
  state.setTextureAttribute(kRampUnit, createLookUp(createRampImage(), osg::Texture::LINEAR));
  state.setTextureAttribute(kClassUnit, createLookUp(createClassImage(), osg::Texture::NEAREST));
  state.addUniform(new osg::Uniform("ramp", kRampUnit));
  state.addUniform(new osg::Uniform("rampExponent", kElevationExponent));
  state.addUniform(new osg::Uniform("classColours", kClassUnit));
  state.setAttributeAndModes(new osg::Depth(osg::Depth::LESS, 0.0, 1.0, true));
  state.setMode(GL_POINT_SPRITE_ARB, osg::StateAttribute::ON);
  state.setMode(GL_VERTEX_PROGRAM_POINT_SIZE, osg::StateAttribute::ON);
  state.setMode(GL_LIGHTING, osg::StateAttribute::OFF);
  state.setMode(GL_BLEND, osg::StateAttribute::OFF);
  state.setRenderBinDetails(DrawOrder::kCloud, "RenderBin");
  QuorOsgUtils::CapturedCamera::writeAllAttachments(state);
}

unsigned int halfOf(std::uint64_t number, unsigned int half) {
  return static_cast<unsigned int>(number >> (32U * half) & 0xFFFFFFFFU);
}

void setIntegerAttribute(osg::Geometry& geometry, unsigned int index, osg::Array* array) {
  array->setPreserveDataType(true);
  geometry.setVertexAttribArray(index, array, osg::Array::BIND_PER_VERTEX);
}

/// Of a chunk or a node.
template <typename Points>
osg::ref_ptr<osg::Geometry> createDrawable(const Points& points) {
  osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
  geometry->setUseDisplayList(false);
  geometry->setUseVertexBufferObjects(true);
  geometry->setVertexArray(points.positions);
  points.colours->setNormalize(true);
  geometry->setColorArray(points.colours, osg::Array::BIND_PER_VERTEX);
  setIntegerAttribute(*geometry, kIntensityAttribute, points.intensities);
  setIntegerAttribute(*geometry, kCodesAttribute, points.classesReturns);
  geometry->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, static_cast<GLsizei>(points.positions->size())));
  geometry->setComputeBoundingBoxCallback(new KnownBounds(points.bounds));
  return geometry;
}

}  // namespace

PointCloud::PointCloud()
    : _node(new UnseenByRays),
      _modeUniform(new osg::Uniform("colourMode", 0)),
      _sizeUniform(new osg::Uniform("pointSizePixels", 1.0f)),
      _scaleUniform(new osg::Uniform("pixelsPerUnit", 0.0f)),
      _elevationUniform(new osg::Uniform("elevationRange", osg::Vec2f(0.0f, 1.0f))),
      _intensityUniform(new osg::Uniform("intensityRange", osg::Vec2f(0.0f, 1.0f))) {
  osg::StateSet& state = *_node->getOrCreateStateSet();
  setUpState(state);
  for (osg::Uniform* uniform : {_modeUniform.get(), _sizeUniform.get(), _scaleUniform.get(), _elevationUniform.get(),
                                _intensityUniform.get()}) {
    state.addUniform(uniform);
  }
  state.addUniform(new osg::Uniform("spacing", 0.0f));
  state.addUniform(new osg::Uniform("nodeOrigin", osg::Vec3f()));
  setColourMode(_mode);
  constexpr float kFirstSizePixels = 3.0f;
  setPointSizePixels(kFirstSizePixels);
}

void PointCloud::add(unsigned int scanNumber, const PointChunk& chunk) {
  osg::ref_ptr<osg::Geometry> drawable = createDrawable(chunk);
  osg::StateSet& state = *drawable->getOrCreateStateSet();
  const PointRange& points = chunk.points;
  state.addUniform(new osg::Uniform("firstPoint", halfOf(points.first, 0), halfOf(points.first, 1)));
  state.addUniform(new osg::Uniform("runs", points.perRun, halfOf(points.runStep, 0), halfOf(points.step, 0)));
  state.addUniform(new osg::Uniform("scanNumber", scanNumber));
  Part& part = _partOf(scanNumber);
  part.node->addChild(drawable);
  part.bounds.expandBy(chunk.bounds);
}

PointCloud::Part& PointCloud::_partOf(unsigned int scanNumber) {
  Part& part = _parts[scanNumber];
  if (!part.node) {
    part.node = new osg::Group;
    _node->addChild(part.node);
  }
  return part;
}

void PointCloud::setBounds(unsigned int scanNumber, const osg::BoundingBox& bounds) {
  _partOf(scanNumber).bounds = bounds;
}

osg::ref_ptr<osg::Node> PointCloud::addNode(unsigned int scanNumber, const NodePoints& points,
                                            const osg::Vec3d& localOrigin) {
  osg::ref_ptr<osg::Geometry> drawable = createDrawable(points);
  setIntegerAttribute(*drawable, kRecordAttribute, points.records);
  osg::ref_ptr<osg::MatrixTransform> node = new osg::MatrixTransform;
  node->setMatrix(osg::Matrixd::translate(points.origin - localOrigin));
  node->addChild(drawable);
  osg::StateSet& state = *node->getOrCreateStateSet();
  state.addUniform(new osg::Uniform("firstPoint", 0U, 0U));
  state.addUniform(new osg::Uniform("runs", 0U, 0U, 0U));
  state.addUniform(new osg::Uniform("scanNumber", scanNumber));
  state.addUniform(new osg::Uniform("nodeOrigin", osg::Vec3f(points.origin - localOrigin)));
  state.addUniform(new osg::Uniform("spacing", 0.0f));
  _partOf(scanNumber).node->addChild(node);
  return node;
}

void PointCloud::setSpacing(osg::Node& node, float spacing) {
  node.getStateSet()->getUniform("spacing")->set(spacing);
}

void PointCloud::setDrawnPoints(osg::Node& node, std::uint32_t count) {
  osg::Geometry& geometry = *node.asGroup()->getChild(0)->asGeometry();
  const std::uint32_t all = geometry.getVertexArray()->getNumElements();
  static_cast<osg::DrawArrays*>(geometry.getPrimitiveSet(0))->setCount(static_cast<GLsizei>(std::min(count, all)));
}

void PointCloud::setPixelsPerUnit(float pixels) {
  _scaleUniform->set(pixels);
}

osg::Group* PointCloud::groupOf(unsigned int scanNumber) {
  return _partOf(scanNumber).node;
}

osg::ref_ptr<osg::Node> PointCloud::release(unsigned int scanNumber) {
  const auto found = _parts.find(scanNumber);
  if (found == _parts.end()) {
    return nullptr;
  }
  osg::ref_ptr<osg::Node> node = found->second.node;
  _parts.erase(found);
  return node;
}

osg::BoundingBox PointCloud::bounds() const {
  osg::BoundingBox bounds;
  for (const auto& [scan, part] : _parts) {
    bounds.expandBy(part.bounds);
  }
  return bounds;
}

osg::BoundingBox PointCloud::boundsOf(unsigned int scanNumber) const {
  const auto found = _parts.find(scanNumber);
  return found != _parts.end() ? found->second.bounds : osg::BoundingBox();
}

void PointCloud::setColourMode(ColourMode mode) {
  _mode = mode;
  _modeUniform->set(static_cast<int>(mode));
}

void PointCloud::setElevationRange(std::pair<float, float> range) {
  _elevationUniform->set(osg::Vec2f(range.first, range.second));
}

void PointCloud::setIntensityRange(std::pair<float, float> range) {
  _intensityUniform->set(osg::Vec2f(range.first, range.second));
}

void PointCloud::setPointSizePixels(float pixels) {
  _sizePixels = std::clamp(pixels, kSmallestPixels, kLargestPixels);
  _sizeUniform->set(_sizePixels);
}

}  // namespace QuorViewer
