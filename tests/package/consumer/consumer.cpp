// Uses something from every header and runs it, so that a missing export or a missing library fails the test.
#include <QuorOsgUtils/BoxCutterDragger.h>
#include <QuorOsgUtils/CapturedCamera.h>
#include <QuorOsgUtils/ClipShader.h>
#include <QuorOsgUtils/DecrementalCompileOperation.h>
#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileJobs.h>
#include <QuorOsgUtils/FileManager.h>
#include <QuorOsgUtils/FilePtr.h>
#include <QuorOsgUtils/GCTool.h>
#include <QuorOsgUtils/ImageCapture.h>
#include <QuorOsgUtils/LogFile.h>
#include <QuorOsgUtils/SPointCloudManipulator.h>
#include <QuorOsgUtils/SPointCloudPrivotManipulator.h>
#include <QuorOsgUtils/SafeRemoval.h>
#include <QuorOsgUtils/ScreenCaptureTool.h>
#include <QuorOsgUtils/SnapshotPick.h>
#include <QuorOsgUtils/SpinLock.h>
#include <QuorOsgUtils/ThreadCount.h>
#include <QuorOsgUtils/Version.h>
#include <QuorOsgUtils/ViewManipulator.h>

#include <osgViewer/Viewer>

#include <chrono>
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

// No frame is drawn here.
bool captureIsReady(osgViewer::Viewer& viewer) {
  const QuorOsgUtils::CapturedCamera captured(*viewer.getCamera());
  QuorOsgUtils::ImageCapture images(viewer);
  const osg::ref_ptr<QuorOsgUtils::FrameSnapshot> frame = new QuorOsgUtils::FrameSnapshot;
  return !captured.tool().latest() && !QuorOsgUtils::nearest(*frame, 0, 0, 6) &&
         images.request(std::chrono::milliseconds(1)).get().status == QuorOsgUtils::ImageStatus::TimedOut;
}

// An application may call OpenGL itself.
bool openGlIsLinked() {
  const auto volatile function = &glGetString;
  return function != nullptr;
}

bool helpersWork(osgViewer::Viewer& viewer) {
  const char* const name = "helpers.txt";
  std::ofstream(name) << "scan";
  QuorOsgUtils::FileJobs jobs;
  const QuorOsgUtils::StopSource stop;
  const auto read = [](QuorOsgUtils::FileJob& job) { return job.view(1, 1).data()[0]; };
  const bool isRead = jobs.submit(name, QuorOsgUtils::FileCmd::High, read, stop.token()).get() == 'c';
  osg::ref_ptr<QuorOsgUtils::ClipBoxControl> control =
      new QuorOsgUtils::ClipBoxControl(osg::BoundingBoxd(0.0, 0.0, 0.0, 2.0, 4.0, 6.0), new osg::ClipNode);
  osg::ref_ptr<QuorOsgUtils::ClipShader> clip = new QuorOsgUtils::ClipShader;
  clip->setBoxes({QuorOsgUtils::ClipShader::boxOf(control->state())});
  osg::ref_ptr<osg::Group> group = new osg::Group;
  QuorOsgUtils::SafeRemoval removal(viewer);
  osg::ref_ptr<QuorOsgUtils::ViewPivotManipulator> manipulator = new QuorOsgUtils::ViewPivotManipulator;
  return isRead && control->planes().size() == 6 && clip->keeps(osg::Vec3d(1.0, 1.0, 1.0)) &&
         !removal.remove(group, group).get() && manipulator->getSearchRadius() == 32;
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

  const bool fresh = captureIsReady(*viewer) && openGlIsLinked() && filesWork() && logWorks() && removalWorks() &&
                     helpersWork(*viewer) && gpuAnswers() && manipulator->getFov() == 30.0 && pivot->getFov() == 30.0 &&
                     capture->getFrameBuffer().getFrameStamp() == 0 && box->getCurrentClipPlanes().size() == 6 &&
                     pointer._pixelSize == 1.0 && QuorOsgUtils::ThreadCount::getInstance()->value() == 0;
  std::printf("quor_osg_utils %d.%d.%d %s\n", QuorOsgUtils::kVersionMajor, QuorOsgUtils::kVersionMinor,
              QuorOsgUtils::kVersionPatch, fresh ? "works" : "has wrong defaults");
  return fresh ? 0 : 1;
}
