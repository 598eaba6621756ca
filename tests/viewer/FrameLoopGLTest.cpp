#include "support/platform/Desktop.h"
#include "tests/viewer/SceneFixture.h"
#include "viewer/render/FrameLoop.h"

#include <osg/BufferObject>
#include <osg/GLExtensions>
#include <osg/NodeVisitor>
#include <osg/observer_ptr>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <future>
#include <map>
#include <random>
#include <thread>
#include <tuple>

namespace {

using namespace QuorTests;
using namespace QuorViewer;
using Model = osgViewer::ViewerBase::ThreadingModel;

constexpr std::uint64_t kBytesPerPoint = 20;
constexpr unsigned int kPointsPerScan = kColumns * kRows;

/// The number of GL objects in a context.
struct GlNames {
  int buffers = 0;
  int textures = 0;

  bool operator==(const GlNames& other) const {
    return std::tie(buffers, textures) == std::tie(other.buffers, other.textures);
  }
};

std::ostream& operator<<(std::ostream& out, const GlNames& names) {
  return out << names.buffers << " buffers, " << names.textures << " textures";
}

/// Counts on the graphics thread. Names are assigned from 1 upwards, lowest first, so few reach the limit.
class CountNames : public osg::GraphicsOperation {
 public:
  CountNames() : osg::GraphicsOperation("CountNames", false) {}
  void operator()(osg::GraphicsContext* context) override {
    constexpr GLuint kLimit = 20000;
    const auto* gl = context->getState()->get<osg::GLExtensions>();
    GlNames names;
    for (GLuint name = 1; name < kLimit; ++name) {
      names.buffers += gl->glIsBuffer(name) != GL_FALSE;
      names.textures += glIsTexture(name) != GL_FALSE;
    }
    _counted.set_value(names);
  }
  GlNames counted() { return _counted.get_future().get(); }

 private:
  std::promise<GlNames> _counted;
};

/// Makes OSG count a buffer object, larger than any test could fill, as being on the GPU. Runs on the graphics thread.
class RaiseBuffer : public osg::GraphicsOperation {
 public:
  explicit RaiseBuffer(osg::BufferObject* buffer) : osg::GraphicsOperation("RaiseBuffer", false), _buffer(buffer) {}
  void operator()(osg::GraphicsContext* context) override {
    _buffer->getOrCreateGLBufferObject(context->getState()->getContextID());
  }

 private:
  osg::ref_ptr<osg::BufferObject> _buffer;
};

/// Makes frames so slow that OSG has no time left to free many objects.
class SlowDrawing : public osg::Camera::DrawCallback {
 public:
  explicit SlowDrawing(std::chrono::milliseconds delay = std::chrono::milliseconds(40)) : _delay(delay) {}
  void operator()(osg::RenderInfo& /*info*/) const override { std::this_thread::sleep_for(_delay); }

 private:
  std::chrono::milliseconds _delay;
};

class CountNodes : public osg::NodeVisitor {
 public:
  CountNodes() : osg::NodeVisitor(TRAVERSE_ALL_CHILDREN) { setNodeMaskOverride(~0U); }
  void apply(osg::Node& node) override {
    ++_count;
    traverse(node);
  }
  int count() const { return _count; }

 private:
  int _count = 0;
};

/// Counts the events that reach the viewer's handlers, and may ask for a frame at the next one of a type.
class CountEvents : public osgGA::GUIEventHandler {
 public:
  using Type = osgGA::GUIEventAdapter::EventType;

  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override {
    ++_counts[ea.getEventType()];
    if (ea.getEventType() == _requestAt) {
      _requestAt = osgGA::GUIEventAdapter::NONE;
      aa.requestRedraw();
    }
    return false;
  }
  int count(Type type) { return _counts[type]; }
  void requestFrameAtNext(Type type) { _requestAt = type; }

 private:
  std::map<Type, int> _counts;
  Type _requestAt = osgGA::GUIEventAdapter::NONE;
};

class FrameLoopGLTest : public SceneFixture, public testing::WithParamInterface<Model> {
 protected:
  void SetUp() override {
    SceneFixture::SetUp();
    if (!IsSkipped()) {
      _loop = std::make_unique<FrameLoop>(*_viewer, GetParam());
      settle();
    }
  }
  void TearDown() override { _loop.reset(); }

  void settle() {
    constexpr int kEnough = 5;
    for (int frame = 0; frame < kEnough; ++frame) {
      _loop->draw();
    }
  }
  void add(unsigned int scan) { _scene->cloud.add(scan, createChunk()); }
  osg::observer_ptr<osg::Node> close(unsigned int scan) {
    const osg::ref_ptr<osg::Node> points = _scene->cloud.release(scan);
    _loop->remove(_scene->cloud.node(), points);
    return points.get();
  }
  GlNames glNames() {
    const osg::ref_ptr<CountNames> count = new CountNames;
    _viewer->getCamera()->getGraphicsContext()->add(count);
    _loop->draw();
    return count->counted();
  }
  int nodes() {
    CountNodes count;
    _viewer->getCamera()->accept(count);
    return count.count();
  }

  /// Lets the display's real pointer and keyboard act on the window, whose events are counted.
  void receiveInput() {
    _events = new CountEvents;
    _viewer->addEventHandler(_events);
    ASSERT_TRUE(_window.find("scene test"));
    _window.movePointer(50, 50);
    runUntil([] { return false; }, std::chrono::milliseconds(500));
  }
  /// Runs the loop as the viewer does, until a condition holds. False if it does not hold in time.
  bool runUntil(const std::function<bool()>& holds, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!holds() && std::chrono::steady_clock::now() < end) {
      if (_loop->handleEvents()) {
        _loop->draw();
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return holds();
  }

  std::unique_ptr<FrameLoop> _loop;
  osg::ref_ptr<CountEvents> _events;
  RemoteWindow _window;
};

TEST_P(FrameLoopGLTest, pointerMovesAndKeysReachTheHandlersWithoutAFrame) {
  using Event = osgGA::GUIEventAdapter;
  constexpr int kMoves = 40;
  receiveInput();
  const std::uint64_t frames = _loop->frameCount();
  const int movesBefore = _events->count(Event::MOVE);
  for (int move = 1; move <= kMoves; ++move) {
    _window.movePointer(50 + 10 * move, 50 + 8 * move);
    EXPECT_TRUE(runUntil([&] { return _events->count(Event::MOVE) >= movesBefore + move; })) << move;
  }
  _window.key("k");
  EXPECT_TRUE(runUntil([&] { return _events->count(Event::KEYUP) > 0; }));
  EXPECT_EQ(_events->count(Event::KEYDOWN), 1);
  EXPECT_EQ(_loop->frameCount(), frames);
}

TEST_P(FrameLoopGLTest, aHandlerThatAsksForAFrameAtAnEventGetsExactlyOne) {
  using Event = osgGA::GUIEventAdapter;
  receiveInput();
  for (const Event::EventType type : {Event::KEYDOWN, Event::FRAME}) {
    SCOPED_TRACE(type);
    const std::uint64_t frames = _loop->frameCount();
    const int keysBefore = _events->count(Event::KEYUP);
    _events->requestFrameAtNext(type);
    _window.key("k");
    EXPECT_TRUE(runUntil([&] { return _events->count(Event::KEYUP) > keysBefore; }));
    runUntil([] { return false; }, std::chrono::milliseconds(300));
    EXPECT_EQ(_loop->frameCount(), frames + 1);
  }
}

TEST_P(FrameLoopGLTest, everyDrawnFrameSendsAFrameEvent) {
  receiveInput();
  const int before = _events->count(osgGA::GUIEventAdapter::FRAME);
  constexpr int kFrames = 3;
  for (int frame = 0; frame < kFrames; ++frame) {
    _loop->draw();
  }
  EXPECT_EQ(_events->count(osgGA::GUIEventAdapter::FRAME), before + kFrames);
}

TEST_P(FrameLoopGLTest, aResizedWindowIsDrawn) {
  receiveInput();
  const std::uint64_t frames = _loop->frameCount();
  _window.resize(kWidth - 100, kHeight - 60);
  EXPECT_TRUE(runUntil([&] { return width() == kWidth - 100 && height() == kHeight - 60; }));
  EXPECT_GT(_loop->frameCount(), frames);
}

TEST_P(FrameLoopGLTest, theThreadsAreThoseOfTheModel) {
  EXPECT_EQ(_viewer->getThreadingModel(), GetParam());
  EXPECT_EQ(_viewer->areThreadsRunning(), GetParam() != osgViewer::ViewerBase::SingleThreaded);
}

TEST_P(FrameLoopGLTest, aFrameHasBeenDrawnAndCapturedWhenDrawReturns) {
  EXPECT_EQ(seenPoints().size(), kPointsPerScan);
  _scene->cloud.node()->setNodeMask(0);
  _loop->draw();
  EXPECT_TRUE(seenPoints().empty());
}

TEST_P(FrameLoopGLTest, removedScansLeaveTheSceneAtTheEndOfTheNextFrame) {
  const auto points = close(1);
  EXPECT_EQ(_scene->cloud.node()->getNumChildren(), 1U);
  _loop->draw();
  EXPECT_EQ(_scene->cloud.node()->getNumChildren(), 0U);
  settle();
  EXPECT_FALSE(points.valid());
}

TEST_P(FrameLoopGLTest, theNextFrameNoLongerShowsRemovedScans) {
  close(1);
  _loop->draw();
  EXPECT_TRUE(seenPoints().empty());
}

TEST_P(FrameLoopGLTest, gpuBuffersAreCountedAndFreedWithTheScan) {
  const std::uint64_t before = _loop->gpuBufferBytes();
  const GlNames namesBefore = glNames();
  add(2);
  settle();
  EXPECT_GE(_loop->gpuBufferBytes(), before + kPointsPerScan * kBytesPerPoint);
  EXPECT_GT(glNames().buffers, namesBefore.buffers);
  close(2);
  settle();
  EXPECT_EQ(_loop->gpuBufferBytes(), before);
  EXPECT_EQ(glNames(), namesBefore);
}

TEST_P(FrameLoopGLTest, buffersOfManyGibibytesAreCountedAndMayBeFreedInOneFrame) {
  constexpr unsigned int kSizeBytes = 3000000000U;
  const std::uint64_t before = _loop->gpuBufferBytes();
  std::vector<osg::ref_ptr<osg::BufferObject>> buffers;
  while (buffers.size() < 3) {
    buffers.emplace_back(new osg::VertexBufferObject);
    buffers.back()->getProfile()._size = kSizeBytes;
    _viewer->getCamera()->getGraphicsContext()->add(new RaiseBuffer(buffers.back()));
    settle();
    EXPECT_EQ(_loop->gpuBufferBytes(), before + buffers.size() * std::uint64_t{kSizeBytes});
  }
  buffers.clear();
  settle();
  EXPECT_EQ(_loop->gpuBufferBytes(), before);
}

TEST_P(FrameLoopGLTest, enoughFramesAreRequestedToFreeAWholeScan) {
  const std::uint64_t before = _loop->gpuBufferBytes();
  add(2);
  settle();
  close(2);
  int frames = 0;
  while (_viewer->checkNeedToDoFrame()) {
    ASSERT_LT(++frames, 20);
    _loop->draw();
  }
  EXPECT_EQ(_loop->gpuBufferBytes(), before);
}

TEST_P(FrameLoopGLTest, aScanOfManyBuffersIsFreedAtOnceHoweverSlowFramesAre) {
  constexpr int kChunks = 8000;
  const std::uint64_t before = _loop->gpuBufferBytes();
  for (int chunk = 0; chunk < kChunks; ++chunk) {
    add(2);
  }
  settle();
  EXPECT_GE(_loop->gpuBufferBytes(), before + kChunks * kPointsPerScan * kBytesPerPoint);
  _viewer->getCamera()->setInitialDrawCallback(new SlowDrawing);
  close(2);
  _loop->draw();
  _loop->draw();
  EXPECT_EQ(_loop->gpuBufferBytes(), before);
}

TEST_P(FrameLoopGLTest, aProgressFrameIsDueAfterOtherWorkOfFourTimesTheLatestFramesDuration) {
  constexpr std::chrono::milliseconds kDelay(300);
  _viewer->getCamera()->setInitialDrawCallback(new SlowDrawing(kDelay));
  const auto begin = std::chrono::steady_clock::now();
  _loop->draw();
  const auto atMost = std::chrono::steady_clock::now() - begin;
  std::this_thread::sleep_for(kDelay);
  EXPECT_FALSE(_loop->isProgressFrameDue());
  std::this_thread::sleep_for(4 * atMost - kDelay);
  EXPECT_TRUE(_loop->isProgressFrameDue());
}

TEST_P(FrameLoopGLTest, aThousandScansAddedAndClosedAtRandomLeaveNothing) {
  const GlNames namesBefore = glNames();
  const int nodesBefore = nodes();
  const std::uint64_t bytesBefore = _loop->gpuBufferBytes();
  constexpr unsigned int kLatest = 1001;
  std::mt19937 random(1);
  std::vector<unsigned int> open;
  std::vector<osg::observer_ptr<osg::Node>> closed;
  unsigned int latest = 1;
  while (latest < kLatest || !open.empty()) {
    const auto dice = random() % 9;
    if (latest < kLatest && dice < 4) {
      add(++latest);
      open.push_back(latest);
    } else if (!open.empty() && dice < 8) {
      std::swap(open[random() % open.size()], open.back());
      closed.push_back(close(open.back()));
      open.pop_back();
    } else {
      _loop->draw();
    }
  }
  settle();
  EXPECT_EQ(closed.size(), 1000U);
  for (const auto& points : closed) {
    EXPECT_FALSE(points.valid());
  }
  EXPECT_EQ(nodes(), nodesBefore);
  EXPECT_EQ(_loop->gpuBufferBytes(), bytesBefore);
  EXPECT_EQ(glNames(), namesBefore);
  EXPECT_EQ(seenPoints().size(), kPointsPerScan);
  EXPECT_EQ(_scene->target.glErrorCount(), 0U);
}

struct NamedModel {
  Model model;
  const char* name;
};

std::string nameOf(const testing::TestParamInfo<Model>& info) {
  constexpr std::array<NamedModel, 4> kNames = {
      {{osgViewer::ViewerBase::SingleThreaded, "single"},
       {osgViewer::ViewerBase::CullDrawThreadPerContext, "cullAndDraw"},
       {osgViewer::ViewerBase::DrawThreadPerContext, "draw"},
       {osgViewer::ViewerBase::CullThreadPerCameraDrawThreadPerContext, "camera"}}};
  return std::find_if(kNames.begin(), kNames.end(), [&](const NamedModel& named) { return named.model == info.param; })
      ->name;
}

INSTANTIATE_TEST_SUITE_P(InEachThreadingModel, FrameLoopGLTest,
                         testing::Values(osgViewer::ViewerBase::SingleThreaded,
                                         osgViewer::ViewerBase::CullDrawThreadPerContext,
                                         osgViewer::ViewerBase::DrawThreadPerContext,
                                         osgViewer::ViewerBase::CullThreadPerCameraDrawThreadPerContext),
                         nameOf);

}  // namespace
