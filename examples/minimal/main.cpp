// The shortest host: any file that OpenSceneGraph reads, drawn into a captured frame and navigated at true depth.
#include <QuorOsgUtils/SPointCloudManipulator.h>
#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/ColorMaski>
#include <osg/FrameBufferObject>
#include <osg/GLExtensions>
#include <osgDB/ReadFile>
#include <osgViewer/Viewer>

namespace {

constexpr int kWidth = 1280;
constexpr int kHeight = 720;

// What the capture tool reads: colour, two pairs of identifiers and values, and depth.
osg::FrameBufferObject* createCapturedFrame() {
  const GLenum colourFormats[] = {GL_RGBA8, GL_RGBA32UI_EXT, GL_RGBA32F_ARB, GL_RGBA32F_ARB, GL_RGBA32I_EXT};
  auto* frame = new osg::FrameBufferObject;
  int buffer = osg::Camera::COLOR_BUFFER0;
  for (const GLenum format : colourFormats) {
    frame->setAttachment(static_cast<osg::Camera::BufferComponent>(buffer++),
                         osg::FrameBufferAttachment(new osg::RenderBuffer(kWidth, kHeight, format)));
  }
  frame->setAttachment(osg::Camera::DEPTH_BUFFER,
                       osg::FrameBufferAttachment(new osg::RenderBuffer(kWidth, kHeight, GL_DEPTH_COMPONENT32F)));
  return frame;
}

// The camera's own clear comes before its state set binds the frame, so the host clears.
struct ClearFrame : osg::Camera::DrawCallback {
  osg::ref_ptr<osg::FrameBufferObject> frame;
  explicit ClearFrame(osg::FrameBufferObject* f) : frame(f) {}
  void operator()(osg::RenderInfo& info) const override {
    frame->apply(*info.getState());
    glDrawBuffer(GL_COLOR_ATTACHMENT0_EXT);
    glClearColor(0.10F, 0.11F, 0.13F, 1.0F);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    auto* gl = info.getState()->get<osg::GLExtensions>();
    gl->glBindFramebuffer(GL_FRAMEBUFFER_EXT, 0);
  }
};

// Brings the drawn colours to the window.
struct ShowFrame : ClearFrame {
  using ClearFrame::ClearFrame;
  void operator()(osg::RenderInfo& info) const override {
    auto* gl = info.getState()->get<osg::GLExtensions>();
    frame->apply(*info.getState(), osg::FrameBufferObject::READ_FRAMEBUFFER);
    glReadBuffer(GL_COLOR_ATTACHMENT0_EXT);
    gl->glBlitFramebuffer(0, 0, kWidth, kHeight, 0, 0, kWidth, kHeight, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    gl->glBindFramebuffer(GL_FRAMEBUFFER_EXT, 0);
  }
};

}  // namespace

int main(int argc, char** argv) {
  osg::ref_ptr<osg::Node> cloud = argc > 1 ? osgDB::readRefNodeFile(argv[1]) : nullptr;
  if (!cloud) return 1;
  osg::ref_ptr<osg::Group> scene = new osg::Group;  // a group, so that the pivot marker can join the scene
  scene->addChild(cloud);

  osgViewer::Viewer viewer;
  osg::ref_ptr<osg::FrameBufferObject> frame = createCapturedFrame();
  viewer.setUpViewInWindow(50, 50, kWidth, kHeight);
  viewer.setSceneData(scene);
  viewer.getCamera()->setClearMask(0);
  for (unsigned int identifiers = 1; identifiers < 5; ++identifiers)  // nothing here has a shader that fills them
    viewer.getCamera()->getOrCreateStateSet()->setAttribute(
        new osg::ColorMaski(identifiers, false, false, false, false));
  viewer.getCamera()->getOrCreateStateSet()->setAttribute(frame);
  viewer.getCamera()->setPreDrawCallback(new ClearFrame(frame));
  viewer.getCamera()->setPostDrawCallback(new QuorOsgUtils::ScreenCaptureTool);
  viewer.getCamera()->setFinalDrawCallback(new ShowFrame(frame));
  viewer.setCameraManipulator(new QuorOsgUtils::SPointCloudManipulator(&viewer));
  return viewer.run();
}
