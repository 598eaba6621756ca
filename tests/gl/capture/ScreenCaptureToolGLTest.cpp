#include "support/CaptureContext.h"

#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/GLExtensions>
#include <osg/GraphicsContext>
#include <osg/observer_ptr>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

using QuorOsgUtils::CaptureOp;
using QuorOsgUtils::ScreenCaptureTool;
using QuorTests::CaptureContext;
using QuorTests::FrameContent;
using ::testing::ElementsAre;
using ::testing::Pair;

namespace {

constexpr GLenum kGLProgramPointSize = 0x8642;
constexpr GLenum kGLPixelPackBuffer = 0x88EB;
constexpr GLenum kGLPixelPackBufferBinding = 0x88ED;
constexpr GLenum kGLStreamRead = 0x88E1;
constexpr GLenum kGLDrawFramebufferBinding = 0x8CA6;
constexpr GLenum kGLReadFramebufferBinding = 0x8CAA;
constexpr GLint kGLColorAttachment4 = 0x8CE4;

// Odd width and height, so that every kind of row padding would show.
constexpr int kWidth = 7;
constexpr int kHeight = 5;

using Image = std::vector<unsigned char>;

/// Values that differ for every pixel, channel and attachment and reach the limits of their types.
FrameContent contentAt(int x, int y) {
  const int pixel = y * kWidth + x;
  const auto number = static_cast<unsigned int>(pixel);
  const auto real = static_cast<float>(pixel);
  FrameContent content;
  for (unsigned int channel = 0; channel < 4; ++channel) {
    content.colour[channel] = static_cast<float>(number * 4 + channel) / 255.0f;
    content.itemID[channel] = 0xF0000000U + number * 4 + channel;
    content.itemFloat[channel] = -1e30f + 1e26f * (real * 4.0f + static_cast<float>(channel));
    content.pcFloat[channel] = 1234.5f + real * 4.0f + static_cast<float>(channel);
    content.pcInt[channel] = std::numeric_limits<int>::min() + pixel * 4 + static_cast<int>(channel);
  }
  content.depth = static_cast<float>(pixel + 1) / 64.0f;
  return content;
}

/// The part of the pattern in a capture of width × height pixels from (0, 0).
struct Expected {
  Expected(int width, int height) {
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        append(contentAt(x, y));
      }
    }
  }

  void append(const FrameContent& content) {
    depth.push_back(content.depth);
    itemID.insert(itemID.end(), content.itemID.begin(), content.itemID.end());
    itemFloat.insert(itemFloat.end(), content.itemFloat.begin(), content.itemFloat.end());
    pcFloat.insert(pcFloat.end(), content.pcFloat.begin(), content.pcFloat.end());
    pcInt.insert(pcInt.end(), content.pcInt.begin(), content.pcInt.end());
    for (const float value : content.colour) {
      colour.push_back(static_cast<unsigned char>(std::lround(value * 255.0f)));
    }
  }

  std::vector<float> depth;
  std::vector<unsigned int> itemID;
  std::vector<float> itemFloat;
  std::vector<float> pcFloat;
  std::vector<int> pcInt;
  Image colour;
};

/// Runs a function on the draw thread when it gets the image, and keeps the image.
class ImageOp : public CaptureOp {
 public:
  explicit ImageOp(std::function<void()> step = {}) : _step(std::move(step)) {}

  void captureImage(int width, int height, Image& rgba) override {
    ++calls;
    size = {width, height};
    image = rgba;
    if (_step) {
      _step();
    }
  }

  int calls = 0;
  std::array<int, 2> size{};
  Image image;

 private:
  std::function<void()> _step;
};

/// An application's thread that waits for its image.
class Waiter {
 public:
  explicit Waiter(CaptureOp& op)
      : _op(&op), _thread([this] {
          _op->block();
          _released = true;
        }) {}
  ~Waiter() { join(); }

  void join() {
    if (_thread.joinable()) {
      _thread.join();
    }
  }
  bool released() const { return _released; }

 private:
  osg::ref_ptr<CaptureOp> _op;
  std::atomic<bool> _released{false};
  std::thread _thread;
};

GLint glInteger(GLenum name) {
  GLint value = 0;
  glGetIntegerv(name, &value);
  return value;
}

/// A context that is never realized, for tests that need no GL.
class BareContext : public osg::GraphicsContext {
 public:
  explicit BareContext(bool withTraits) { _traits = withTraits ? new Traits : nullptr; }

  bool valid() const override { return true; }
  bool realizeImplementation() override { return true; }
  bool isRealizedImplementation() const override { return true; }
  void closeImplementation() override {}
  bool makeCurrentImplementation() override { return true; }
  bool makeContextCurrentImplementation(osg::GraphicsContext*) override { return true; }
  bool releaseContextImplementation() override { return true; }
  void bindPBufferToTextureImplementation(GLenum) override {}
  void swapBuffersImplementation() override {}
};

/// Runs after the tool, with the context's state as the tool left it.
struct AfterCapture : osg::Camera::DrawCallback {
  explicit AfterCapture(std::function<void()> looksAtState) : look(std::move(looksAtState)) {}
  using osg::Camera::DrawCallback::operator();
  void operator()(osg::RenderInfo&) const override { look(); }
  std::function<void()> look;
};

class ScreenCaptureToolGLTest : public ::testing::Test {
 protected:
  void SetUp() override {
    context = std::make_unique<CaptureContext>(kWidth, kHeight);
    ASSERT_TRUE(context->valid()) << "these tests need a display with OpenGL";
    context->setPainter([this] { paintPattern(); });
  }

  void paintPattern() {
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        context->fill(x, y, 1, 1, contentAt(x, y));
      }
    }
  }

  ScreenCaptureTool::FrameBuffer& frame() { return context->frame(); }

  void setViewport(double x, double y, double width, double height) {
    context->camera().setViewport(new osg::Viewport(x, y, width, height));
  }

  /// Calls the tool as a draw thread would, with the test's own render info.
  void capture(osg::State* state, const std::vector<osg::Camera*>& cameras) {
    osg::RenderInfo renderInfo(state, nullptr);
    for (osg::Camera* camera : cameras) {
      renderInfo.pushCamera(camera);
    }
    context->tool()(renderInfo);
  }

  /// A state of the same context to which no frame-buffer object has been applied.
  osg::ref_ptr<osg::State> untouchedState() {
    osg::ref_ptr<osg::State> state = new osg::State;
    state->setGraphicsContext(context->camera().getGraphicsContext());
    state->setContextID(context->state().getContextID());
    state->initializeExtensionProcs();
    return state;
  }

  void drawWhileWaiting(CaptureOp& op) {
    Waiter waiter(op);
    context->draw();
  }

  void expectPattern(int width = kWidth, int height = kHeight) {
    const Expected expected(width, height);
    EXPECT_EQ(frame().getDepthBuffer(), expected.depth);
    EXPECT_EQ(frame().getItemIDBuffer(), expected.itemID);
    EXPECT_EQ(frame().getItemFloatBuffer(), expected.itemFloat);
    EXPECT_EQ(frame().getPCFloatBuffer(), expected.pcFloat);
    EXPECT_EQ(frame().getPCUIntBuffer(), expected.pcInt);
  }

  void expectSizes(std::size_t pixels) {
    EXPECT_EQ(frame().getDepthBuffer().size(), pixels);
    EXPECT_EQ(frame().getItemIDBuffer().size(), pixels * 4);
    EXPECT_EQ(frame().getItemFloatBuffer().size(), pixels * 4);
    EXPECT_EQ(frame().getPCFloatBuffer().size(), pixels * 4);
    EXPECT_EQ(frame().getPCUIntBuffer().size(), pixels * 4);
  }

  std::array<int, 4> storedViewport() {
    std::array<int, 4> viewport{};
    frame().getViewPort(viewport[0], viewport[1], viewport[2], viewport[3]);
    return viewport;
  }

  std::pair<float, float> depthRange() {
    std::pair<float, float> range;
    frame().getMinAndMaxDepth(range.first, range.second);
    return range;
  }

  std::unique_ptr<CaptureContext> context;
};

/// Everything in a frame that must stay unchanged when there is nothing to capture.
struct Snapshot {
  explicit Snapshot(ScreenCaptureTool::FrameBuffer& frame)
      : depth(frame.getDepthBuffer()),
        itemID(frame.getItemIDBuffer()),
        itemFloat(frame.getItemFloatBuffer()),
        pcFloat(frame.getPCFloatBuffer()),
        pcInt(frame.getPCUIntBuffer()) {
    frame.getMinAndMaxDepth(range[0], range[1]);
    frame.getViewPort(viewport[0], viewport[1], viewport[2], viewport[3]);
  }

  bool operator==(const Snapshot& other) const {
    return depth == other.depth && itemID == other.itemID && itemFloat == other.itemFloat && pcFloat == other.pcFloat &&
           pcInt == other.pcInt && range == other.range && viewport == other.viewport;
  }

  std::vector<float> depth;
  std::vector<unsigned int> itemID;
  std::vector<float> itemFloat;
  std::vector<float> pcFloat;
  std::vector<int> pcInt;
  std::array<float, 2> range{};
  std::array<int, 4> viewport{};
};

}  // namespace

// Initial state.

TEST_F(ScreenCaptureToolGLTest, aFreshFrameIsEmptyWithIdentityMatrices) {
  ScreenCaptureTool& tool = context->tool();
  EXPECT_TRUE(frame().getViewMatrix().isIdentity());
  EXPECT_TRUE(frame().getProjectionMatrix().isIdentity());
  EXPECT_THAT(storedViewport(), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(depthRange(), Pair(0.0f, 0.0f));
  EXPECT_EQ(frame().getFrameStamp(), 0U);
  EXPECT_EQ(tool.getCaptureOp(), nullptr);
  expectSizes(0);
}

TEST_F(ScreenCaptureToolGLTest, itsClassNameAndCloneTypeAreThoseOfItsBase) {
  const ScreenCaptureTool& tool = context->tool();
  const osg::ref_ptr<osg::Camera::DrawCallback> plain = new osg::Camera::DrawCallback;
  EXPECT_STREQ(tool.className(), plain->className());
  EXPECT_STREQ(tool.libraryName(), plain->libraryName());
  EXPECT_TRUE(tool.isSameKindAs(plain));
  const osg::ref_ptr<osg::Object> made = tool.cloneType();
  EXPECT_EQ(dynamic_cast<ScreenCaptureTool*>(made.get()), nullptr);
  EXPECT_NE(dynamic_cast<osg::Camera::DrawCallback*>(made.get()), nullptr);
}

// Contents of a capture.

TEST_F(ScreenCaptureToolGLTest, everyBufferHoldsItsAttachmentExactlyFromTheBottomRowUp) {
  context->draw();
  expectPattern();
}

TEST_F(ScreenCaptureToolGLTest, everyFrameReplacesTheOneBefore) {
  context->draw();
  context->setPainter([this] { context->fill(0, 0, kWidth, kHeight, contentAt(3, 2)); });
  context->draw();
  Expected expected(0, 0);
  for (int pixel = 0; pixel < kWidth * kHeight; ++pixel) {
    expected.append(contentAt(3, 2));
  }
  EXPECT_EQ(frame().getItemIDBuffer(), expected.itemID);
  EXPECT_EQ(frame().getDepthBuffer(), expected.depth);
}

TEST_F(ScreenCaptureToolGLTest, theMatricesAreTheCamerasOfTheCapturedFrame) {
  const osg::Matrixd view = osg::Matrixd::translate(-4.0, -5.0, -6e6) * osg::Matrixd::rotate(0.5, 0.0, 1.0, 0.0);
  const osg::Matrixd projection = osg::Matrixd::perspective(37.0, 1.5, 2.0, 90.0);
  context->camera().setComputeNearFarMode(osg::Camera::DO_NOT_COMPUTE_NEAR_FAR);
  context->camera().setViewMatrix(view);
  context->camera().setProjectionMatrix(projection);
  context->draw();
  EXPECT_EQ(frame().getViewMatrix(), view);
  EXPECT_EQ(frame().getProjectionMatrix(), projection);
}

TEST_F(ScreenCaptureToolGLTest, theFrameStampStaysZeroAfterAnyNumberOfCaptures) {
  for (int i = 0; i < 5; ++i) {
    context->draw();
  }
  EXPECT_EQ(frame().getFrameStamp(), 0U);
}

// Viewports.

TEST_F(ScreenCaptureToolGLTest, aViewportMovedButNotResizedKeepsItsStoredPlace) {
  setViewport(0.0, 0.0, 4.0, 3.0);
  context->draw();
  setViewport(2.0, 1.0, 4.0, 3.0);
  context->draw();
  EXPECT_THAT(storedViewport(), ElementsAre(0, 0, 4, 3));
}

TEST_F(ScreenCaptureToolGLTest, aResizedViewportIsStoredWithItsPlaceAndResizesEveryBuffer) {
  context->draw();
  setViewport(1.0, 2.0, 4.0, 3.0);
  context->draw();
  EXPECT_THAT(storedViewport(), ElementsAre(1, 2, 4, 3));
  expectSizes(12);
}

TEST_F(ScreenCaptureToolGLTest, aViewportAwayFromTheOriginIsReadFromPixelZeroToo) {
  setViewport(2.0, 1.0, 4.0, 3.0);
  context->draw();
  expectPattern(4, 3);
}

TEST_F(ScreenCaptureToolGLTest, aViewportsFractionsAreTruncated) {
  setViewport(1.9, -0.9, 4.99, 3.5);
  context->draw();
  EXPECT_THAT(storedViewport(), ElementsAre(1, 0, 4, 3));
  expectPattern(4, 3);
}

TEST_F(ScreenCaptureToolGLTest, aViewportOfEqualAreaAndOtherShapeIsCapturedInItsOwnShape) {
  setViewport(0.0, 0.0, 4.0, 2.0);
  context->draw();
  setViewport(0.0, 0.0, 2.0, 4.0);
  context->draw();
  EXPECT_THAT(storedViewport(), ElementsAre(0, 0, 2, 4));
  expectPattern(2, 4);
}

TEST_F(ScreenCaptureToolGLTest, aViewportOfZeroSizeEmptiesTheBuffersAndTheDepthRange) {
  const std::array<double, 2> kSizes[] = {{0.0, 0.0}, {0.0, 5.0}, {7.0, 0.0}, {0.5, 0.5}};
  for (const auto& size : kSizes) {
    setViewport(0.0, 0.0, kWidth, kHeight);
    context->draw();
    expectSizes(kWidth * kHeight);
    setViewport(0.0, 0.0, size[0], size[1]);
    context->draw();
    expectSizes(0);
    EXPECT_THAT(depthRange(), Pair(1.0f, 0.0f));
  }
}

TEST_F(ScreenCaptureToolGLTest, aViewportOfZeroSizeFromTheStartIsCapturedAsEmpty) {
  setViewport(0.0, 0.0, 0.0, 0.0);
  context->draw();
  expectSizes(0);
  EXPECT_THAT(depthRange(), Pair(1.0f, 0.0f));
}

TEST_F(ScreenCaptureToolGLTest, aViewportThatCannotBeReadLeavesTheFrameAsItWas) {
  const double kNotANumber = std::nan("");
  const std::array<double, 4> kViewports[] = {
      {0.0, 0.0, -7.0, 5.0},        {0.0, 0.0, 7.0, -5.0},        {0.0, 0.0, -7.0, -5.0},
      {0.0, 0.0, 65536.0, 65536.0}, {0.0, 0.0, 1e10, 1e10},       {0.0, 0.0, 32768.0, 16384.0},
      {0.0, 0.0, kNotANumber, 5.0}, {kNotANumber, 0.0, 7.0, 5.0}, {0.0, 1e300, 7.0, 5.0}};
  context->draw();
  const Snapshot before(frame());
  for (const auto& viewport : kViewports) {
    osg::ref_ptr<osg::Camera> camera = new osg::Camera;
    camera->setViewport(new osg::Viewport(viewport[0], viewport[1], viewport[2], viewport[3]));
    context->makeCurrent();
    capture(&context->state(), {camera});
    EXPECT_EQ(Snapshot(frame()), before) << viewport[0] << " " << viewport[1] << " " << viewport[2] << " "
                                         << viewport[3];
  }
}

TEST_F(ScreenCaptureToolGLTest, aCameraWithoutAViewportLeavesTheFrameAsItWas) {
  context->draw();
  const Snapshot before(frame());
  const osg::ref_ptr<osg::Camera> camera = new osg::Camera;
  context->makeCurrent();
  capture(&context->state(), {camera});
  EXPECT_EQ(Snapshot(frame()), before);
}

TEST_F(ScreenCaptureToolGLTest, aViewportLargerThanTheFrameWritesNothingBeyondItsVectors) {
  setViewport(0.0, 0.0, 21.0, 13.0);
  context->draw();
  expectSizes(21 * 13);
  const FrameContent corner = contentAt(kWidth - 1, kHeight - 1);
  const std::size_t pixel = 4 * 21 + 6;
  EXPECT_EQ(frame().getDepthBuffer()[pixel], corner.depth);
  EXPECT_EQ(frame().getItemIDBuffer()[4 * pixel + 3], corner.itemID[3]);
}

// With nothing to capture, only the program point size is enabled.

TEST_F(ScreenCaptureToolGLTest, withoutCameraContextOrTraitsOnlyTheProgramPointSizeIsEnabled) {
  context->draw();
  context->makeCurrent();
  const Snapshot before(frame());
  osg::ref_ptr<osg::State> withoutContext = new osg::State;
  osg::ref_ptr<osg::GraphicsContext> bare = new BareContext(false);
  osg::ref_ptr<osg::State> withoutTraits = new osg::State;
  withoutTraits->setGraphicsContext(bare);
  osg::Camera& camera = context->camera();
  camera.setViewMatrix(osg::Matrixd::translate(1.0, 2.0, 3.0));
  struct {
    const char* what;
    osg::State* state;
    std::vector<osg::Camera*> cameras;
  } const kCases[] = {{"empty camera stack", &context->state(), {}},
                      {"null camera", &context->state(), {&camera, nullptr}},
                      {"no graphics context", withoutContext, {&camera}},
                      {"no traits", withoutTraits, {&camera}},
                      {"no state", nullptr, {&camera}}};
  for (const auto& [what, state, cameras] : kCases) {
    SCOPED_TRACE(what);
    glDisable(kGLProgramPointSize);
    capture(state, cameras);
    EXPECT_TRUE(glIsEnabled(kGLProgramPointSize));
    EXPECT_EQ(Snapshot(frame()), before);
    EXPECT_TRUE(frame().getViewMatrix().isIdentity());
  }
}

TEST_F(ScreenCaptureToolGLTest, aCaptureEnablesTheProgramPointSize) {
  context->makeCurrent();
  glDisable(kGLProgramPointSize);
  context->draw();
  context->makeCurrent();
  EXPECT_TRUE(glIsEnabled(kGLProgramPointSize));
}

TEST_F(ScreenCaptureToolGLTest, withoutAFrameBufferObjectTheDepthRangeIsTakenFromThePreviousFrame) {
  setViewport(0.0, 0.0, 3.0, 1.0);
  context->setPainter([this] {
    const float kDepths[] = {0.5f, 0.25f, 0.375f};
    for (int x = 0; x < 3; ++x) {
      FrameContent content = contentAt(x, 0);
      content.depth = kDepths[x];
      context->fill(x, 0, 1, 1, content);
    }
  });
  context->draw();
  EXPECT_THAT(depthRange(), Pair(0.25f, 0.375f));
  const Snapshot before(frame());
  context->makeCurrent();
  capture(untouchedState(), {&context->camera()});
  EXPECT_EQ(Snapshot(frame()), before);
}

TEST_F(ScreenCaptureToolGLTest, withoutAFrameBufferObjectANewSizeYieldsZeroDepths) {
  context->makeCurrent();
  capture(untouchedState(), {&context->camera()});
  expectSizes(kWidth * kHeight);
  EXPECT_THAT(frame().getDepthBuffer(), ::testing::Each(0.0f));
  EXPECT_THAT(depthRange(), Pair(0.0f, 0.0f));
}

TEST_F(ScreenCaptureToolGLTest, anEmptyObjectAppliedLastIsReadAsTheDefaultFrameBufferWithoutHarm) {
  context->draw();
  context->makeCurrent();
  const osg::ref_ptr<osg::State> state = untouchedState();
  const osg::ref_ptr<osg::FrameBufferObject> empty = new osg::FrameBufferObject;
  state->applyAttribute(empty);
  capture(state, {&context->camera()});
  while (glGetError() != GL_NO_ERROR) {
  }
  expectSizes(kWidth * kHeight);
  EXPECT_EQ(frame().getItemIDBuffer(), Expected(kWidth, kHeight).itemID) << "integers cannot be read from a window";
  context->draw();
  expectPattern();
}

// The depth range of a drawn frame; the rule itself is tested without GL.

TEST_F(ScreenCaptureToolGLTest, theDepthRangeFollowsBufferOrder) {
  const struct {
    std::array<float, 3> depths;
    float minimum, maximum;
  } kCases[] = {{{1.0f, 1.0f, 1.0f}, 1.0f, 0.0f},
                {{0.5f, 0.25f, 0.375f}, 0.25f, 0.375f},
                {{1.0f, 0.5f, 1.0f}, 0.5f, 0.0f},
                {{0.25f, 0.5f, 0.375f}, 0.25f, 0.375f}};
  setViewport(0.0, 0.0, 1.0, 3.0);
  for (const auto& [depths, minimum, maximum] : kCases) {
    context->setPainter([this, &values = depths] {
      for (int y = 0; y < 3; ++y) {
        FrameContent content;
        content.depth = values[static_cast<std::size_t>(y)];
        context->fill(0, y, 1, 1, content);
      }
    });
    context->draw();
    EXPECT_THAT(depthRange(), Pair(minimum, maximum)) << depths[0] << " " << depths[1] << " " << depths[2];
  }
}

// State left by the application, and state left by the capture.

class PackStateGLTest : public ScreenCaptureToolGLTest, public ::testing::WithParamInterface<int> {
 protected:
  struct Parameter {
    GLenum name;
    GLint value;
  };

  /// One parameter per test number, and all of them for the last number.
  std::vector<Parameter> leaked() const {
    const std::vector<Parameter> all = {{GL_PACK_ROW_LENGTH, 64}, {GL_PACK_SKIP_ROWS, 3},  {GL_PACK_SKIP_PIXELS, 11},
                                        {GL_PACK_ALIGNMENT, 8},   {GL_PACK_SWAP_BYTES, 1}, {GL_PACK_LSB_FIRST, 1},
                                        {GL_PACK_ALIGNMENT, 1}};
    const auto number = static_cast<std::size_t>(GetParam());
    return number < all.size() ? std::vector<Parameter>{all[number]}
                               : std::vector<Parameter>(all.begin(), all.end() - 1);
  }

  void leak() {
    for (const Parameter& parameter : leaked()) {
      glPixelStorei(parameter.name, parameter.value);
    }
  }

  void expectLeaked() {
    for (const Parameter& parameter : leaked()) {
      EXPECT_EQ(glInteger(parameter.name), parameter.value) << std::hex << parameter.name;
    }
  }
};

/// The memory behind a vector's last element: a write there would be one past the image.
template <typename Value>
std::vector<unsigned char> spare(const std::vector<Value>& values) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(values.data());
  return {bytes + values.size() * sizeof(Value), bytes + values.capacity() * sizeof(Value)};
}

INSTANTIATE_TEST_SUITE_P(EachParameterAndAll, PackStateGLTest, ::testing::Range(0, 8));

TEST_P(PackStateGLTest, leakedParametersDoNotAffectTheReadsAndStayUnchanged) {
  context->setPainter([this] {
    paintPattern();
    leak();
  });
  context->tool().addNestedCallback(new AfterCapture([this] { expectLeaked(); }));
  context->draw();
  expectPattern();
}

TEST_P(PackStateGLTest, leakedParametersCauseNoWritePastTheVectors) {
  setViewport(0.0, 0.0, 64.0, 64.0);
  context->draw();
  setViewport(0.0, 0.0, kWidth, kHeight);
  context->draw();
  const auto spares = [this] {
    return std::array{spare(frame().getDepthBuffer()), spare(frame().getItemIDBuffer()),
                      spare(frame().getItemFloatBuffer()), spare(frame().getPCFloatBuffer()),
                      spare(frame().getPCUIntBuffer())};
  };
  const auto before = spares();
  ASSERT_GE(before[0].size(), std::size_t{64 * 64 - kWidth * kHeight});
  context->setPainter([this] {
    paintPattern();
    leak();
  });
  context->draw();
  EXPECT_EQ(spares(), before);
}

TEST_P(PackStateGLTest, theImageOfACaptureOpIsTightlyPackedAndItsReceiverSeesTheApplicationsState) {
  context->setPainter([this] {
    paintPattern();
    leak();
  });
  const osg::ref_ptr<ImageOp> op = new ImageOp([this] { expectLeaked(); });
  context->tool().setCaptureOp(op);
  drawWhileWaiting(*op);
  EXPECT_EQ(op->image, Expected(kWidth, kHeight).colour);
  expectPattern();
}

TEST_F(ScreenCaptureToolGLTest, aReceiverThatChangesThePackStateDoesNotDisturbTheReadsAfterIt) {
  const osg::ref_ptr<ImageOp> op = new ImageOp([] { glPixelStorei(GL_PACK_ROW_LENGTH, 64); });
  context->tool().setCaptureOp(op);
  drawWhileWaiting(*op);
  expectPattern();
  context->makeCurrent();
  EXPECT_EQ(glInteger(GL_PACK_ROW_LENGTH), 64);
}

TEST_F(ScreenCaptureToolGLTest, aBoundPixelPackBufferStaysBoundAndUntouched) {
  const std::vector<unsigned char> canary(64 * 1024, 0xA5);
  const auto size = static_cast<std::ptrdiff_t>(canary.size());
  context->setPainter({});
  context->draw();
  context->makeCurrent();
  const osg::GLExtensions& gl = *context->state().get<osg::GLExtensions>();
  GLuint buffer = 0;
  gl.glGenBuffers(1, &buffer);
  context->setPainter([&] {
    paintPattern();
    gl.glBindBuffer(kGLPixelPackBuffer, buffer);
    gl.glBufferData(kGLPixelPackBuffer, size, canary.data(), kGLStreamRead);
  });
  std::vector<unsigned char> content(canary.size());
  GLint bound = 0;
  context->tool().addNestedCallback(new AfterCapture([&] {
    bound = glInteger(kGLPixelPackBufferBinding);
    gl.glGetBufferSubData(kGLPixelPackBuffer, 0, size, content.data());
    gl.glBindBuffer(kGLPixelPackBuffer, 0);
  }));
  context->draw();
  expectPattern();  // not in the first frame
  EXPECT_EQ(bound, static_cast<GLint>(buffer));
  EXPECT_EQ(content, canary);
  context->makeCurrent();
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
  gl.glDeleteBuffers(1, &buffer);
}

TEST_F(ScreenCaptureToolGLTest, leavesTheObjectBoundForReadingAtAttachmentFourAndNoneForDrawing) {
  std::array<GLint, 3> left{};
  context->tool().addNestedCallback(new AfterCapture([&left] {
    left = {glInteger(kGLReadFramebufferBinding), glInteger(GL_READ_BUFFER), glInteger(kGLDrawFramebufferBinding)};
  }));
  context->draw();
  const auto handle = static_cast<GLint>(context->frameBufferObject().getHandle(context->state().getContextID()));
  EXPECT_NE(handle, 0);
  EXPECT_THAT(left, ElementsAre(handle, kGLColorAttachment4, 0));
}

TEST_F(ScreenCaptureToolGLTest, aCaptureCausesNoGLError) {
  GLenum error = GL_INVALID_VALUE;
  context->tool().addNestedCallback(new AfterCapture([&error] { error = glGetError(); }));
  context->setPainter([this] {
    paintPattern();
    while (glGetError() != GL_NO_ERROR) {
    }
  });
  context->draw();
  EXPECT_EQ(error, static_cast<GLenum>(GL_NO_ERROR));
}

// The lock.

TEST_F(ScreenCaptureToolGLTest, aChangeOfSizeWaitsForTheReaderThatHoldsTheLock) {
  context->draw();
  setViewport(0.0, 0.0, 4.0, 3.0);
  std::atomic<bool> released{false};
  frame().lock();
  std::thread reader([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(frame().getDepthBuffer().size(), static_cast<std::size_t>(kWidth * kHeight));
    released = true;
    frame().release();
  });
  context->draw();
  EXPECT_TRUE(released);
  reader.join();
  expectSizes(12);
}

TEST_F(ScreenCaptureToolGLTest, aChangeOfSizeLeavesTheLockFree) {
  context->draw();
  frame().lock();
  frame().release();
}

TEST_F(ScreenCaptureToolGLTest, aCaptureOfTheSameSizeNeverWaitsForTheLock) {
  context->draw();
  frame().lock();
  context->draw();
  frame().release();
  expectPattern();
}

// Requests for the colour image.

TEST_F(ScreenCaptureToolGLTest, theColourImageReachesTheWaitingThreadOnceAndTheRequestIsDropped) {
  const osg::ref_ptr<ImageOp> op = new ImageOp;
  context->tool().setCaptureOp(op);
  EXPECT_EQ(context->tool().getCaptureOp(), op.get());
  Waiter waiter(*op);
  context->draw();
  waiter.join();
  EXPECT_TRUE(waiter.released());
  EXPECT_EQ(op->calls, 1);
  EXPECT_THAT(op->size, ElementsAre(kWidth, kHeight));
  EXPECT_EQ(op->image, Expected(kWidth, kHeight).colour);
  EXPECT_EQ(context->tool().getCaptureOp(), nullptr);
  context->draw();
  EXPECT_EQ(op->calls, 1);
  expectPattern();
}

TEST_F(ScreenCaptureToolGLTest, theDrawThreadWaitsUntilTheOtherThreadArrives) {
  const osg::ref_ptr<ImageOp> op = new ImageOp;
  context->tool().setCaptureOp(op);
  std::atomic<bool> arriving{false};
  std::thread application([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    arriving = true;
    op->block();
  });
  context->draw();
  EXPECT_TRUE(arriving);
  application.join();
}

TEST_F(ScreenCaptureToolGLTest, invalidateFreesAThreadThatWaitsForAFrameThatNeverComes) {
  const osg::ref_ptr<ImageOp> op = new ImageOp;
  context->tool().setCaptureOp(op);
  Waiter waiter(*op);
  while (op->numThreadsCurrentlyBlocked() < 1) {
    std::this_thread::yield();
  }
  context->tool().setCaptureOp(nullptr);
  EXPECT_FALSE(waiter.released());
  op->invalidate();
  waiter.join();
  EXPECT_EQ(op->calls, 0);
}

TEST_F(ScreenCaptureToolGLTest, anInvalidatedRequestIsServedWithoutAWaitingThread) {
  const osg::ref_ptr<ImageOp> op = new ImageOp;
  op->invalidate();
  context->tool().setCaptureOp(op);
  context->draw();
  EXPECT_EQ(op->calls, 1);
  EXPECT_EQ(context->tool().getCaptureOp(), nullptr);
  op->block();
}

TEST_F(ScreenCaptureToolGLTest, theWaitingThreadGoesOnOnlyAfterItHasTheImage) {
  bool releasedTooEarly = false;
  Waiter* waiting = nullptr;
  const osg::ref_ptr<ImageOp> op = new ImageOp([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    releasedTooEarly = waiting->released();
  });
  context->tool().setCaptureOp(op);
  Waiter waiter(*op);
  waiting = &waiter;
  context->draw();
  EXPECT_FALSE(releasedTooEarly);
}

TEST_F(ScreenCaptureToolGLTest, aRequestSetWhileNoFrameBufferObjectIsAppliedIsNotServed) {
  const osg::ref_ptr<ImageOp> op = new ImageOp;
  context->tool().setCaptureOp(op);
  context->makeCurrent();
  capture(untouchedState(), {&context->camera()});
  EXPECT_EQ(op->calls, 0);
  EXPECT_EQ(context->tool().getCaptureOp(), op.get());
  drawWhileWaiting(*op);
  EXPECT_EQ(op->calls, 1) << "the next capture with an object serves it";
}

TEST_F(ScreenCaptureToolGLTest, oneRequestAfterAnotherIsServed) {
  for (int i = 0; i < 3; ++i) {
    const osg::ref_ptr<ImageOp> op = new ImageOp;
    context->tool().setCaptureOp(op);
    drawWhileWaiting(*op);
    EXPECT_EQ(op->image, Expected(kWidth, kHeight).colour);
    EXPECT_EQ(context->tool().getCaptureOp(), nullptr);
  }
}

TEST_F(ScreenCaptureToolGLTest, aRequestIsPendingWhileItIsServed) {
  CaptureOp* pending = nullptr;
  const osg::ref_ptr<ImageOp> op = new ImageOp([&] { pending = context->tool().getCaptureOp(); });
  context->tool().setCaptureOp(op);
  drawWhileWaiting(*op);
  EXPECT_EQ(pending, op.get());
}

TEST_F(ScreenCaptureToolGLTest, aRequestSetWhileAnotherIsServedStaysPending) {
  const osg::ref_ptr<ImageOp> next = new ImageOp;
  const osg::ref_ptr<ImageOp> op = new ImageOp([&] { context->tool().setCaptureOp(next); });
  context->tool().setCaptureOp(op);
  drawWhileWaiting(*op);
  EXPECT_EQ(context->tool().getCaptureOp(), next.get());
  drawWhileWaiting(*next);
  EXPECT_EQ(next->calls, 1);
}

TEST_F(ScreenCaptureToolGLTest, aRequestInAnEmptyViewportReceivesAnEmptyImage) {
  setViewport(0.0, 0.0, 0.0, 5.0);
  const osg::ref_ptr<ImageOp> op = new ImageOp;
  context->tool().setCaptureOp(op);
  drawWhileWaiting(*op);
  EXPECT_EQ(op->calls, 1);
  EXPECT_TRUE(op->image.empty());
}

TEST_F(ScreenCaptureToolGLTest, aReceiverMaySwapTheImageOut) {
  struct TakingOp : CaptureOp {
    void captureImage(int, int, Image& rgba) override { taken.swap(rgba); }
    Image taken;
  };
  for (int i = 0; i < 2; ++i) {
    const osg::ref_ptr<TakingOp> op = new TakingOp;
    context->tool().setCaptureOp(op);
    drawWhileWaiting(*op);
    EXPECT_EQ(op->taken, Expected(kWidth, kHeight).colour);
  }
}

TEST(CaptureOpTest, isAReferencedBarrierOfTwoWithBothFlagsFalse) {
  static_assert(std::is_abstract_v<CaptureOp>);
  static_assert(std::is_base_of_v<OpenThreads::Barrier, CaptureOp>);
  static_assert(std::is_base_of_v<osg::Referenced, CaptureOp>);
  const osg::ref_ptr<ImageOp> op = new ImageOp;
  EXPECT_FALSE(op->getFlag());
  EXPECT_FALSE(op->getActive());
  EXPECT_EQ(op->numThreadsCurrentlyBlocked(), 0);
  Waiter waiter(*op);
  op->block();
  waiter.join();
  EXPECT_TRUE(waiter.released());
}

TEST(CaptureOpTest, theFlagsArePlainAndSeparate) {
  const osg::ref_ptr<ImageOp> op = new ImageOp;
  op->setFlag(true);
  EXPECT_TRUE(op->getFlag());
  EXPECT_FALSE(op->getActive());
  op->setActive(true);
  op->setFlag(false);
  EXPECT_FALSE(op->getFlag());
  EXPECT_TRUE(op->getActive());
}

TEST(ScreenCaptureToolTest, holdsExactlyOneReferenceToThePendingRequest) {
  osg::ref_ptr<ScreenCaptureTool> tool = new ScreenCaptureTool;
  const osg::ref_ptr<ImageOp> op = new ImageOp;
  tool->setCaptureOp(op);
  EXPECT_EQ(op->referenceCount(), 2);
  tool->setCaptureOp(op);
  EXPECT_EQ(op->referenceCount(), 2);
  tool->setCaptureOp(nullptr);
  EXPECT_EQ(op->referenceCount(), 1);
  EXPECT_EQ(tool->getCaptureOp(), nullptr);
  tool->setCaptureOp(op);
  tool = nullptr;
  EXPECT_EQ(op->referenceCount(), 1);
}

TEST(ScreenCaptureToolTest, replacingARequestReleasesTheOldOne) {
  const osg::ref_ptr<ScreenCaptureTool> tool = new ScreenCaptureTool;
  const osg::observer_ptr<CaptureOp> old = new ImageOp;
  tool->setCaptureOp(old.get());
  tool->setCaptureOp(new ImageOp);
  EXPECT_FALSE(old.valid());
}

TEST(ScreenCaptureToolTest, onlyTheToolCreatesAFrameBufferAndAnyThreadMayLockIt) {
  using FrameBuffer = ScreenCaptureTool::FrameBuffer;
  static_assert(!std::is_default_constructible_v<FrameBuffer>);
  static_assert(std::is_destructible_v<FrameBuffer>);
  static_assert(std::is_base_of_v<QuorOsgUtils::SpinLock, FrameBuffer>);
  const osg::ref_ptr<ScreenCaptureTool> tool = new ScreenCaptureTool;
  const std::lock_guard<QuorOsgUtils::SpinLock> guard(tool->getFrameBuffer());
}
