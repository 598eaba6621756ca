#include "support/AllocationHook.h"
#include "support/CaptureContext.h"

#include <QuorOsgUtils/ScreenCaptureTool.h>
#include <QuorOsgUtils/SnapshotCaptureTool.h>

#include <osg/RenderInfo>

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <thread>
#include <vector>

using QuorOsgUtils::CaptureOp;
using QuorTests::AllocationCount;
using QuorTests::AllocationLimit;
using QuorTests::CaptureContext;
using QuorTests::FrameContent;

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;
constexpr float kDepth = 0.25f;

/// Keeps nothing, so that only the capture's own allocations are counted.
struct SilentOp : CaptureOp {
  void captureImage(int, int, std::vector<unsigned char>& rgba) override { bytes = rgba.size(); }
  std::size_t bytes = 0;
};

/// Calls the tool directly after a drawn frame, as its draw thread does, so that drawing itself is not counted.
class CaptureAllocationGLTest : public ::testing::Test {
 protected:
  void SetUp() override {
    context = std::make_unique<CaptureContext>(kWidth, kHeight);
    ASSERT_TRUE(context->valid()) << "these tests need a display with OpenGL";
    FrameContent background;
    background.depth = kDepth;
    context->setBackground(background);
    context->draw();
    context->makeCurrent();
    context->state().applyAttribute(&context->frameBufferObject());
    renderInfo.setState(&context->state());
    renderInfo.pushCamera(&context->camera());
    warmUp();
  }

  void TearDown() override { renderInfo.setState(nullptr); }

  void warmUp() {
    for (int i = 0; i < 3; ++i) {
      capture();
    }
  }

  void capture() { context->tool()(renderInfo); }

  std::size_t allocationsOfCaptures(int count) {
    const AllocationCount allocations;
    for (int i = 0; i < count; ++i) {
      capture();
    }
    return allocations.value();
  }

  void captureColour(SilentOp& op) {
    context->tool().setCaptureOp(&op);
    std::thread waiter([&op] { op.block(); });
    capture();
    waiter.join();
  }

  std::unique_ptr<CaptureContext> context;
  osg::RenderInfo renderInfo;
};

}  // namespace

TEST_F(CaptureAllocationGLTest, theHookSeesTheLibrarysAllocations) {
  context->camera().setViewport(0, 0, kWidth + 1, kHeight + 1);
  EXPECT_GE(allocationsOfCaptures(1), 5U) << "five vectors grow";
}

TEST_F(CaptureAllocationGLTest, aSteadyStateCaptureAllocatesNothing) {
  EXPECT_EQ(allocationsOfCaptures(100), 0U);
  ASSERT_EQ(context->frame().getDepthBuffer(), std::vector<float>(kPixels, kDepth)) << "the capture must still happen";
}

TEST_F(CaptureAllocationGLTest, aSmallerViewportAllocatesNothing) {
  context->camera().setViewport(0, 0, kWidth / 2, kHeight / 2);
  EXPECT_EQ(allocationsOfCaptures(1), 0U);
}

TEST_F(CaptureAllocationGLTest, anotherColourCaptureOfTheSameSizeAllocatesNothing) {
  osg::ref_ptr<SilentOp> op = new SilentOp;
  captureColour(*op);
  context->tool().setCaptureOp(op);
  std::thread waiter([&op] { op->block(); });
  EXPECT_EQ(allocationsOfCaptures(1), 0U);
  waiter.join();
  EXPECT_EQ(op->bytes, kPixels * 4);
}

TEST_F(CaptureAllocationGLTest, theFrameStaysUnchangedWhileMemoryIsExhausted) {
  auto& frame = context->frame();
  context->camera().setViewport(3, 4, kWidth, kHeight * 2);
  {
    const AllocationLimit limit(kPixels * 2 * 4 + 64);  // the depths would still fit, the other images would not
    capture();
  }
  std::array<int, 4> viewport{};
  frame.getViewPort(viewport[0], viewport[1], viewport[2], viewport[3]);
  EXPECT_EQ(viewport, (std::array<int, 4>{0, 0, kWidth, kHeight}));
  EXPECT_EQ(frame.getDepthBuffer(), std::vector<float>(kPixels, kDepth));
  EXPECT_EQ(frame.getItemIDBuffer().size(), kPixels * 4);
  frame.lock();
  frame.release();
  capture();
  EXPECT_EQ(frame.getDepthBuffer().size(), kPixels * 2);
  EXPECT_EQ(frame.getPCUIntBuffer().size(), kPixels * 2 * 4);
}

TEST_F(CaptureAllocationGLTest, aColourCaptureStaysPendingIfMemoryIsExhausted) {
  osg::ref_ptr<SilentOp> op = new SilentOp;
  context->tool().setCaptureOp(op);
  {
    const AllocationLimit limit(kPixels);
    capture();
  }
  EXPECT_EQ(context->tool().getCaptureOp(), op.get());
  captureColour(*op);
  EXPECT_EQ(op->bytes, kPixels * 4);
}

TEST_F(CaptureAllocationGLTest, aRequestedSnapshotStaysPendingWhileMemoryIsExhausted) {
  const osg::ref_ptr<QuorOsgUtils::SnapshotCaptureTool> tool = new QuorOsgUtils::SnapshotCaptureTool;
  for (const int late : {0, 1}) {
    QuorOsgUtils::ReadBack onDemand;
    onDemand.everyFrame = false;
    onDemand.framesLate = late;
    tool->setReadBack(onDemand);
    const osg::ref_ptr<const QuorOsgUtils::FrameSnapshot> before = tool->latest();
    tool->requestFrame();
    {
      const AllocationLimit limit(kPixels);
      (*tool)(renderInfo);
    }
    EXPECT_EQ(tool->latest(), before);
    EXPECT_TRUE(tool->isFramePending());
    for (int i = 0; i <= late; ++i) {
      (*tool)(renderInfo);
    }
    EXPECT_NE(tool->latest(), before);
    EXPECT_FALSE(tool->isFramePending());
  }
}
