// Safe removal: adds and removes spheres while they are drawn by several threads. A number limits the frames.
#include <QuorOsgUtils/SafeRemoval.h>

#include <osg/Geode>
#include <osg/MatrixTransform>
#include <osg/ShapeDrawable>
#include <osgGA/OrbitManipulator>
#include <osgViewer/Viewer>

#include <chrono>
#include <cstdlib>
#include <deque>
#include <iostream>

namespace {
constexpr unsigned int kSpheres = 8;

osg::ref_ptr<osg::Node> createSphere(unsigned int number) {
  const osg::ref_ptr<osg::MatrixTransform> place = new osg::MatrixTransform(
      osg::Matrixd::translate(2.5 * (number % kSpheres), 0.0, 2.5 * (number / kSpheres % kSpheres)));
  place->addChild(new osg::ShapeDrawable(new osg::Sphere));
  return place;
}
}  // namespace

int main(int argc, char** argv) {
  const unsigned int mostFrames = argc > 1 ? static_cast<unsigned int>(std::atoi(argv[1])) : ~0U;
  const osg::ref_ptr<osg::Group> spheres = new osg::Group;

  osgViewer::Viewer viewer;
  viewer.setUpViewInWindow(50, 50, 800, 600);
  viewer.setSceneData(spheres);
  viewer.setCameraManipulator(new osgGA::OrbitManipulator);
  viewer.getCameraManipulator()->setHomePosition({9.0, -45.0, 9.0}, {9.0, 0.0, 9.0}, {0.0, 0.0, 1.0});
  viewer.home();
  // In this model OSG's own `frame` returns while the frame is still being drawn.
  viewer.setThreadingModel(osgViewer::ViewerBase::DrawThreadPerContext);
  viewer.realize();

  QuorOsgUtils::SafeRemoval removal(viewer);
  std::deque<std::future<bool>> removals;
  unsigned int removed = 0;
  for (unsigned int frame = 0; !viewer.done() && frame < mostFrames; ++frame) {
    // Between two frames only this thread uses the scene.
    spheres->addChild(createSphere(frame));
    if (spheres->getNumChildren() > kSpheres * kSpheres / 2) {
      removals.push_back(removal.remove(spheres, spheres->getChild(0)));
    }
    removal.frame();
    while (!removals.empty() && removals.front().wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
      removed += removals.front().get() ? 1 : 0;
      removals.pop_front();
    }
  }
  std::cout << removed << " spheres removed, " << spheres->getNumChildren() << " left" << std::endl;
  return 0;
}
