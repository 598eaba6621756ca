#include "gl/extras/PlaneFixture.h"

#include <QuorOsgUtils/PrecisePivotManipulator.h>
#include <QuorOsgUtils/SPointCloudManipulator.h>
#include <QuorOsgUtils/SPointCloudPrivotManipulator.h>
#include <QuorOsgUtils/SnapshotCaptureTool.h>

#include <osg/GLExtensions>
#include <osg/MatrixTransform>
#include <osg/Projection>
#include <osg/Viewport>
#include <osgGA/GUIEventAdapter>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace {

using namespace QuorTests;
using namespace QuorOsgUtils;
using namespace std::chrono_literals;

class SnapshotCaptureToolGLTest : public PlaneFixture, public testing::WithParamInterface<ThreadingModel> {
 protected:
  void SetUp() override { start(GetParam()); }
};

TEST_P(SnapshotCaptureToolGLTest, everyPickLiesOnThePlaneWhileTheCameraMoves) {
  _plane->setDrawCallback(new SlowDraw);
  osg::ref_ptr<const FrameSnapshot> seen;
  int frames = 0, misses = 0;
  for (int step = 0; step < 60; ++step) {
    moveTo(step);
    _offscreen->startFrame();
    moveTo(step + 1);  // the event thread is ahead of the draw
    const osg::ref_ptr<const FrameSnapshot> latest = tool().latest();
    if (latest && latest != seen) {
      misses += missesOf(*latest);
      ++frames;
      seen = latest;
    }
  }
  EXPECT_GT(frames, 20);
  EXPECT_EQ(misses, 0);
}

/// What `ScreenCaptureTool` documents of its matrices: they are the camera's, which may be the next frame's.
TEST_P(SnapshotCaptureToolGLTest, theToolItselfMissesThePlaneWhereDrawsOverlapTheNextEvents) {
  const osg::ref_ptr<ScreenCaptureTool> plain = new ScreenCaptureTool;
  camera().setPostDrawCallback(plain);
  _plane->setDrawCallback(new SlowDraw);
  double worst = 0.0;
  for (int step = 0; step < 10; ++step) {
    moveTo(step);
    _offscreen->startFrame();
    moveTo(step + 1);
    _offscreen->finish();
    ScreenCaptureTool::FrameBuffer& frame = plain->getFrameBuffer();
    const osg::Vec3d found = unproject(frame.getViewMatrix(), frame.getProjectionMatrix(), kWidth, kHeight, 20, 20,
                                       frame.getDepthBuffer()[20 * kWidth + 20]);
    worst = std::max(worst, distanceFromPlane(found));
  }
  const bool drawsOverlap = GetParam() == osgViewer::ViewerBase::DrawThreadPerContext ||
                            GetParam() == osgViewer::ViewerBase::CullThreadPerCameraDrawThreadPerContext;
  if (drawsOverlap) {
    EXPECT_GT(worst, 10.0 * kTolerance);
  } else {
    EXPECT_LT(worst, kTolerance);
  }
}

TEST_P(SnapshotCaptureToolGLTest, readersOnOtherThreadsNeverSeeATornFrameAndDoNotStopTheDrawing) {
  std::atomic<bool> done{false};
  std::atomic<int> read{0}, misses{0};
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      osg::ref_ptr<const FrameSnapshot> seen;
      while (!done) {
        seen = tool().waitForNext(seen, 100ms);
        misses += seen ? missesOf(*seen) : 0;
        read += seen ? 1 : 0;
      }
    });
  }
  for (int step = 0; step < 150; ++step) {
    moveTo(step);
    _offscreen->startFrame();
  }
  _offscreen->finish();
  done = true;
  for (std::thread& reader : readers) {
    reader.join();
  }
  EXPECT_GT(read, 0);
  EXPECT_EQ(misses, 0);
}

TEST_P(SnapshotCaptureToolGLTest, aHeldFrameNeverChanges) {
  _offscreen->draw();
  const osg::ref_ptr<const FrameSnapshot> held = tool().latest();
  ASSERT_TRUE(held);
  const std::vector<float> depths = held->depths, positions = held->itemFloats;
  const osg::Matrixd view = held->viewMatrix;
  const unsigned int number = held->frameNumber;
  for (int step = 1; step < 6; ++step) {
    moveTo(step * 3);
    _offscreen->draw();
    EXPECT_NE(tool().latest(), held);
  }
  EXPECT_EQ(held->depths, depths);
  EXPECT_EQ(held->itemFloats, positions);
  EXPECT_EQ(held->viewMatrix, view);
  EXPECT_EQ(held->frameNumber, number);
}

TEST_P(SnapshotCaptureToolGLTest, everyBufferHoldsItsAttachmentAndTheFrameItsNumber) {
  _offscreen->draw();
  moveTo(5);
  _offscreen->draw();
  const osg::ref_ptr<const FrameSnapshot> frame = tool().latest();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->frameNumber, _offscreen->viewer().getFrameStamp()->getFrameNumber());
  EXPECT_EQ(frame->viewMatrix, camera().getViewMatrix());
  EXPECT_EQ(frame->viewport, (PixelRectangle{0, 0, kWidth, kHeight}));
  ASSERT_EQ(frame->depths.size(), static_cast<std::size_t>(kWidth * kHeight));
  for (std::size_t first = 0; first < frame->itemIDs.size(); first += 4) {
    ASSERT_THAT(std::vector(&frame->itemIDs[first], &frame->itemIDs[first] + 4), testing::ElementsAre(7, 11, 12, 13));
    ASSERT_THAT(std::vector(&frame->pcFloats[first], &frame->pcFloats[first] + 4),
                testing::ElementsAre(7.5f, 0.0f, 0.0f, 1.0f));
    ASSERT_THAT(std::vector(&frame->pcInts[first], &frame->pcInts[first] + 4), testing::ElementsAre(-7, 0, 0, 1));
  }
  EXPECT_EQ(missesOf(*frame), 0);
  const auto [least, most] = std::minmax_element(frame->depths.begin(), frame->depths.end());
  EXPECT_EQ(frame->minDepth, *least);
  EXPECT_LE(frame->maxDepth, *most);
}

TEST_P(SnapshotCaptureToolGLTest, aViewportAwayFromTheOriginIsCapturedAtItsPixels) {
  camera().setViewport(30, 20, 90, 60);
  _offscreen->draw();
  const osg::ref_ptr<const FrameSnapshot> frame = tool().latest();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->viewport, (PixelRectangle{30, 20, 90, 60}));
  EXPECT_EQ(frame->region, frame->viewport);
  EXPECT_EQ(frame->pixelAt(30, 20), 0U);
  EXPECT_EQ(frame->pixelAt(119, 79), 90U * 60U - 1U);
  EXPECT_FALSE(frame->pixelAt(29, 20));
  EXPECT_FALSE(frame->pixelAt(120, 79));
  EXPECT_EQ(missesOf(*frame), 0);
}

TEST_P(SnapshotCaptureToolGLTest, aViewportPartlyOutsideTheWindowIsKeptWholeAndPicksInTheRestAreExact) {
  for (const PixelRectangle& viewport : {PixelRectangle{-40, 0, kWidth, kHeight}, PixelRectangle{-40, -30, 110, 90}}) {
    camera().setViewport(viewport.x, viewport.y, viewport.width, viewport.height);
    _offscreen->draw();
    const osg::ref_ptr<const FrameSnapshot> frame = tool().latest();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->viewport, viewport);
    EXPECT_EQ(frame->region, (PixelRectangle{0, 0, viewport.width + viewport.x, viewport.height + viewport.y}));
    EXPECT_EQ(wrongPicksOf(*frame), 0);
  }
}

TEST_P(SnapshotCaptureToolGLTest, aViewportChangedBetweenCullAndDrawIsThatOfTheNextFrame) {
  for (const PixelRectangle& next : {PixelRectangle{0, 0, kWidth / 2, kHeight / 3},
                                     PixelRectangle{0, 0, 2 * kWidth, 2 * kHeight}, PixelRectangle{90, 30, 70, 85}}) {
    camera().setViewport(0, 0, kWidth, kHeight);
    camera().setInitialDrawCallback(new LateViewport(next));
    _offscreen->draw();
    EXPECT_EQ(tool().latest()->viewport, (PixelRectangle{0, 0, kWidth, kHeight}));
    EXPECT_EQ(tool().latest()->region, (PixelRectangle{0, 0, kWidth, kHeight}));
    EXPECT_EQ(wrongPicksOf(*tool().latest()), 0);
    camera().setInitialDrawCallback(nullptr);
    _offscreen->draw();
    EXPECT_EQ(tool().latest()->viewport, next);
    EXPECT_EQ(wrongPicksOf(*tool().latest()), 0);
  }
}

TEST_P(SnapshotCaptureToolGLTest, anEmptySceneIsCapturedInTheViewportOfTheCamera) {
  _offscreen->scene().removeChildren(0, 1);
  for (const PixelRectangle& viewport : {PixelRectangle{0, 0, 1000, 700}, PixelRectangle{300, 200, 60, 40}}) {
    camera().setViewport(viewport.x, viewport.y, viewport.width, viewport.height);
    _offscreen->draw();
    const osg::ref_ptr<const FrameSnapshot> frame = tool().latest();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->viewport, viewport);
    EXPECT_EQ(frame->region, viewport);
    EXPECT_EQ(frame->depths, std::vector<float>(frame->pixelCount(), 1.0f));
  }
}

TEST_P(SnapshotCaptureToolGLTest, aGroupWithAViewportOfItsOwnIsCapturedInTheWholeView) {
  const osg::ref_ptr<osg::Group> compass = new osg::Group;
  compass->getOrCreateStateSet()->setAttribute(new osg::Viewport(0, 0, 50, 50));
  compass->getOrCreateStateSet()->setRenderBinDetails(100, "RenderBin");
  compass->addChild(createOverlay(kPlane));
  _offscreen->scene().addChild(compass);
  _offscreen->draw();
  ASSERT_TRUE(tool().latest());
  EXPECT_EQ(tool().latest()->viewport, (PixelRectangle{0, 0, kWidth, kHeight}));
}

/// Says when it is drawn, and then takes its time.
struct AnnouncedDraw : osg::Drawable::DrawCallback {
  void drawImplementation(osg::RenderInfo& renderInfo, const osg::Drawable* drawable) const override {
    drawable->drawImplementation(renderInfo);
    isDrawn = true;
    std::this_thread::sleep_for(50ms);
  }
  mutable std::atomic<bool> isDrawn{false};
};

TEST_P(SnapshotCaptureToolGLTest, aViewportChangedWhileTheFrameIsDrawnIsThatOfTheNextOne) {
  _offscreen->draw();
  const osg::ref_ptr<AnnouncedDraw> drawing = new AnnouncedDraw;
  _plane->setDrawCallback(drawing);
  _offscreen->startFrame();
  while (!drawing->isDrawn) {
    std::this_thread::sleep_for(1ms);
  }
  camera().setViewport(20, 10, 50, 40);
  _offscreen->finish();
  EXPECT_EQ(tool().latest()->viewport, (PixelRectangle{0, 0, kWidth, kHeight}));
  EXPECT_EQ(missesOf(*tool().latest()), 0);
  _offscreen->draw();
  EXPECT_EQ(tool().latest()->viewport, (PixelRectangle{20, 10, 50, 40}));
}

TEST_P(SnapshotCaptureToolGLTest, anIncompleteObjectIsNotReadAndRequestsStayPending) {
  ReadBack onDemand;
  onDemand.everyFrame = false;
  tool().setReadBack(onDemand);
  tool().requestFrame();
  _offscreen->state().setCheckForGLErrors(osg::State::NEVER_CHECK_GL_ERRORS);
  camera().setViewport(0, 0, 100000, 10);  // more than any implementation's largest image
  _offscreen->draw();
  EXPECT_EQ(tool().latest(), nullptr);
  EXPECT_TRUE(tool().isFramePending());
  camera().setViewport(0, 0, kWidth, kHeight);
  _offscreen->draw();
  EXPECT_EQ(missesOf(*tool().latest()), 0);
  EXPECT_FALSE(tool().isFramePending());
}

TEST_P(SnapshotCaptureToolGLTest, theLongestWaitEndsWithTheNextFrame) {
  std::future<osg::ref_ptr<const FrameSnapshot>> next =
      std::async(std::launch::async, [this] { return tool().waitForNext(nullptr, std::chrono::milliseconds::max()); });
  EXPECT_EQ(next.wait_for(50ms), std::future_status::timeout);
  _offscreen->draw();
  EXPECT_TRUE(next.get());
}

TEST_P(SnapshotCaptureToolGLTest, textUnderAProjectionOfItsOwnDoesNotAffectTheMatrices) {
  osg::ref_ptr<osg::Projection> flat = new osg::Projection(osg::Matrixd::ortho2D(0.0, 1.0, 0.0, 1.0));
  osg::ref_ptr<osg::MatrixTransform> place = new osg::MatrixTransform;
  place->setReferenceFrame(osg::Transform::ABSOLUTE_RF);
  place->addChild(createOverlay({{0.0f, 0.0f, 0.0f}, {0.01f, 0.0f, 0.0f}, {0.0f, 0.01f, 0.0f}}));
  place->getOrCreateStateSet()->setRenderBinDetails(100, "RenderBin");
  flat->addChild(place);
  _offscreen->scene().addChild(flat);
  _offscreen->draw();
  const osg::ref_ptr<const FrameSnapshot> frame = tool().latest();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->projectionMatrix, camera().getProjectionMatrix());
  EXPECT_EQ(missesOf(*frame), 0);
}

TEST_P(SnapshotCaptureToolGLTest, computedNearAndFarPlanesAreThoseOfTheFrame) {
  camera().setComputeNearFarMode(osg::CullSettings::COMPUTE_NEAR_FAR_USING_BOUNDING_VOLUMES);
  _plane->setDrawCallback(new SlowDraw);
  for (int step = 0; step < 8; ++step) {
    moveTo(step * 9);
    _offscreen->startFrame();
    moveTo(step * 9 + 5);
    if (const osg::ref_ptr<const FrameSnapshot> frame = tool().latest()) {
      EXPECT_EQ(missesOf(*frame), 0);
    }
  }
}

TEST_P(SnapshotCaptureToolGLTest, thereIsNoFrameBeforeTheFirstNorWithoutAFrameBufferObject) {
  EXPECT_EQ(tool().latest(), nullptr);
  EXPECT_EQ(tool().waitForNext(nullptr, 1ms), nullptr);
  camera().getOrCreateStateSet()->removeAttribute(osg::StateAttribute::FRAME_BUFFER_OBJECT);
  camera().setPreDrawCallback(nullptr);
  _offscreen->draw();
  EXPECT_EQ(tool().latest(), nullptr);
}

TEST_P(SnapshotCaptureToolGLTest, theFrameBufferIsFilledOnlyOnRequest) {
  _offscreen->draw();
  EXPECT_TRUE(tool().getFrameBuffer().getDepthBuffer().empty());
  tool().setFillsFrameBuffer(true);
  _offscreen->draw();
  EXPECT_EQ(tool().getFrameBuffer().getDepthBuffer(), tool().latest()->depths);
  EXPECT_EQ(tool().getFrameBuffer().getItemIDBuffer(), tool().latest()->itemIDs);
}

constexpr GLenum kGLDrawFramebufferBinding = 0x8CA6;
constexpr GLenum kGLReadFramebufferBinding = 0x8CAA;

struct Bindings {
  static Bindings current() {
    Bindings bindings;
    glGetIntegerv(kGLDrawFramebufferBinding, &bindings.draw);
    glGetIntegerv(kGLReadFramebufferBinding, &bindings.read);
    return bindings;
  }
  GLint draw = -1;
  GLint read = -1;
};

/// No thread needs to wait for it.
struct ColourOp : CaptureOp {
  void captureImage(int width, int height, std::vector<unsigned char>& rgba) override {
    size = {width, height};
    image.swap(rgba);
    bindings = Bindings::current();
  }
  std::array<int, 2> size{};
  std::vector<unsigned char> image;
  Bindings bindings;
};

struct KeepBindings : osg::Camera::DrawCallback {
  void operator()(osg::RenderInfo& /*renderInfo*/) const override { bindings = Bindings::current(); }
  using osg::Camera::DrawCallback::operator();
  mutable Bindings bindings;
};

TEST_P(SnapshotCaptureToolGLTest, anImageIsThatOfTheViewportWhetherTheFrameBufferIsFilledOrNot) {
  camera().setClearColor(osg::Vec4(0.0f, 0.0f, 1.0f, 1.0f));
  camera().setViewport(60, 40, 60, 40);
  for (const bool fills : {false, true}) {
    tool().setFillsFrameBuffer(fills);
    const osg::ref_ptr<ColourOp> op = new ColourOp;
    op->invalidate();
    tool().setCaptureOp(op);
    _offscreen->draw();
    ASSERT_EQ(op->size, (std::array<int, 2>{60, 40}));
    int background = 0;
    for (std::size_t pixel = 0; pixel < op->image.size(); pixel += 4) {
      background += op->image[pixel] == 0 ? 1 : 0;
    }
    EXPECT_EQ(background, 0);
  }
}

TEST_P(SnapshotCaptureToolGLTest, anImageIsHandedOverWithTheObjectBoundAndTheBindingsAreRestored) {
  const osg::ref_ptr<KeepBindings> after = new KeepBindings;
  camera().addPostDrawCallback(after);
  for (const bool fills : {false, true}) {
    tool().setFillsFrameBuffer(fills);
    const osg::ref_ptr<ColourOp> op = new ColourOp;
    op->invalidate();
    tool().setCaptureOp(op);
    _offscreen->draw();
    const GLuint object = _captured->frameBufferObject().getHandle(_offscreen->state().getContextID());
    EXPECT_EQ(op->bindings.read, static_cast<GLint>(object));
    EXPECT_EQ(op->bindings.draw, static_cast<GLint>(object));
    EXPECT_EQ(after->bindings.read, 0);
    EXPECT_EQ(after->bindings.draw, static_cast<GLint>(object));
  }
}

TEST_P(SnapshotCaptureToolGLTest, aRequestForAnImageIsServedOnce) {
  for (const bool fills : {false, true}) {
    tool().setFillsFrameBuffer(fills);
    const osg::ref_ptr<ColourOp> op = new ColourOp;
    tool().setCaptureOp(op);
    std::thread waiter([&op] { op->block(); });
    _offscreen->draw();
    waiter.join();
    EXPECT_EQ(tool().getCaptureOp(), nullptr);
    EXPECT_EQ(op->size, (std::array<int, 2>{kWidth, kHeight}));
    EXPECT_EQ(op->image.size(), static_cast<std::size_t>(kWidth * kHeight * 4));
    EXPECT_EQ(op->image[0], 255);
    EXPECT_EQ(op->image[1], 0);
  }
}

TEST_P(SnapshotCaptureToolGLTest, anImageOfAViewportPartlyOutsideTheWindowHasThePixelsInTheWindow) {
  camera().setViewport(-40, -30, kWidth, kHeight);
  const osg::ref_ptr<ColourOp> op = new ColourOp;
  op->invalidate();
  tool().setCaptureOp(op);
  _offscreen->draw();
  EXPECT_EQ(op->size, (std::array<int, 2>{kWidth - 40, kHeight - 30}));
}

/// The pointer presses the manipulator in the viewer, with real events.
class SnapshotManipulatorGLTest : public SnapshotCaptureToolGLTest {
 protected:
  template <typename Manipulator>
  osg::ref_ptr<Manipulator> press(int x, int y) {
    const osg::ref_ptr<Manipulator> manipulator = new Manipulator(&_offscreen->viewer());
    manipulator->setNode(&_offscreen->scene());
    manipulator->setByInverseMatrix(camera().getViewMatrix());
    const osg::ref_ptr<osgGA::GUIEventAdapter> event = new osgGA::GUIEventAdapter;
    event->setEventType(osgGA::GUIEventAdapter::PUSH);
    event->setButtonMask(osgGA::GUIEventAdapter::RIGHT_MOUSE_BUTTON);
    event->setButton(osgGA::GUIEventAdapter::RIGHT_MOUSE_BUTTON);
    event->setX(static_cast<float>(x));
    event->setY(static_cast<float>(y));
    manipulator->handle(*event, _offscreen->viewer());
    return manipulator;
  }
};

TEST_P(SnapshotManipulatorGLTest, aPressPlacesThePivotOnThePlane) {
  camera().setViewport(30, 20, 90, 60);
  _offscreen->draw();
  const osg::ref_ptr<const FrameSnapshot> frame = tool().latest();
  const osg::ref_ptr<PrecisePivotManipulator> precise = press<PrecisePivotManipulator>(50, 33);
  ASSERT_TRUE(precise->getLastScenePoint());
  const float* position = &frame->itemFloats[*frame->pixelAt(50, 33) * 4];
  EXPECT_LT((*precise->getLastScenePoint() - osg::Vec3d(position[0], position[1], position[2])).length(), kTolerance);
}

TEST_P(SnapshotManipulatorGLTest, theOrbitCentreIsAtTheDepthInTheMiddleOfTheView) {
  _offscreen->draw();
  const osg::ref_ptr<SPointCloudManipulator> manipulator = press<SPointCloudManipulator>(5, 5);
  EXPECT_LT(distanceFromPlane(manipulator->getCenter()), 0.1);
}

/// Far ahead everywhere, and near in a square in the middle of the view.
class SquareManipulatorGLTest : public SnapshotManipulatorGLTest {
 protected:
  void SetUp() override {
    SnapshotManipulatorGLTest::SetUp();
    _offscreen->scene().removeChildren(0, 1);
    _offscreen->scene().addChild(
        createNode({{-100.0f, 100.0f, -100.0f}, {200.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 200.0f}, 8}));
    _offscreen->scene().addChild(createNode({{-1.0f, 10.0f, -1.0f}, {2.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 2.0f}, 9}));
    camera().setViewMatrixAsLookAt(osg::Vec3d(), osg::Vec3d(0.0, 1.0, 0.0), osg::Vec3d(0.0, 0.0, 1.0));
  }
};

TEST_P(SquareManipulatorGLTest, theOrbitCentreIsInTheMiddleOfAViewportAwayFromTheOrigin) {
  for (const int left : {0, 60, -40}) {
    camera().setViewport(left, left / 2, 100, 90);
    _offscreen->draw();
    EXPECT_LT((press<SPointCloudManipulator>(left + 50, 45)->getCenter() - osg::Vec3d(0.0, 10.0, 0.0)).length(), 0.1);
  }
}

struct OpenPivotManipulator : SPointCloudPrivotManipulator {
  using SPointCloudPrivotManipulator::_pivotPoint;
  using SPointCloudPrivotManipulator::SPointCloudPrivotManipulator;
};

/// The square covers the columns 70 to 90 of the view. In the vector of depths, the pixel right of the end of a row is
/// the first one of the next row.
TEST_P(SquareManipulatorGLTest, aPressBesideTheRegionThatWasReadDoesNotPickAtAll) {
  ReadBack readBack;
  readBack.region = PixelRectangle{75, 40, 60, 40};
  tool().setReadBack(readBack);
  _offscreen->draw();
  EXPECT_NEAR(press<OpenPivotManipulator>(80, 60)->_pivotPoint.y(), 10.0, 0.1);
  EXPECT_EQ(press<OpenPivotManipulator>(140, 60)->_pivotPoint, osg::Vec3d());
  EXPECT_EQ(press<OpenPivotManipulator>(70, 60)->_pivotPoint, osg::Vec3d());
}

INSTANTIATE_TEST_SUITE_P(Models, SquareManipulatorGLTest, testing::ValuesIn(kThreadingModels), nameOf);
INSTANTIATE_TEST_SUITE_P(Models, SnapshotCaptureToolGLTest, testing::ValuesIn(kThreadingModels), nameOf);
INSTANTIATE_TEST_SUITE_P(Models, SnapshotManipulatorGLTest, testing::ValuesIn(kThreadingModels), nameOf);

}  // namespace
