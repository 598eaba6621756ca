#include "gl/platform/PixelBuffer.h"

#include <QuorOsgUtils/GCTool.h>

#include <osg/DisplaySettings>
#include <osg/GL>
#include <osg/GraphicsContext>
#include <osg/ref_ptr>

#include <string>

namespace QuorOsgUtils {

namespace {

// Newer than OpenGL 1.1, the version of some platforms' headers.
constexpr GLenum kGLShadingLanguageVersion = 0x8B8C;
constexpr GLenum kGLMaxFragmentUniformComponents = 0x8B49;
constexpr GLenum kGLMaxVertexUniformComponents = 0x8B4A;

constexpr int kPixelBufferSidePixels = 4096;

struct Answers {
  std::string vendor;
  std::string renderer;
  std::string glslVersion;
  std::string extensions;
  std::string vertexMaxUniform;
  std::string fragmentMaxUniform;
};

osg::ref_ptr<osg::GraphicsContext> createContext() {
  const osg::ref_ptr<osg::GraphicsContext::Traits> traits =
      new osg::GraphicsContext::Traits(osg::DisplaySettings::instance().get());
  traits->width = kPixelBufferSidePixels;
  traits->height = kPixelBufferSidePixels;
  traits->pbuffer = true;
  traits->readDISPLAY();
  traits->setUndefinedScreenDetailsToDefaultScreen();
  return osg::GraphicsContext::createGraphicsContext(traits);
}

std::string textOf(GLenum name) {
  const GLubyte* const text = glGetString(name);
  return text == nullptr ? std::string() : reinterpret_cast<const char*>(text);
}

std::string limitOf(GLenum name) {
  GLint value = 0;
  glGetIntegerv(name, &value);
  return std::to_string(value);
}

// Needs a current context.
void ask(Answers& answers) {
  answers.vendor = textOf(GL_VENDOR);
  answers.renderer = textOf(GL_RENDERER);
  answers.glslVersion = textOf(kGLShadingLanguageVersion);
  answers.extensions = textOf(GL_EXTENSIONS);
  answers.vertexMaxUniform = limitOf(kGLMaxVertexUniformComponents);
  answers.fragmentMaxUniform = limitOf(kGLMaxFragmentUniformComponents);
}

void probe(Answers& answers) {
  const osg::ref_ptr<osg::GraphicsContext> context = createContext();
  if (!context.valid() || !isPixelBuffer(*context)) {
    return;
  }
  context->realizeImplementation();
  context->makeCurrentImplementation();
  ask(answers);
  context->closeImplementation();
}

// Never destroyed: a thread may still read them during process exit.
const Answers& probedAnswers() {
  static auto* const answers = new Answers;
  static bool probed = false;
  if (probed) {
    return *answers;
  }
  probed = true;
  probe(*answers);
  return *answers;
}

}  // namespace

const char* GCTool::getGPUVendor() {
  return probedAnswers().vendor.c_str();
}

const char* GCTool::getGPURender() {
  return probedAnswers().renderer.c_str();
}

const char* GCTool::getGLSLVersion() {
  return probedAnswers().glslVersion.c_str();
}

const char* GCTool::getGPUExt() {
  return probedAnswers().extensions.c_str();
}

const char* GCTool::getVertexMaxUniform() {
  return probedAnswers().vertexMaxUniform.c_str();
}

const char* GCTool::getFragmentMaxUniform() {
  return probedAnswers().fragmentMaxUniform.c_str();
}

}  // namespace QuorOsgUtils
