// Clip box: drag the handles of a box that cuts a ball of points; each drag prints the numeric state. Keys: U undoes,
// S, M and T select resizing, moving and rotating, Escape cancels a drag. A number limits the frames.
#include <QuorOsgUtils/ClipBoxControl.h>
#include <QuorOsgUtils/ClipShader.h>

#include <osg/Geometry>
#include <osg/Program>
#include <osg/io_utils>
#include <osgGA/OrbitManipulator>
#include <osgViewer/Viewer>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <vector>

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
// Plain numbers: 17 digits are read back exactly.
void print(const char* what, const ClipBoxState& state) {
  const double* const rotation = state.rotation._v;
  std::cout << std::setprecision(17) << what << ": box from " << state.box._min << " to " << state.box._max
            << ", rotation " << rotation[0] << ' ' << rotation[1] << ' ' << rotation[2] << ' ' << rotation[3] << '\n';
}

struct Keys : osgGA::GUIEventHandler {
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& /*aa*/) override {
    const int key = ea.getEventType() == osgGA::GUIEventAdapter::KEYDOWN ? ea.getKey() : 0;
    const char* const modes = "tms";  // by CutterType
    if (key == 'u' && !undo.empty()) {
      control->setState(undo.back());
      undo.pop_back();
      print("undone", control->state());
    } else if (const char* mode = key != 0 ? std::strchr(modes, key) : nullptr) {
      control->showHandles(static_cast<ClipBoxControl::CutterType>(mode - modes), 7);
    }
    return false;
  }
  osg::ref_ptr<ClipBoxControl> control;
  std::vector<ClipBoxState> undo;
};
}  // namespace
int main(int argc, char** argv) {
  const osg::ref_ptr<osg::ClipNode> clip = new osg::ClipNode;
  clip->addChild(createBall());
  const osg::ref_ptr<Keys> keys = new Keys;
  keys->control = new ClipBoxControl(osg::BoundingBoxd(-6.0, -11.0, -8.0, 6.0, 11.0, 4.0), clip);
  ClipBoxListener listener;
  listener.ended = [keys = keys.get()](const ClipBoxChange& change) {
    keys->undo.insert(keys->undo.end(), change.isCancelled ? 0 : 1, change.before);
    print(change.isCancelled ? "cancelled" : "dragged", change.after);
  };
  keys->control->setListener(listener);

  const osg::ref_ptr<osg::Group> scene = new osg::Group;
  scene->addChild(clip);
  scene->addChild(keys->control);
  osgViewer::Viewer viewer;
  viewer.setUpViewInWindow(50, 50, 1000, 700);
  viewer.setSceneData(scene);
  viewer.setKeyEventSetsDone(0);  // Escape cancels a drag
  viewer.setCameraManipulator(new osgGA::OrbitManipulator);
  viewer.getCameraManipulator()->setHomePosition({26.0, -58.0, 32.0}, {}, {0.0, 0.0, 1.0});
  viewer.home();
  viewer.addEventHandler(keys);
  for (int frame = 0; !viewer.done() && (argc < 2 || frame < std::atoi(argv[1])); ++frame) {
    if (frame == 1) {  // the first one has been drawn
      print("start", keys->control->state());
    }
    viewer.frame();
  }
  return 0;
}
