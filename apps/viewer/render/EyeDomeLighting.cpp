#include "viewer/render/EyeDomeLighting.h"

#include "viewer/render/ShaderProgram.h"

#include <osg/BlendFunc>
#include <osg/Texture2D>
#include <osg/Uniform>
#include <osg/Viewport>

namespace QuorViewer {
namespace {

constexpr float kRadiusPixels = 1.6f;
constexpr float kStrength = 1.0f;

// The distance from the eye follows from the depth by inverting the projection: with z the eye coordinate,
//   depth × 2 − 1 = (P22 z + P32) / (P23 z + P33),
// for perspective and orthographic matrices alike. A step between neighbours is divided by the height that the image
// shows at that distance (2 w / P11), so that zooming does not change the darkness.
constexpr const char* kFragmentShader = R"(#version 330 compatibility
uniform sampler2D depths;
uniform float radiusPixels;
uniform float strength;
layout(location = 0) out vec4 shade;

const float background = 1.0;
const float greatestStep = 0.010;   // of the picture's height: deeper steps look no darker
const float stepGain = 160.0;

float eyeZ(float depth) {
  mat4 p = gl_ProjectionMatrix;
  float device = depth * 2.0 - 1.0;
  return (device * p[3][3] - p[3][2]) / (p[2][2] - device * p[2][3]);
}

// How far the surface at an offset stands out towards the eye, as a share of the picture's height.
bool standsOut(vec2 offset, float z, float pictureHeight, out float share) {
  vec2 size = vec2(textureSize(depths, 0));
  float depth = texture(depths, (gl_FragCoord.xy + offset) / size).r;
  share = (eyeZ(depth) - z) / pictureHeight;
  return depth != background;
}

void main() {
  float depth = texelFetch(depths, ivec2(gl_FragCoord.xy), 0).r;
  if (depth == background) discard;
  mat4 p = gl_ProjectionMatrix;
  float z = eyeZ(depth);
  float pictureHeight = 2.0 * (p[2][3] * z + p[3][3]) / p[1][1];

  // Opposite neighbours are taken together: on a plane, however tilted, what one is nearer the other is farther.
  float sum = 0.0;
  for (int i = 0; i < 8; ++i) {
    float angle = float(i % 4) * 0.78539816;
    vec2 offset = (i < 4 ? 1.0 : 2.2) * radiusPixels * vec2(cos(angle), sin(angle));
    float ahead, behind;
    if (standsOut(offset, z, pictureHeight, ahead) && standsOut(-offset, z, pictureHeight, behind)) {
      sum += clamp(ahead + behind, 0.0, greatestStep) * (i < 4 ? 0.6 : 0.4);
    }
  }
  shade = vec4(vec3(exp(-strength * stepGain * sum / 4.0)), 1.0);
}
)";

osg::ref_ptr<osg::Texture2D> createDepthTexture() {
  osg::ref_ptr<osg::Texture2D> depths = new osg::Texture2D;
  depths->setInternalFormat(GL_DEPTH_COMPONENT32F);
  depths->setSourceFormat(GL_DEPTH_COMPONENT);
  depths->setSourceType(GL_FLOAT);
  depths->setFilter(osg::Texture::MIN_FILTER, osg::Texture::NEAREST);
  depths->setFilter(osg::Texture::MAG_FILTER, osg::Texture::NEAREST);
  depths->setWrap(osg::Texture::WRAP_S, osg::Texture::CLAMP_TO_EDGE);
  depths->setWrap(osg::Texture::WRAP_T, osg::Texture::CLAMP_TO_EDGE);
  depths->setResizeNonPowerOfTwoHint(false);
  return depths;
}

// Copies the depth drawn so far, in the size of the viewport, before it draws.
class DepthShadingPass : public osg::Geometry {
 public:
  explicit DepthShadingPass(osg::Texture2D* depthCopy) : _depthCopy(depthCopy) {}

  void drawImplementation(osg::RenderInfo& renderInfo) const override {
    osg::State& state = *renderInfo.getState();
    const osg::Viewport& viewport = *state.getCurrentViewport();
    state.setActiveTextureUnit(0);
    _depthCopy->copyTexImage2D(state, 0, 0, static_cast<int>(viewport.width()), static_cast<int>(viewport.height()));
    osg::Geometry::drawImplementation(renderInfo);
  }

 private:
  osg::ref_ptr<osg::Texture2D> _depthCopy;
};

}  // namespace

EyeDomeLighting::EyeDomeLighting() {
  const osg::ref_ptr<osg::Texture2D> depthCopy = createDepthTexture();
  osg::ref_ptr<DepthShadingPass> pass = new DepthShadingPass(depthCopy);
  becomeFullScreenPass(*pass, "eye-dome lighting", kFragmentShader);
  osg::StateSet& state = *pass->getOrCreateStateSet();
  state.setTextureAttribute(0, depthCopy);
  state.addUniform(new osg::Uniform("depths", 0));
  state.addUniform(new osg::Uniform("radiusPixels", kRadiusPixels));
  state.addUniform(new osg::Uniform("strength", kStrength));
  state.setAttributeAndModes(new osg::BlendFunc(GL_ZERO, GL_SRC_COLOR));
  state.setRenderBinDetails(DrawOrder::kEyeDome, "RenderBin");
  _node = pass;
}

bool EyeDomeLighting::isOn() const {
  return _node->getNodeMask() != 0U;
}

void EyeDomeLighting::setOn(bool on) {
  _node->setNodeMask(on ? ~0U : 0U);
}

}  // namespace QuorViewer
