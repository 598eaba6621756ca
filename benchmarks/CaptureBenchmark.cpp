#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"
#include "support/CaptureContext.h"

#include <QuorOsgUtils/ScreenCaptureTool.h>
#include <QuorOsgUtils/SnapshotCaptureTool.h>

#include <osg/FrameBufferObject>
#include <osg/GLExtensions>
#include <osg/RenderInfo>

#include <benchmark/benchmark.h>

#include <type_traits>
#include <vector>

namespace {

constexpr GLenum kGLFramebuffer = 0x8D40;
constexpr GLenum kGLDrawFramebuffer = 0x8CA9;
constexpr GLenum kGLColorAttachment0 = 0x8CE0;
constexpr GLenum kGLRgbaInteger = 0x8D99;

using QuorTests::CaptureContext;
using QuorTests::FrameContent;

/// Where the five images go.
struct Images {
  float* depth;
  unsigned int* itemID;
  float* itemFloat;
  float* pcFloat;
  int* pcInt;
};

/// The tool's own vectors: the addresses of two sets of vectors alone change the speed by up to a tenth, which would
/// hide the difference to be measured.
Images imagesOf(QuorOsgUtils::ScreenCaptureTool::FrameBuffer& frame) {
  const auto values = [](const auto& vector) {
    return const_cast<typename std::decay_t<decltype(vector)>::value_type*>(vector.data());
  };
  return {values(frame.getDepthBuffer()), values(frame.getItemIDBuffer()), values(frame.getItemFloatBuffer()),
          values(frame.getPCFloatBuffer()), values(frame.getPCUIntBuffer())};
}

/// The least work needed to read the five images.
class BareReads {
 public:
  BareReads(CaptureContext& context, int width, int height)
      : _extensions(*context.state().get<osg::GLExtensions>()),
        _object(context.frameBufferObject().getHandle(context.state().getContextID())),
        _width(width),
        _height(height),
        _images(imagesOf(context.frame())) {}

  void read() {
    _extensions.glBindFramebuffer(kGLFramebuffer, _object);
    glReadPixels(0, 0, _width, _height, GL_DEPTH_COMPONENT, GL_FLOAT, _images.depth);
    readAttachment(1, kGLRgbaInteger, GL_UNSIGNED_INT, _images.itemID);
    readAttachment(2, GL_RGBA, GL_FLOAT, _images.itemFloat);
    readAttachment(3, GL_RGBA, GL_FLOAT, _images.pcFloat);
    readAttachment(4, kGLRgbaInteger, GL_INT, _images.pcInt);
    _extensions.glBindFramebuffer(kGLDrawFramebuffer, 0);
  }

 private:
  void readAttachment(GLenum number, GLenum format, GLenum type, void* values) {
    glReadBuffer(kGLColorAttachment0 + number);
    glReadPixels(0, 0, _width, _height, format, type, values);
  }

  const osg::GLExtensions& _extensions;
  GLuint _object;
  int _width;
  int _height;
  Images _images;
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

/// Compares the captures of a tool, or of the context's own if it is null, with the bare reads.
void compareCapture(benchmark::State& state, const char* name, QuorOsgUtils::ScreenCaptureTool* tool, double goal) {
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
  const QuorOsgUtils::ScreenCaptureTool& captured = tool ? *tool : context.tool();
  QuorBenchmarks::compare(state, {name, [&] { captured(renderInfo); }},
                          {{"bare reads", [&] { bareReads.read(); }, {}, 1, goal}});
  captured.releaseGLObjects(&context.state());
}

void capture(benchmark::State& state) {
  compareCapture(state, "ScreenCaptureTool", nullptr, 1.02);
}

void snapshot(benchmark::State& state, int framesLate) {
  const osg::ref_ptr<QuorOsgUtils::SnapshotCaptureTool> tool = new QuorOsgUtils::SnapshotCaptureTool;
  QuorOsgUtils::ReadBack readBack;
  readBack.framesLate = framesLate;
  tool->setReadBack(readBack);
  compareCapture(state, "SnapshotCaptureTool", tool, 0.0);
}

void allSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Args({1280, 720})->Args({1920, 1080})->Args({3840, 2160})->ArgNames({"width", "height"});
  benchmark->Unit(benchmark::kMillisecond);
}

BENCHMARK(capture)->Apply(allSizes);
BENCHMARK_CAPTURE(snapshot, atOnce, 0)->Apply(allSizes);
BENCHMARK_CAPTURE(snapshot, oneFrameLate, 1)->Apply(allSizes);
BENCHMARK_CAPTURE(snapshot, twoFramesLate, 2)->Apply(allSizes);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Frame capture",
    "One capture of the five images, including the depth range, beside five bare `glReadPixels` into ready vectors: of "
    "`ScreenCaptureTool` into the same vectors, and of `SnapshotCaptureTool`, which keeps its own. A frame that is "
    "late is "
    "read into a pixel buffer, and the time counted is that of the call that starts it and finishes an earlier one. A "
    "software renderer does all the work within the call, so being late cannot hide anything there."};
