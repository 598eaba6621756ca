#include "viewer/render/ShaderProgram.h"

#include <osg/Depth>
#include <osg/Shader>

#include <array>

namespace QuorViewer {
namespace {

constexpr const char* kFullScreenVertexShader = R"(#version 330 compatibility
out vec2 window;
void main() {
  window = gl_Vertex.xy * 0.5 + 0.5;
  gl_Position = vec4(gl_Vertex.xy, 0.0, 1.0);
}
)";

// The triangle's corners are clip coordinates, not world positions, so they must not affect the near and far planes.
struct NoBounds : osg::Drawable::ComputeBoundingBoxCallback {
  osg::BoundingBox computeBound(const osg::Drawable& /*drawable*/) const override { return {}; }
};

}  // namespace

osg::ref_ptr<osg::Program> createProgram(const char* name, const char* vertexSource, const char* fragmentSource) {
  osg::ref_ptr<osg::Program> program = new osg::Program;
  program->setName(name);
  program->addShader(new osg::Shader(osg::Shader::VERTEX, vertexSource));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, fragmentSource));
  return program;
}

void becomeFullScreenPass(osg::Geometry& geometry, const char* name, const char* fragmentSource) {
  const std::array<osg::Vec3, 3> corners = {osg::Vec3(-1.0f, -1.0f, 0.0f), osg::Vec3(3.0f, -1.0f, 0.0f),
                                            osg::Vec3(-1.0f, 3.0f, 0.0f)};
  geometry.setName(name);
  geometry.setVertexArray(new osg::Vec3Array(corners.begin(), corners.end()));
  geometry.addPrimitiveSet(new osg::DrawArrays(GL_TRIANGLES, 0, 3));
  geometry.setUseDisplayList(false);
  geometry.setUseVertexBufferObjects(true);
  geometry.setCullingActive(false);
  geometry.setComputeBoundingBoxCallback(new NoBounds);

  osg::StateSet& state = *geometry.getOrCreateStateSet();
  state.setAttribute(createProgram(name, kFullScreenVertexShader, fragmentSource));
  state.setAttributeAndModes(new osg::Depth(osg::Depth::ALWAYS, 0.0, 1.0, false), osg::StateAttribute::OFF);
  state.setMode(GL_LIGHTING, osg::StateAttribute::OFF);
}

}  // namespace QuorViewer
