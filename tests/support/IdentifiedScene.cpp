#include "support/IdentifiedScene.h"

#include "support/PixelBuffer.h"

#include <QuorOsgUtils/CapturedCamera.h>

#include <osg/GLExtensions>
#include <osg/Program>
#include <osg/Uniform>

namespace QuorTests {
namespace {

constexpr const char* kVertexShader = R"(#version 330 compatibility
out vec3 position;
out vec4 vertexColour;
void main() {
  position = gl_Vertex.xyz;
  vertexColour = gl_Color;
  gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
}
)";

constexpr const char* kFragmentShader = R"(#version 330 compatibility
uniform uint identifier;
in vec3 position;
in vec4 vertexColour;
layout(location = 0) out vec4 colour;
layout(location = 1) out uvec4 itemId;
layout(location = 2) out vec4 itemFloat;
layout(location = 3) out vec4 pcFloat;
layout(location = 4) out ivec4 pcInt;
void main() {
  colour = vertexColour;
  itemId = uvec4(identifier, 11u, 12u, 13u);
  itemFloat = vec4(position, 1.0);
  pcFloat = vec4(float(identifier) + 0.5, 0.0, 0.0, 1.0);
  pcInt = ivec4(-int(identifier), 0, 0, 1);
}
)";

osg::ref_ptr<osg::Program> createProgram() {
  osg::ref_ptr<osg::Program> program = new osg::Program;
  program->addShader(new osg::Shader(osg::Shader::VERTEX, kVertexShader));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, kFragmentShader));
  return program;
}

}  // namespace

std::string nameOf(const testing::TestParamInfo<ThreadingModel>& model) {
  switch (model.param) {
    case osgViewer::ViewerBase::SingleThreaded:
      return "SingleThreaded";
    case osgViewer::ViewerBase::CullDrawThreadPerContext:
      return "CullDrawThreadPerContext";
    case osgViewer::ViewerBase::DrawThreadPerContext:
      return "DrawThreadPerContext";
    case osgViewer::ViewerBase::CullThreadPerCameraDrawThreadPerContext:
      return "CullThreadPerCameraDrawThreadPerContext";
    case osgViewer::ViewerBase::AutomaticSelection:
      break;
  }
  return "AutomaticSelection";
}

osg::ref_ptr<osg::Geometry> createOverlay(const IdentifiedQuad& quad) {
  osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
  geometry->setUseDisplayList(false);
  geometry->setUseVertexBufferObjects(true);
  const osg::Vec3 opposite = quad.corner + quad.side + quad.up;
  const std::array<osg::Vec3, 4> corners = {quad.corner, quad.corner + quad.side, opposite, quad.corner + quad.up};
  geometry->setVertexArray(new osg::Vec3Array(corners.begin(), corners.end()));
  const osg::ref_ptr<osg::Vec4Array> colours = new osg::Vec4Array(4);
  std::fill(colours->begin(), colours->end(), quad.colour);
  geometry->setColorArray(colours, osg::Array::BIND_PER_VERTEX);
  geometry->addPrimitiveSet(new osg::DrawArrays(GL_TRIANGLE_FAN, 0, 4));
  osg::StateSet& state = *geometry->getOrCreateStateSet();
  state.setMode(GL_LIGHTING, osg::StateAttribute::OFF);
  state.setMode(GL_CULL_FACE, osg::StateAttribute::OFF);
  return geometry;
}

osg::ref_ptr<osg::Geometry> createNode(const IdentifiedQuad& quad) {
  osg::ref_ptr<osg::Geometry> geometry = createOverlay(quad);
  osg::StateSet& state = *geometry->getOrCreateStateSet();
  state.setAttribute(createProgram());
  state.addUniform(new osg::Uniform("identifier", quad.identifier));
  QuorOsgUtils::CapturedCamera::writeAllAttachments(state);
  return geometry;
}

OffscreenViewer::OffscreenViewer(int width, int height, ThreadingModel model)
    : _viewer(new osgViewer::Viewer), _scene(new osg::Group), _model(model) {
  camera().setGraphicsContext(pixelBuffer(width, height));
  camera().setViewport(0, 0, width, height);
  camera().setProjectionMatrixAsPerspective(60.0, static_cast<double>(width) / height, 0.1, 1000.0);
  camera().setCullingMode(osg::CullSettings::NO_CULLING);
  camera().setComputeNearFarMode(osg::CullSettings::DO_NOT_COMPUTE_NEAR_FAR);
  _viewer->setThreadingModel(osgViewer::ViewerBase::SingleThreaded);
  _viewer->setKeyEventSetsDone(0);
  _viewer->setSceneData(_scene);
}

OffscreenViewer::~OffscreenViewer() {
  finish();
}

bool OffscreenViewer::valid() const {
  return _viewer->getCamera()->getGraphicsContext() != nullptr;
}

void OffscreenViewer::startFrame() {
  if (!_viewer->isRealized()) {
    _viewer->realize();
  }
  if (_isCurrent) {
    context().releaseContext();
    _isCurrent = false;
  }
  if (_viewer->getThreadingModel() != _model) {
    _viewer->setThreadingModel(_model);
  } else if (_model != osgViewer::ViewerBase::SingleThreaded && !_viewer->areThreadsRunning()) {
    _viewer->startThreading();
  }
  _viewer->frame();
}

void OffscreenViewer::draw() {
  startFrame();
  finish();
}

void OffscreenViewer::finish() {
  _viewer->stopThreading();
}

void OffscreenViewer::makeCurrent() {
  finish();
  _isCurrent = context().makeCurrent();
}

std::vector<unsigned char> OffscreenViewer::colours(GLuint frameBuffer, int x, int y, int width, int height) {
  makeCurrent();
  const auto* gl = state().get<osg::GLExtensions>();
  gl->glBindFramebuffer(GL_FRAMEBUFFER_EXT, frameBuffer);
  std::vector<unsigned char> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  glReadPixels(x, y, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  gl->glBindFramebuffer(GL_FRAMEBUFFER_EXT, context().getDefaultFboId());
  return pixels;
}

}  // namespace QuorTests
