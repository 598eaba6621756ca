#include "gl/extras/PlaneFixture.h"
#include "support/ThreadLimit.h"

#include <QuorOsgUtils/ImageCapture.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <optional>

namespace {

using namespace QuorTests;
using namespace QuorOsgUtils;

class ImageCaptureThreadLimitGLTest : public PlaneFixture {
 protected:
  void SetUp() override { start(osgViewer::ViewerBase::SingleThreaded); }
};

TEST_F(ImageCaptureThreadLimitGLTest, withoutAThreadThatWatchesTheTimeARequestEndsAtOnce) {
  constexpr std::chrono::minutes limitOfTime(1);  // only reached if something hangs
  ImageCapture images(_offscreen->viewer());
  std::optional<ThreadLimit> limit(std::in_place);
  std::future<CapturedImage> refused = images.request(limitOfTime);
  limit.reset();
  ASSERT_EQ(refused.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  EXPECT_EQ(refused.get().status, ImageStatus::NotCapturable);
  std::future<CapturedImage> captured = images.request(limitOfTime);
  _offscreen->draw();
  EXPECT_EQ(captured.get().status, ImageStatus::Captured);
}

}  // namespace
