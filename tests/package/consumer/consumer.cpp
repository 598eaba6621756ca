// Names something of every header and runs it, so that a missing export or a missing link shows.
#include <QuorOsgUtils/BoxCutterDragger.h>
#include <QuorOsgUtils/SPointCloudManipulator.h>
#include <QuorOsgUtils/SPointCloudPrivotManipulator.h>
#include <QuorOsgUtils/ScreenCaptureTool.h>
#include <QuorOsgUtils/SpinLock.h>
#include <QuorOsgUtils/ThreadCount.h>
#include <QuorOsgUtils/Version.h>

#include <osgViewer/Viewer>

#include <cstdio>

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

  const bool fresh = manipulator->getFov() == 30.0 && pivot->getFov() == 30.0 &&
                     capture->getFrameBuffer().getFrameStamp() == 0 && box->getCurrentClipPlanes().size() == 6 &&
                     pointer._pixelSize == 1.0 && QuorOsgUtils::ThreadCount::getInstance()->value() == 0;
  std::printf("quor_osg_utils %d.%d.%d %s\n", QuorOsgUtils::kVersionMajor, QuorOsgUtils::kVersionMinor,
              QuorOsgUtils::kVersionPatch, fresh ? "works" : "has wrong defaults");
  return fresh ? 0 : 1;
}
