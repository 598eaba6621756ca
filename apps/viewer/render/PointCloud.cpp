#include "viewer/render/PointCloud.h"

#include "viewer/render/CaptureTarget.h"
#include "viewer/render/ShaderProgram.h"

#include <osg/Depth>
#include <osg/Geometry>
#include <osg/NodeVisitor>
#include <osg/PointSprite>
#include <osg/Texture2D>

#include <algorithm>

namespace QuorViewer {
namespace {

// Generic attributes that share a location with no conventional one (vertex 0, colour 3, …) on any driver.
constexpr unsigned int kIntensityAttribute = 6;
constexpr unsigned int kCodesAttribute = 7;
constexpr int kRampUnit = 0;
constexpr int kClassUnit = 1;

constexpr const char* kVertexShader = R"(#version 330 compatibility
layout(location = 6) in uint intensity;
layout(location = 7) in uvec2 codes;      // classification; return number and number of returns in 4 bits each

uniform int colourMode;
uniform float pointSizePixels;
uniform vec2 elevationRange;
uniform vec2 intensityRange;
uniform float rampExponent;
uniform sampler2D ramp;
uniform sampler2D classColours;
uniform uvec2 firstPoint;                 // low and high half of the chunk's first index
uniform uvec3 runs;                       // points in a run, distance of runs, distance of points, in the file
uniform uint scanNumber;

flat out vec3 pointColour;
flat out uvec4 identifier;
flat out vec4 position;
flat out float value;
flat out ivec4 attributes;

float share(float v, vec2 range) { return clamp((v - range.x) / (range.y - range.x), 0.0, 1.0); }

vec3 onRamp(float place) { return texture(ramp, vec2(mix(0.5, 255.5, place) / 256.0, 0.5)).rgb; }

vec3 colourOfPoint() {
  if (colourMode == 1) return vec3(mix(0.12, 1.0, share(float(intensity), intensityRange)));
  if (colourMode == 2) return onRamp(pow(share(gl_Vertex.z, elevationRange), rampExponent));
  if (colourMode == 3) return texelFetch(classColours, ivec2(int(codes.x), 0), 0).rgb;
  return gl_Color.rgb;
}

void main() {
  uint place = uint(gl_VertexID);
  uint low = firstPoint.x + place / runs.x * runs.y + place % runs.x * runs.z;
  uint carry = low < firstPoint.x ? 1U : 0U;
  pointColour = colourOfPoint();
  identifier = uvec4(scanNumber, low, firstPoint.y + carry, 1U);
  position = vec4(gl_Vertex.xyz, 1.0);
  value = float(intensity);
  attributes = ivec4(int(low), int(codes.x), int(codes.y & 15U), int(codes.y >> 4U));
  gl_PointSize = pointSizePixels;
  gl_ClipVertex = gl_ModelViewMatrix * gl_Vertex;
  gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
}
)";

constexpr const char* kFragmentShader = R"(#version 330 compatibility
flat in vec3 pointColour;
flat in uvec4 identifier;
flat in vec4 position;
flat in float value;
flat in ivec4 attributes;

layout(location = 0) out vec4 colour;
layout(location = 1) out uvec4 identifierOut;
layout(location = 2) out vec4 positionOut;
layout(location = 3) out vec4 valueOut;
layout(location = 4) out ivec4 attributesOut;

void main() {
  vec2 fromCentre = gl_PointCoord * 2.0 - 1.0;
  if (dot(fromCentre, fromCentre) > 1.0) discard;
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
  CaptureTarget::writeAllAttachments(state);
}

unsigned int halfOf(std::uint64_t number, unsigned int half) {
  return static_cast<unsigned int>(number >> (32U * half) & 0xFFFFFFFFU);
}

void setIntegerAttribute(osg::Geometry& geometry, unsigned int index, osg::Array* array) {
  array->setPreserveDataType(true);
  geometry.setVertexAttribArray(index, array, osg::Array::BIND_PER_VERTEX);
}

osg::ref_ptr<osg::Geometry> createDrawable(const PointChunk& chunk) {
  osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
  geometry->setUseDisplayList(false);
  geometry->setUseVertexBufferObjects(true);
  geometry->setVertexArray(chunk.positions);
  chunk.colours->setNormalize(true);
  geometry->setColorArray(chunk.colours, osg::Array::BIND_PER_VERTEX);
  setIntegerAttribute(*geometry, kIntensityAttribute, chunk.intensities);
  setIntegerAttribute(*geometry, kCodesAttribute, chunk.classesReturns);
  geometry->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, static_cast<GLsizei>(chunk.positions->size())));
  geometry->setComputeBoundingBoxCallback(new KnownBounds(chunk.bounds));
  return geometry;
}

}  // namespace

PointCloud::PointCloud()
    : _node(new UnseenByRays),
      _modeUniform(new osg::Uniform("colourMode", 0)),
      _sizeUniform(new osg::Uniform("pointSizePixels", 1.0f)),
      _elevationUniform(new osg::Uniform("elevationRange", osg::Vec2f(0.0f, 1.0f))),
      _intensityUniform(new osg::Uniform("intensityRange", osg::Vec2f(0.0f, 1.0f))) {
  osg::StateSet& state = *_node->getOrCreateStateSet();
  setUpState(state);
  for (osg::Uniform* uniform :
       {_modeUniform.get(), _sizeUniform.get(), _elevationUniform.get(), _intensityUniform.get()}) {
    state.addUniform(uniform);
  }
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
  Part& part = _parts[scanNumber];
  if (!part.node) {
    part.node = new osg::Group;
    _node->addChild(part.node);
  }
  part.node->addChild(drawable);
  part.bounds.expandBy(chunk.bounds);
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
  constexpr float kSmallestPixels = 1.0f;
  constexpr float kLargestPixels = 32.0f;
  _sizePixels = std::clamp(pixels, kSmallestPixels, kLargestPixels);
  _sizeUniform->set(_sizePixels);
}

}  // namespace QuorViewer
