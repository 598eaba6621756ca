#include "gl/extras/PlaneFixture.h"

#include <QuorOsgUtils/ImageCapture.h>

#include <osgViewer/CompositeViewer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

namespace {

using namespace QuorTests;
using namespace QuorOsgUtils;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kLong = 60s;  // only reached if something hangs

class ImageCaptureGLTest : public PlaneFixture, public testing::WithParamInterface<ThreadingModel> {
 protected:
  void SetUp() override {
    start(GetParam());
    _images = std::make_unique<ImageCapture>(_offscreen->viewer());
  }
  void TearDown() override { _images.reset(); }

  void expectImage(std::future<CapturedImage>& future) {
    ASSERT_EQ(future.wait_for(0s), std::future_status::ready);
    const CapturedImage captured = future.get();
    ASSERT_EQ(captured.status, ImageStatus::Captured);
    ASSERT_TRUE(captured.image);
    EXPECT_EQ(captured.image->s(), kWidth);
    EXPECT_EQ(captured.image->t(), kHeight);
    EXPECT_EQ(captured.image->getColor(5U, 7U), osg::Vec4(1.0f, 0.0f, 0.0f, 1.0f));
  }

  static ImageStatus statusOf(std::future<CapturedImage>& future) {
    return future.wait_for(kLong) == std::future_status::ready ? future.get().status : ImageStatus::Captured;
  }

  std::unique_ptr<ImageCapture> _images;
};

TEST_P(ImageCaptureGLTest, theNextFrameFulfilsARequest) {
  std::future<CapturedImage> future = _images->request(kLong);
  EXPECT_EQ(future.wait_for(0s), std::future_status::timeout);
  _offscreen->draw();
  expectImage(future);
  _offscreen->draw();
}

TEST_P(ImageCaptureGLTest, aPlainCaptureToolServesItToo) {
  _images.reset();
  camera().setPostDrawCallback(new ScreenCaptureTool);
  _images = std::make_unique<ImageCapture>(_offscreen->viewer());
  std::future<CapturedImage> future = _images->request(kLong);
  _offscreen->draw();
  expectImage(future);
}

TEST_P(ImageCaptureGLTest, oneFrameFulfilsTheRequestsOfSeveralThreads) {
  std::vector<std::future<CapturedImage>> futures(4);
  std::vector<std::thread> threads;
  for (std::future<CapturedImage>& future : futures) {
    threads.emplace_back([&] { future = _images->request(kLong); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  _offscreen->draw();
  for (std::future<CapturedImage>& future : futures) {
    expectImage(future);
  }
}

TEST_P(ImageCaptureGLTest, withoutAFrameBufferObjectTheRequestFailsWithTheFrame) {
  camera().getOrCreateStateSet()->removeAttribute(osg::StateAttribute::FRAME_BUFFER_OBJECT);
  camera().setPreDrawCallback(nullptr);
  camera().setFinalDrawCallback(nullptr);
  _images = std::make_unique<ImageCapture>(_offscreen->viewer());
  for (int i = 0; i < 2; ++i) {
    std::future<CapturedImage> future = _images->request(kLong);
    _offscreen->draw();
    ASSERT_EQ(future.wait_for(0s), std::future_status::ready);
    EXPECT_EQ(future.get().status, ImageStatus::NotCapturable);
  }
  EXPECT_EQ(tool().getCaptureOp(), nullptr);
}

/// What an application finds that expects the state left behind by `ScreenCaptureTool`.
TEST_P(ImageCaptureGLTest, readingLeavesTheStateAsTheCaptureToolDoes) {
  struct KeepState : osg::Camera::DrawCallback {
    void operator()(osg::RenderInfo& /*info*/) const override {
      constexpr std::array<GLenum, 3> kNames = {0x8CA6, 0x8CAA, GL_READ_BUFFER};  // bindings for drawing, for reading
      for (std::size_t i = 0; i < kNames.size(); ++i) {
        glGetIntegerv(kNames[i], &values[i]);
      }
    }
    using osg::Camera::DrawCallback::operator();
    mutable std::array<GLint, 3> values{};
  };
  _images.reset();
  camera().setPostDrawCallback(new ScreenCaptureTool);
  const osg::ref_ptr<KeepState> before = new KeepState, after = new KeepState;
  camera().addPostDrawCallback(before);
  _images = std::make_unique<ImageCapture>(_offscreen->viewer());
  camera().addPostDrawCallback(after);
  std::future<CapturedImage> future = _images->request(kLong);
  _offscreen->draw();
  expectImage(future);
  EXPECT_EQ(after->values, before->values);
  EXPECT_EQ(after->values[2], GL_COLOR_ATTACHMENT0_EXT + 4);
}

TEST_P(ImageCaptureGLTest, noCaptureToolIsNeeded) {
  _images.reset();
  camera().setPostDrawCallback(nullptr);
  _images = std::make_unique<ImageCapture>(_offscreen->viewer());
  std::future<CapturedImage> future = _images->request(kLong);
  _offscreen->draw();
  expectImage(future);
}

TEST_P(ImageCaptureGLTest, anEmptyViewportCannotBeCaptured) {
  camera().setViewport(0, 0, 0, 0);
  std::future<CapturedImage> future = _images->request(kLong);
  _offscreen->draw();
  EXPECT_EQ(statusOf(future), ImageStatus::NotCapturable);
}

TEST_P(ImageCaptureGLTest, theLongestAndTheShortestTimeAreLimited) {
  std::future<CapturedImage> longest = _images->request(std::chrono::milliseconds::max());
  std::future<CapturedImage> shortest = _images->request(std::chrono::milliseconds::min());
  EXPECT_EQ(statusOf(shortest), ImageStatus::TimedOut);
  EXPECT_EQ(longest.wait_for(50ms), std::future_status::timeout);
  _offscreen->draw();
  expectImage(longest);
}

TEST_P(ImageCaptureGLTest, afterItsCallbackHasBeenReplacedTheRequestFailsWithTheFrame) {
  camera().setPostDrawCallback(nullptr);
  std::future<CapturedImage> future = _images->request(kLong);
  _offscreen->draw();
  ASSERT_EQ(future.wait_for(0s), std::future_status::ready);
  EXPECT_EQ(future.get().status, ImageStatus::NotCapturable);
}

TEST_P(ImageCaptureGLTest, withoutAFrameTheRequestTimesOut) {
  const Clock::time_point start = Clock::now();
  std::future<CapturedImage> late = _images->request(300ms);
  std::future<CapturedImage> early = _images->request(50ms);
  EXPECT_EQ(statusOf(early), ImageStatus::TimedOut);
  EXPECT_EQ(statusOf(late), ImageStatus::TimedOut);
  EXPECT_GE(Clock::now() - start, 300ms);
  EXPECT_LT(Clock::now() - start, 20s);
  _offscreen->draw();
  std::future<CapturedImage> next = _images->request(kLong);
  _offscreen->draw();
  expectImage(next);
}

TEST_P(ImageCaptureGLTest, onTheThreadThatDrawsTheWaitEndsWithTheTime) {
  _offscreen->draw();
  EXPECT_EQ(_images->request(100ms).get().status, ImageStatus::TimedOut);
}

TEST_P(ImageCaptureGLTest, aWithdrawnRequestEndsAtOnce) {
  std::future<CapturedImage> future = _images->request(kLong);
  _images->withdraw();
  EXPECT_EQ(statusOf(future), ImageStatus::Withdrawn);
  _offscreen->draw();
  EXPECT_EQ(tool().getCaptureOp(), nullptr);
}

TEST_P(ImageCaptureGLTest, theEndOfTheObjectEndsARequest) {
  std::future<CapturedImage> future = _images->request(kLong);
  _images.reset();
  EXPECT_EQ(statusOf(future), ImageStatus::Closed);
  _offscreen->draw();
}

TEST_P(ImageCaptureGLTest, theEndOfTheWindowEndsARequest) {
  _offscreen->draw();
  std::future<CapturedImage> future = _images->request(kLong);
  _offscreen->finish();
  _offscreen->context().close();
  EXPECT_EQ(statusOf(future), ImageStatus::Closed);
}

TEST_P(ImageCaptureGLTest, aDroppedFutureDoesNotHoldUpTheDrawing) {
  _images->request(kLong);
  _offscreen->draw();
  std::future<CapturedImage> next = _images->request(kLong);
  _offscreen->draw();
  expectImage(next);
}

TEST_P(ImageCaptureGLTest, aViewerThatDrawsOnDemandDrawsTheFrame) {
  osgViewer::Viewer& viewer = _offscreen->viewer();
  viewer.setRunFrameScheme(osgViewer::ViewerBase::ON_DEMAND);
  _offscreen->draw();
  _offscreen->draw();
  std::future<CapturedImage> future;
  std::thread other([&] { future = _images->request(kLong); });
  other.join();
  const auto end = Clock::now() + 20s;
  while (future.wait_for(0s) != std::future_status::ready && Clock::now() < end) {
    if (viewer.checkNeedToDoFrame()) {
      _offscreen->draw();
    }
    std::this_thread::sleep_for(1ms);
  }
  expectImage(future);
}

/// As for the run loop of a viewer, a request for a redraw that comes while a frame is drawn is forgotten.
TEST_P(ImageCaptureGLTest, aRequestDuringAFrameIsFulfilledByAViewerThatDrawsOnDemand) {
  osgViewer::Viewer& viewer = _offscreen->viewer();
  viewer.setRunFrameScheme(osgViewer::ViewerBase::ON_DEMAND);
  struct RequestInFrame : osg::Camera::DrawCallback {
    void operator()(osg::RenderInfo& /*info*/) const override {
      if (!future.valid()) {
        future = images.request(kLong);
        std::this_thread::sleep_for(50ms);
      }
    }
    explicit RequestInFrame(ImageCapture& imageCapture) : images(imageCapture) {}
    ImageCapture& images;
    mutable std::future<CapturedImage> future;
  };
  const osg::ref_ptr<RequestInFrame> request = new RequestInFrame(*_images);
  camera().addFinalDrawCallback(request);
  _offscreen->draw();
  const auto end = Clock::now() + 20s;
  while (request->future.wait_for(0s) != std::future_status::ready && Clock::now() < end) {
    if (viewer.checkNeedToDoFrame()) {
      _offscreen->draw();
    }
    std::this_thread::sleep_for(1ms);
  }
  expectImage(request->future);
}

int callbacksOf(osg::Camera::DrawCallback* first) {
  int count = 0;
  for (osg::Callback* callback = first; callback; callback = callback->getNestedCallback()) {
    ++count;
  }
  return count;
}

int callbacksOf(osg::Camera& camera) {
  int count = callbacksOf(camera.getPreDrawCallback()) + callbacksOf(camera.getPostDrawCallback()) +
              callbacksOf(camera.getFinalDrawCallback());
  for (osg::Callback* callback = camera.getCullCallback(); callback; callback = callback->getNestedCallback()) {
    ++count;
  }
  return count;
}

/// Nothing refers to a viewer on the stack, so its number of references is 0.
TEST(ImageCaptureOnStackGLTest, aViewerOnTheStackThatDrawsOnDemandDrawsTheFrameAndKeepsNothing) {
  osgViewer::Viewer viewer;
  OffscreenViewer offscreen(kWidth, kHeight, osgViewer::ViewerBase::SingleThreaded);
  osg::Camera& camera = *viewer.getCamera();
  camera.setGraphicsContext(offscreen.camera().getGraphicsContext());
  camera.setViewport(0, 0, kWidth, kHeight);
  viewer.setThreadingModel(osgViewer::ViewerBase::SingleThreaded);
  viewer.setRunFrameScheme(osgViewer::ViewerBase::ON_DEMAND);
  viewer.setSceneData(new osg::Group);
  const CapturedCamera captured(camera);
  const int callbacks = callbacksOf(camera);
  viewer.realize();
  {
    ImageCapture images(viewer);
    for (int i = 0; i < 5; ++i) {
      viewer.frame();
    }
    EXPECT_FALSE(viewer.checkNeedToDoFrame());
    std::future<CapturedImage> future = images.request(20s);
    while (future.wait_for(1ms) != std::future_status::ready) {
      if (viewer.checkNeedToDoFrame()) {
        viewer.frame();
      }
    }
    EXPECT_EQ(future.get().status, ImageStatus::Captured);
    EXPECT_FALSE(viewer.checkNeedToDoFrame());
  }
  EXPECT_EQ(callbacksOf(camera), callbacks);
  EXPECT_TRUE(viewer.getDevices().empty());
  viewer.frame();
}

TEST(ImageCaptureOnStackGLTest, aCompositeViewerThatDrawsOnDemandDrawsTheFrame) {
  OffscreenViewer offscreen(kWidth, kHeight, osgViewer::ViewerBase::SingleThreaded);
  const osg::ref_ptr<osgViewer::View> view = new osgViewer::View;
  view->getCamera()->setGraphicsContext(offscreen.camera().getGraphicsContext());
  view->getCamera()->setViewport(0, 0, kWidth, kHeight);
  view->setSceneData(new osg::Group);
  osgViewer::CompositeViewer viewer;
  viewer.setThreadingModel(osgViewer::ViewerBase::SingleThreaded);
  viewer.addView(view);
  const CapturedCamera captured(*view->getCamera());
  ImageCapture images(*view);
  viewer.realize();
  for (int i = 0; i < 5; ++i) {
    viewer.frame();
  }
  EXPECT_FALSE(viewer.checkNeedToDoFrame());
  std::future<CapturedImage> future = images.request(20s);
  while (future.wait_for(1ms) != std::future_status::ready) {
    if (viewer.checkNeedToDoFrame()) {
      viewer.frame();
    }
  }
  EXPECT_EQ(future.get().status, ImageStatus::Captured);
}

struct OwnOp : CaptureOp {
  void captureImage(int /*width*/, int /*height*/, std::vector<unsigned char>& /*rgba*/) override { ++calls; }
  int calls = 0;
};

/// The application sets its requests by the rule of `ScreenCaptureTool`: only when none is pending.
TEST_P(ImageCaptureGLTest, noRequestOfTheApplicationIsLostBesideImages) {
  constexpr int kRequests = 150;
  std::atomic<bool> done{false}, isFinished{false};
  std::atomic<int> served{0};
  osg::ref_ptr<OwnOp> pending;
  std::mutex mutex;
  std::thread application([&] {
    while (!done) {
      const osg::ref_ptr<OwnOp> op = new OwnOp;
      {
        const std::lock_guard<std::mutex> held(mutex);
        pending = op;
      }
      tool().setCaptureOp(op);
      op->block();
      while (tool().getCaptureOp() && !done) {
        std::this_thread::yield();
      }
      ++served;
      std::this_thread::sleep_for(std::chrono::microseconds(served % 7 * 100));
    }
    isFinished = true;
  });
  std::thread imaging([&] {
    while (!done) {
      _images->request(1s).wait();
    }
  });
  const auto end = Clock::now() + 20s;
  while (served < kRequests && Clock::now() < end) {
    _offscreen->startFrame();
  }
  EXPECT_GE(served, kRequests);
  done = true;
  while (!isFinished) {  // also if a request has been lost
    const std::lock_guard<std::mutex> held(mutex);
    pending->invalidate();
  }
  application.join();
  imaging.join();
  _offscreen->finish();
}

TEST_P(ImageCaptureGLTest, anApplicationsOwnRequestIsServedInTheSameFrame) {
  const osg::ref_ptr<OwnOp> own = new OwnOp;
  tool().setCaptureOp(own);
  std::future<CapturedImage> future = _images->request(kLong);
  std::thread waiter([&] { own->block(); });
  _offscreen->draw();
  waiter.join();
  EXPECT_EQ(own->calls, 1);
  expectImage(future);
}

INSTANTIATE_TEST_SUITE_P(Models, ImageCaptureGLTest, testing::ValuesIn(kThreadingModels), nameOf);

}  // namespace
