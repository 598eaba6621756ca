// Saves an image of the view from a thread of its own, while the viewer draws only on demand, and again whenever a
// button is pressed: here the key I.
#include <QuorOsgUtils/CapturedCamera.h>
#include <QuorOsgUtils/ImageCapture.h>
#include <QuorOsgUtils/PreciseOrbitManipulator.h>

#include <osgDB/ReadFile>
#include <osgDB/WriteFile>
#include <osgGA/GUIEventHandler>
#include <osgViewer/Viewer>

#include <chrono>
#include <future>
#include <iostream>
#include <string>
#include <thread>

namespace {

constexpr std::chrono::seconds kLimit(10);

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

void save(const QuorOsgUtils::CapturedImage& captured, const std::string& path) {
  const bool saved = captured.image.valid() && osgDB::writeImageFile(*captured.image, path);
  std::cout << textOf(captured.status) << (saved ? ", saved to " + path : ", not saved") << std::endl;
}

// From a thread: the drawing goes on while it waits and while it writes the file.
void saveFromThread(QuorOsgUtils::ImageCapture& images, const std::string& path) {
  save(images.request(kLimit).get(), path);
}

// From a button: its handler asks for the image, and looks in later frames whether it is there.
class Button : public osgGA::GUIEventHandler {
 public:
  Button(QuorOsgUtils::ImageCapture& images, const std::string& path) : _images(images), _path(path) {}

  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override {
    if (ea.getEventType() == ea.KEYDOWN && ea.getKey() == 'i' && !_image.valid()) {
      _image = _images.request(kLimit);
      aa.requestContinuousUpdate(true);  // so that there are later frames
    } else if (_image.valid() && _image.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
      aa.requestContinuousUpdate(false);
      save(_image.get(), _path);
    }
    return false;
  }

 private:
  QuorOsgUtils::ImageCapture& _images;
  const std::string _path;
  std::future<QuorOsgUtils::CapturedImage> _image;
};

}  // namespace

int main(int argc, char** argv) {
  osg::ref_ptr<osg::Node> cloud = argc > 2 ? osgDB::readRefNodeFile(argv[1]) : nullptr;
  if (!cloud) {
    std::cerr << "usage: quor_image SCENE IMAGE, such as examples/data/hills.ply hills.png\n";
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
  viewer.addEventHandler(new Button(images, argv[2]));
  std::thread saving([&] { saveFromThread(images, argv[2]); });
  const int status = viewer.run();
  images.withdraw();  // if the window was closed first
  saving.join();
  return status;
}
