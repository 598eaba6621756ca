// Uses something from every header and runs it, so that a missing export or a missing library fails the test.
#include <QuorOsgUtils/BoxCutterDragger.h>
#include <QuorOsgUtils/DecrementalCompileOperation.h>
#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileManager.h>
#include <QuorOsgUtils/FilePtr.h>
#include <QuorOsgUtils/GCTool.h>
#include <QuorOsgUtils/LogFile.h>
#include <QuorOsgUtils/SPointCloudManipulator.h>
#include <QuorOsgUtils/SPointCloudPrivotManipulator.h>
#include <QuorOsgUtils/ScreenCaptureTool.h>
#include <QuorOsgUtils/SpinLock.h>
#include <QuorOsgUtils/ThreadCount.h>
#include <QuorOsgUtils/Version.h>

#include <osgViewer/Viewer>

#include <cstdio>
#include <fstream>
#include <initializer_list>
#include <string>

namespace {

class ReadText : public QuorOsgUtils::FileCmd {
 public:
  using FileCmd::FileCmd;
  void operator()(const QuorOsgUtils::FileProxy* proxy, QuorOsgUtils::FileManager*) override {
    if (void* const view = map(proxy, 0, 4)) {
      text.assign(static_cast<const char*>(view), 4);
      unmap(proxy, view);
    }
  }
  std::string text;
};

bool filesWork() {
  const char* const name = "consumer.txt";
  std::ofstream(name) << "scan";
  osg::ref_ptr<QuorOsgUtils::FilePtr> file = new QuorOsgUtils::FilePtr(name);
  QuorOsgUtils::RegisterFile registration(file, QuorOsgUtils::FileCmd::High);
  QuorOsgUtils::OpenFile opening(name, QuorOsgUtils::FileCmd::High);
  ReadText reading(name, QuorOsgUtils::FileCmd::High);
  QuorOsgUtils::CloseFile closing(name, QuorOsgUtils::FileCmd::Normal);
  QuorOsgUtils::RemoveFile removal(name, QuorOsgUtils::FileCmd::Low);
  QuorOsgUtils::FileManager* const manager = QuorOsgUtils::FileManager::getInstance();
  for (QuorOsgUtils::FileCmd* command :
       std::initializer_list<QuorOsgUtils::FileCmd*>{&registration, &opening, &reading, &closing, &removal}) {
    manager->push(command);
  }
  manager->startWorker();
  manager->stopWorker();
  return reading.text == "scan" && !file->isOpen() && !std::ifstream(name).good() && manager->memorySize() == 16;
}

bool logWorks() {
  std::remove("3Dengine.log");
  QuorOsgUtils::LogFile::getInstance()->info("the consumer");
  std::ifstream log("3Dengine.log");
  std::string line;
  std::getline(log, line);
  return line.find("QuorOsgUtils::LogFile::info@20] the consumer") != std::string::npos;
}

bool removalWorks() {
  osg::ref_ptr<osg::Group> group = new osg::Group;
  group->addChild(new osg::Node);
  osg::ref_ptr<QuorOsgUtils::DecrementalCompileOperation> removal = new QuorOsgUtils::DecrementalCompileOperation;
  removal->add(new QuorOsgUtils::DecrementalCompileOperation::DeleteSet(group, group->getChild(0)));
  (*removal)(static_cast<osg::GraphicsContext*>(nullptr));
  return group->getNumChildren() == 0;
}

// Empty where this runs without a display.
bool gpuAnswers() {
  const std::string renderer = QuorOsgUtils::GCTool::getGPURender();
  return renderer.empty() == std::string(QuorOsgUtils::GCTool::getVertexMaxUniform()).empty();
}

}  // namespace

int main() {
  osg::ref_ptr<osgViewer::Viewer> viewer = new osgViewer::Viewer;
  osg::ref_ptr<QuorOsgUtils::SPointCloudManipulator> manipulator = new QuorOsgUtils::SPointCloudManipulator(viewer);
  osg::ref_ptr<QuorOsgUtils::SPointCloudPrivotManipulator> pivot =
      new QuorOsgUtils::SPointCloudPrivotManipulator(viewer);
  osg::ref_ptr<QuorOsgUtils::ScreenCaptureTool> capture = new QuorOsgUtils::ScreenCaptureTool;
  osg::ref_ptr<QuorOsgUtils::SpinLock> lock = new QuorOsgUtils::SpinLock;
  osg::ref_ptr<QuorOsgUtils::BoxCutterDragger> box =
      new QuorOsgUtils::BoxCutterDragger(osg::BoundingBoxf(0.0f, 0.0f, 0.0f, 2.0f, 4.0f, 6.0f), new osg::ClipNode);
  const QuorOsgUtils::BoxPointerInfo pointer;
  viewer->setCameraManipulator(manipulator);
  viewer->getCamera()->setPostDrawCallback(capture);
  lock->lock();
  lock->unlock();

  const bool fresh = filesWork() && logWorks() && removalWorks() && gpuAnswers() && manipulator->getFov() == 30.0 &&
                     pivot->getFov() == 30.0 && capture->getFrameBuffer().getFrameStamp() == 0 &&
                     box->getCurrentClipPlanes().size() == 6 && pointer._pixelSize == 1.0 &&
                     QuorOsgUtils::ThreadCount::getInstance()->value() == 0;
  std::printf("quor_osg_utils %d.%d.%d %s\n", QuorOsgUtils::kVersionMajor, QuorOsgUtils::kVersionMinor,
              QuorOsgUtils::kVersionPatch, fresh ? "works" : "has wrong defaults");
  return fresh ? 0 : 1;
}
