#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"
#include "support/CaptureContext.h"

#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/FrameBufferObject>
#include <osg/GLExtensions>
#include <osg/RenderInfo>

#include <benchmark/benchmark.h>

#include <vector>

namespace {

constexpr GLenum kGLFramebuffer = 0x8D40;
constexpr GLenum kGLDrawFramebuffer = 0x8CA9;
constexpr GLenum kGLColorAttachment0 = 0x8CE0;
constexpr GLenum kGLRgbaInteger = 0x8D99;

using QuorTests::CaptureContext;
using QuorTests::FrameContent;

/// The least work needed to read the five images. It reads into the tool's own vectors: the memory addresses of two
/// sets of vectors alone change the speed by up to a tenth, which would hide the difference to be measured.
class BareReads {
 public:
  BareReads(CaptureContext& context, int width, int height)
      : _extensions(*context.state().get<osg::GLExtensions>()),
        _object(context.frameBufferObject().getHandle(context.state().getContextID())),
        _width(width),
        _height(height),
        _depth(valuesOf(context.frame().getDepthBuffer())),
        _itemID(valuesOf(context.frame().getItemIDBuffer())),
        _itemFloat(valuesOf(context.frame().getItemFloatBuffer())),
        _pcFloat(valuesOf(context.frame().getPCFloatBuffer())),
        _pcInt(valuesOf(context.frame().getPCUIntBuffer())) {}

  void read() {
    _extensions.glBindFramebuffer(kGLFramebuffer, _object);
    glReadPixels(0, 0, _width, _height, GL_DEPTH_COMPONENT, GL_FLOAT, _depth);
    readAttachment(1, kGLRgbaInteger, GL_UNSIGNED_INT, _itemID);
    readAttachment(2, GL_RGBA, GL_FLOAT, _itemFloat);
    readAttachment(3, GL_RGBA, GL_FLOAT, _pcFloat);
    readAttachment(4, kGLRgbaInteger, GL_INT, _pcInt);
    _extensions.glBindFramebuffer(kGLDrawFramebuffer, 0);
  }

 private:
  template <typename Value>
  static Value* valuesOf(const std::vector<Value>& values) {
    return const_cast<Value*>(values.data());
  }

  void readAttachment(GLenum number, GLenum format, GLenum type, void* values) {
    glReadBuffer(kGLColorAttachment0 + number);
    glReadPixels(0, 0, _width, _height, format, type, values);
  }

  const osg::GLExtensions& _extensions;
  GLuint _object;
  int _width;
  int _height;
  float* _depth;
  unsigned int* _itemID;
  float* _itemFloat;
  float* _pcFloat;
  int* _pcInt;
};

/// Ground that recedes towards the middle of the image, one row at a time, under a cleared sky.
void paintGround(CaptureContext& context, int width, int height) {
  for (int y = 0; y < height / 2; ++y) {
    FrameContent row;
    row.depth = 0.5f + 0.8f * static_cast<float>(y) / static_cast<float>(height);
    row.itemID = {1U, static_cast<unsigned int>(y), 0U, 1U};
    context.fill(0, y, width, 1, row);
  }
}

void capture(benchmark::State& state) {
  const int width = static_cast<int>(state.range(0));
  const int height = static_cast<int>(state.range(1));
  CaptureContext context(width, height);
  if (!context.valid()) {
    state.SkipWithError("a display with OpenGL is needed");
    return;
  }
  context.setPainter([&] { paintGround(context, width, height); });
  context.draw();
  context.makeCurrent();
  context.state().applyAttribute(&context.frameBufferObject());
  osg::RenderInfo renderInfo(&context.state(), nullptr);
  renderInfo.pushCamera(&context.camera());
  BareReads bareReads(context, width, height);
  QuorBenchmarks::compare(state, {"capture", [&] { context.tool()(renderInfo); }},
                          {{"bare reads", [&] { bareReads.read(); }, {}, 1, 1.02}});
}

BENCHMARK(capture)->Args({1280, 720})->Args({1920, 1080})->ArgNames({"width", "height"})->Unit(benchmark::kMillisecond);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Frame capture", "One capture, including its depth range, beside the five plain reads into allocated vectors."};
