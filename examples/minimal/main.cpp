// The smallest application: shows any file that OpenSceneGraph reads; captures each frame and navigates by its depth.
#include <QuorOsgUtils/CapturedCamera.h>
#include <QuorOsgUtils/SPointCloudManipulator.h>

#include <osg/Program>
#include <osgDB/ReadFile>
#include <osgViewer/Viewer>

#include <iostream>

namespace {

// Headlight shading, and the values that picks return: an identifier (0 means nothing), and the position in the file.
const char* const kVertexShader = R"(#version 330 compatibility
out vec4 lit;
out vec3 position;
void main() {
  gl_Position = ftransform();
  lit = gl_Color * (0.25 + 0.75 * abs(gl_NormalMatrix * gl_Normal).z);
  position = gl_Vertex.xyz;
})";
const char* const kFragmentShader = R"(#version 330 compatibility
in vec4 lit;
in vec3 position;
layout(location = 0) out vec4 colour;
layout(location = 1) out uvec4 identifier;
layout(location = 2) out vec4 itemFloat;
layout(location = 3) out vec4 pointFloat;
layout(location = 4) out ivec4 pointInt;
void main() {
  colour = lit;
  identifier = uvec4(1, 0, 0, 0);
  itemFloat = vec4(position, 1.0);
  pointFloat = vec4(0.0);
  pointInt = ivec4(0);
})";

void writeIdentifiers(osg::StateSet& state) {
  osg::ref_ptr<osg::Program> program = new osg::Program;
  program->addShader(new osg::Shader(osg::Shader::VERTEX, kVertexShader));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, kFragmentShader));
  state.setAttribute(program);
  QuorOsgUtils::CapturedCamera::writeAllAttachments(state);
}

}  // namespace

int main(int argc, char** argv) {
  osg::ref_ptr<osg::Node> cloud = argc > 1 ? osgDB::readRefNodeFile(argv[1]) : nullptr;
  if (!cloud) {
    std::cerr << "usage: quor_minimal SCENE, such as examples/data/hills.ply\n";
    return 1;
  }
  writeIdentifiers(*cloud->getOrCreateStateSet());
  osg::ref_ptr<osg::Group> scene = new osg::Group;  // a group, so that the pivot marker can be added to it
  scene->addChild(cloud);

  osgViewer::Viewer viewer;
  viewer.setUpViewInWindow(50, 50, 1280, 720);
  viewer.setSceneData(scene);
  const QuorOsgUtils::CapturedCamera captured(*viewer.getCamera());
  viewer.setCameraManipulator(new QuorOsgUtils::SPointCloudManipulator(&viewer));
  return viewer.run();
}
