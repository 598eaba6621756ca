#include "viewer/render/Background.h"

#include "viewer/render/ShaderProgram.h"

namespace QuorViewer {
namespace {

// Noise of half a step hides the banding that this shallow gradient would show at eight bits.
constexpr const char* kFragmentShader = R"(#version 330 compatibility
in vec2 window;
layout(location = 0) out vec4 colour;
const vec3 low = vec3(0.205, 0.225, 0.255);
const vec3 high = vec3(0.060, 0.072, 0.094);
void main() {
  float noise = fract(sin(dot(gl_FragCoord.xy, vec2(12.9898, 78.233))) * 43758.5453) - 0.5;
  colour = vec4(mix(low, high, smoothstep(0.0, 1.0, window.y)) + noise / 255.0, 1.0);
}
)";

}  // namespace

osg::ref_ptr<osg::Node> createBackground() {
  osg::ref_ptr<osg::Geometry> background = new osg::Geometry;
  becomeFullScreenPass(*background, "background", kFragmentShader);
  background->getOrCreateStateSet()->setRenderBinDetails(DrawOrder::kBackground, "RenderBin");
  return background;
}

}  // namespace QuorViewer
