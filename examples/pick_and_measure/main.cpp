// Picks with the left button and measures the distance between two picks, on another thread than the one that draws.
#include <QuorOsgUtils/CapturedCamera.h>
#include <QuorOsgUtils/PrecisePivotManipulator.h>
#include <QuorOsgUtils/SnapshotPick.h>

#include <osg/ColorMaski>
#include <osg/Program>
#include <osgDB/ReadFile>
#include <osgGA/GUIEventHandler>
#include <osgViewer/Viewer>

#include <future>
#include <iostream>
#include <optional>

namespace {

constexpr int kPickRadiusPixels = 6;

// The identifier of a point: 1, and the number of its vertex.
const char* const kVertexShader = R"(#version 330 compatibility
out vec4 vertexColour;
flat out uint vertex;
void main() { gl_Position = ftransform(); vertexColour = gl_Color; vertex = uint(gl_VertexID); })";
const char* const kFragmentShader = R"(#version 330 compatibility
in vec4 vertexColour;
flat in uint vertex;
layout(location = 0) out vec4 colour;
layout(location = 1) out uvec4 identifier;
void main() { colour = vertexColour; identifier = uvec4(1u, vertex, 0u, 0u); })";

void writeIdentifiers(osg::StateSet& state) {
  osg::ref_ptr<osg::Program> program = new osg::Program;
  program->addShader(new osg::Shader(osg::Shader::VERTEX, kVertexShader));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, kFragmentShader));
  state.setAttribute(program);
  state.setAttribute(new osg::ColorMaski(1, true, true, true, true));  // attachment 1 only
}

class PickHandler : public osgGA::GUIEventHandler {
 public:
  explicit PickHandler(const QuorOsgUtils::SnapshotSource& frames) : _frames(frames) {}

  // The frame that the user sees now stays as it is while the other thread reads it, whatever is drawn meanwhile.
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& /*aa*/) override {
    const osg::ref_ptr<const QuorOsgUtils::FrameSnapshot> frame = _frames.latest();
    if (ea.getEventType() != ea.PUSH || ea.getButton() != ea.LEFT_MOUSE_BUTTON || !frame) {
      return false;
    }
    if (_measuring.valid()) {
      _measuring.wait();  // one after the other
    }
    const int x = static_cast<int>(ea.getX()), y = static_cast<int>(ea.getY());
    _measuring = std::async(std::launch::async, [this, frame, x, y] { _measure(*frame, x, y); });
    return true;
  }

 private:
  void _measure(const QuorOsgUtils::FrameSnapshot& frame, int x, int y) {
    const auto pick = QuorOsgUtils::nearest(frame, x, y, kPickRadiusPixels);
    if (!pick || !pick->world) {
      return;
    }
    const osg::Vec3d& at = *pick->world;
    std::cout << "picked vertex " << pick->itemID[1] << " at " << at.x() << " " << at.y() << " " << at.z();
    if (_last) {
      std::cout << ", distance " << (at - *_last).length();
    }
    std::cout << std::endl;
    _last = at;
  }

  const QuorOsgUtils::SnapshotSource& _frames;
  std::optional<osg::Vec3d> _last;
  std::future<void> _measuring;
};

}  // namespace

int main(int argc, char** argv) {
  osg::ref_ptr<osg::Node> cloud = argc > 1 ? osgDB::readRefNodeFile(argv[1]) : nullptr;
  if (!cloud) {
    std::cerr << "usage: quor_pick_and_measure SCENE, such as examples/data/hills.ply\n";
    return 1;
  }
  writeIdentifiers(*cloud->getOrCreateStateSet());
  osg::ref_ptr<osg::Group> scene = new osg::Group;
  scene->addChild(cloud);
  osgViewer::Viewer viewer;
  viewer.setUpViewInWindow(50, 50, 1280, 720);
  viewer.setSceneData(scene);
  const QuorOsgUtils::CapturedCamera captured(*viewer.getCamera());
  viewer.setCameraManipulator(new QuorOsgUtils::PrecisePivotManipulator(&viewer));
  viewer.addEventHandler(new PickHandler(captured.tool()));
  return viewer.run();
}
