// The smallest application: shows any file that OpenSceneGraph reads; captures each frame and navigates by its depth.
#include <QuorOsgUtils/SPointCloudManipulator.h>
#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/FrameBufferObject>
#include <osg/GLExtensions>
#include <osg/Program>
#include <osgDB/ReadFile>
#include <osgViewer/Viewer>

namespace {
constexpr int kWidth = 1280, kHeight = 720;

// Headlight shading and zero identifiers; a real application writes its own identifiers and values.
const char* const kVertexShader = R"(#version 330 compatibility
out vec4 lit;
void main() { gl_Position = ftransform(); lit = gl_Color * (0.25 + 0.75 * abs(gl_NormalMatrix * gl_Normal).z); })";
const char* const kFragmentShader = R"(#version 330 compatibility
in vec4 lit; layout(location = 0) out vec4 colour;
layout(location = 1) out uvec4 itemId;
layout(location = 4) out ivec4 pointId;
void main() { colour = lit; itemId = uvec4(0); pointId = ivec4(0); })";

// What the capture tool reads: colour, unsigned identifiers, two float attachments, signed identifiers, and depth.
osg::FrameBufferObject* createCapturedFrame() {
  const GLenum formats[] = {GL_RGBA8, GL_RGBA32UI_EXT, GL_RGBA32F_ARB, GL_RGBA32F_ARB, GL_RGBA32I_EXT};
  auto* frame = new osg::FrameBufferObject;
  const auto attach = [&](int buffer, GLenum format) {
    frame->setAttachment(static_cast<osg::Camera::BufferComponent>(buffer),
                         osg::FrameBufferAttachment(new osg::RenderBuffer(kWidth, kHeight, format)));
  };
  for (int i = 0; i < 5; ++i) {
    attach(osg::Camera::COLOR_BUFFER0 + i, formats[i]);
  }
  attach(osg::Camera::DEPTH_BUFFER, GL_DEPTH_COMPONENT32F);
  return frame;
}

// The camera clears before its state set binds the frame-buffer object, so the application clears it here.
struct ClearFrame : osg::Camera::DrawCallback {
  void operator()(osg::RenderInfo& info) const override {
    osg::StateSet* state = info.getCurrentCamera()->getStateSet();
    state->getAttribute(osg::StateAttribute::FRAME_BUFFER_OBJECT)->apply(*info.getState());
    glDrawBuffer(GL_COLOR_ATTACHMENT0_EXT);
    glClearColor(0.10f, 0.11f, 0.13f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    info.getState()->get<osg::GLExtensions>()->glBindFramebuffer(GL_FRAMEBUFFER_EXT, 0);
  }
};

// Copies the drawn colours to the window.
struct ShowFrame : osg::Camera::DrawCallback {
  void operator()(osg::RenderInfo& info) const override {
    auto* gl = info.getState()->get<osg::GLExtensions>();
    glReadBuffer(GL_COLOR_ATTACHMENT0_EXT);  // the capture leaves the object bound for reading
    gl->glBlitFramebuffer(0, 0, kWidth, kHeight, 0, 0, kWidth, kHeight, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    gl->glBindFramebuffer(GL_FRAMEBUFFER_EXT, 0);
  }
};
}  // namespace

int main(int argc, char** argv) {
  osg::ref_ptr<osg::Node> cloud = argc > 1 ? osgDB::readRefNodeFile(argv[1]) : nullptr;
  if (!cloud) {
    return 1;
  }
  osg::ref_ptr<osg::Group> scene = new osg::Group;  // a group, so that the pivot marker can be added to it
  scene->addChild(cloud);
  auto* program = new osg::Program;
  program->addShader(new osg::Shader(osg::Shader::VERTEX, kVertexShader));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, kFragmentShader));
  scene->getOrCreateStateSet()->setAttribute(program);

  osgViewer::Viewer viewer;
  viewer.setUpViewInWindow(50, 50, kWidth, kHeight);
  viewer.setSceneData(scene);
  viewer.getCamera()->getOrCreateStateSet()->setAttribute(createCapturedFrame());
  viewer.getCamera()->setPreDrawCallback(new ClearFrame);
  viewer.getCamera()->setPostDrawCallback(new QuorOsgUtils::ScreenCaptureTool);
  viewer.getCamera()->setFinalDrawCallback(new ShowFrame);
  viewer.setCameraManipulator(new QuorOsgUtils::SPointCloudManipulator(&viewer));
  return viewer.run();
}
