// Clip box: drag the handles of a box that cuts a ball of points, or type its extents; each change prints the numeric
// state. Escape cancels a drag, U undoes a change. A number limits the frames.
#include "BoxEditor.h"

#include <QuorOsgUtils/ClipShader.h>

#include <osg/Geometry>
#include <osg/Program>
#include <osgGA/OrbitManipulator>
#include <osgViewer/Viewer>

#include <cmath>
#include <cstdlib>

namespace {
using namespace QuorOsgUtils;

const char* const kVertexShader = R"(#version 330 compatibility
void clipCloud(vec4 eyePosition); out vec4 shade;
void main() {
  clipCloud(gl_ModelViewMatrix * gl_Vertex);
  shade = vec4(gl_Vertex.xyz * 0.05 + 0.5, 1.0); gl_Position = ftransform();
})";
const char* const kFragmentShader = R"(#version 330 compatibility
in vec4 shade; out vec4 colour; void main() { colour = shade; })";

osg::ref_ptr<osg::Node> createBall() {
  const osg::ref_ptr<osg::Vec3Array> points = new osg::Vec3Array;
  for (int i = 0; i < 60000; ++i) {  // a spiral from pole to pole
    const double z = 1.0 - i / 30000.0, angle = i * 2.399963, across = std::sqrt(1.0 - z * z);
    points->push_back(osg::Vec3d(across * std::cos(angle), across * std::sin(angle), z) * 10.0);
  }
  const osg::ref_ptr<osg::Geometry> ball = new osg::Geometry;
  ball->setVertexArray(points);
  ball->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, static_cast<int>(points->size())));
  const osg::ref_ptr<osg::Program> program = new osg::Program;
  program->addShader(new osg::Shader(osg::Shader::VERTEX, kVertexShader));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, kFragmentShader));
  program->addShader(ClipShader::createPlanesShader());  // writes gl_ClipVertex
  ball->getOrCreateStateSet()->setAttribute(program);
  return ball;
}
}  // namespace

int main(int argc, char** argv) {
  const osg::ref_ptr<osg::ClipNode> clip = new osg::ClipNode;
  clip->addChild(createBall());
  const osg::ref_ptr<ClipBoxControl> control =
      new ClipBoxControl(osg::BoundingBoxd(-6.0, -11.0, -8.0, 6.0, 11.0, 4.0), clip);
  const osg::ref_ptr<BoxEditor> editor = new BoxEditor(control);

  const osg::ref_ptr<osg::Group> scene = new osg::Group;
  scene->addChild(clip);
  scene->addChild(control);
  osgViewer::Viewer viewer;
  viewer.setUpViewInWindow(50, 50, 1000, 700);
  viewer.setSceneData(scene);
  viewer.setKeyEventSetsDone(0);  // Escape cancels a drag
  viewer.setCameraManipulator(new osgGA::OrbitManipulator);
  viewer.getCameraManipulator()->setHomePosition({26.0, -58.0, 32.0}, {}, {0.0, 0.0, 1.0});
  viewer.home();
  viewer.addEventHandler(editor);
  for (int frame = 0; !viewer.done() && (argc < 2 || frame < std::atoi(argv[1])); ++frame) {
    if (frame == 1) {  // the first one has been drawn
      editor->print("start");
    }
    viewer.frame();
  }
  return 0;
}
