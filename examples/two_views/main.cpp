// Two views: one window shows a scene from two sides, each with precise navigation of its own. A number limits the
// frames.
#include <QuorOsgUtils/CapturedCamera.h>
#include <QuorOsgUtils/ViewManipulator.h>

#include <osg/Program>
#include <osg/ShapeDrawable>
#include <osgViewer/CompositeViewer>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <vector>

namespace {
constexpr int kWidth = 600, kHeight = 600;

const char* const kVertexShader = R"(#version 330 compatibility
out vec4 lit; void main() { gl_Position = ftransform(); lit = gl_Color * (0.25 + 0.75 * abs(gl_NormalMatrix * gl_Normal).z); })";
const char* const kFragmentShader = R"(#version 330 compatibility
in vec4 lit; layout(location = 0) out vec4 colour; void main() { colour = lit; })";

osg::ref_ptr<osg::Group> createScene() {
  osg::ref_ptr<osg::Group> scene = new osg::Group;
  for (int i = 0; i < 49; ++i) {
    const auto height = static_cast<float>(1 + i * 37 % 9);
    const int column = i % 7, row = i / 7;
    auto* tower =
        new osg::ShapeDrawable(new osg::Box(osg::Vec3d(4.0 * column, 4.0 * row, height / 2.0), 2.0f, 2.0f, height));
    tower->setColor(osg::Vec4f(0.3f + height / 15.0f, 0.6f, 1.0f - height / 15.0f, 1.0f));
    scene->addChild(tower);
  }
  auto* program = new osg::Program;
  program->addShader(new osg::Shader(osg::Shader::VERTEX, kVertexShader));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, kFragmentShader));
  scene->getOrCreateStateSet()->setAttribute(program);
  return scene;
}

}  // namespace

int main(int argc, char** argv) {
  const osg::ref_ptr<osg::Group> scene = createScene();
  osgViewer::CompositeViewer viewer;
  std::vector<const QuorOsgUtils::SnapshotCaptureTool*> tools;  // the cameras keep them
  for (int side = 0; side < 2; ++side) {
    const osg::ref_ptr<osgViewer::View> view = new osgViewer::View;
    osg::Camera& camera = *view->getCamera();
    if (side == 0) {
      view->setUpViewInWindow(50, 50, 2 * kWidth, kHeight);
    } else {  // the same window
      camera.setGraphicsContext(viewer.getView(0)->getCamera()->getGraphicsContext());
    }
    camera.setViewport(side * kWidth, 0, kWidth, kHeight);
    camera.setProjectionMatrixAsPerspective(40.0, 1.0, 1.0, 1000.0);
    const QuorOsgUtils::CapturedCamera captured(camera);
    tools.push_back(&captured.tool());
    view->setSceneData(scene);
    const osg::Vec3d eye = side == 0 ? osg::Vec3d(12.0, -45.0, 25.0) : osg::Vec3d(60.0, 12.0, 30.0);
    view->setCameraManipulator(new QuorOsgUtils::ViewOrbitManipulator);
    view->getCameraManipulator()->setHomePosition(eye, {12.0, 12.0, 2.0}, {0.0, 0.0, 1.0});
    view->home();
    viewer.addView(view);
  }
  int frames = 0;
  while (!viewer.done() && (argc < 2 || frames++ < std::atoi(argv[1]))) {
    viewer.frame();
  }
  const auto captured =
      std::count_if(tools.begin(), tools.end(), [](const auto* tool) { return tool->latest().valid(); });
  std::cout << "captured " << captured << " views" << std::endl;
  return 0;
}
