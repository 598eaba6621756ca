// Saves an image of the view from a thread of its own, while the viewer draws only on demand: image SCENE IMAGE.
#include <QuorOsgUtils/CapturedCamera.h>
#include <QuorOsgUtils/ImageCapture.h>
#include <QuorOsgUtils/PreciseOrbitManipulator.h>

#include <osgDB/ReadFile>
#include <osgDB/WriteFile>
#include <osgViewer/Viewer>

#include <chrono>
#include <iostream>
#include <string>
#include <thread>

namespace {

const char* textOf(QuorOsgUtils::ImageStatus status) {
  switch (status) {
    case QuorOsgUtils::ImageStatus::Captured:
      return "captured";
    case QuorOsgUtils::ImageStatus::NotCapturable:
      return "the camera is not captured";
    case QuorOsgUtils::ImageStatus::TimedOut:
      return "no frame was drawn in time";
    case QuorOsgUtils::ImageStatus::Withdrawn:
      return "withdrawn";
    case QuorOsgUtils::ImageStatus::Closed:
      return "the window was closed";
  }
  return "";
}

// The drawing goes on while this thread waits and while it writes the file.
void saveImage(QuorOsgUtils::ImageCapture& images, const std::string& path) {
  const QuorOsgUtils::CapturedImage captured = images.request(std::chrono::seconds(10)).get();
  const bool saved = captured.image.valid() && osgDB::writeImageFile(*captured.image, path);
  std::cout << textOf(captured.status) << (saved ? ", saved to " + path : ", not saved") << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
  osg::ref_ptr<osg::Node> cloud = argc > 2 ? osgDB::readRefNodeFile(argv[1]) : nullptr;
  if (!cloud) {
    return 1;
  }
  osg::ref_ptr<osg::Group> scene = new osg::Group;
  scene->addChild(cloud);
  osgViewer::Viewer viewer;
  viewer.setUpViewInWindow(50, 50, 640, 480);
  viewer.setSceneData(scene);
  viewer.setRunFrameScheme(osgViewer::ViewerBase::ON_DEMAND);
  const QuorOsgUtils::CapturedCamera captured(*viewer.getCamera());
  viewer.setCameraManipulator(new QuorOsgUtils::PreciseOrbitManipulator(&viewer));

  QuorOsgUtils::ImageCapture images(viewer);
  std::thread saving([&] { saveImage(images, argv[2]); });
  const int status = viewer.run();
  images.withdraw();  // if the window was closed first
  saving.join();
  return status;
}
