#include "gl/extras/PlaneFixture.h"

#include <QuorOsgUtils/PrecisePivotManipulator.h>
#include <QuorOsgUtils/SnapshotPick.h>

#include <osg/GLExtensions>
#include <osgGA/GUIEventAdapter>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

namespace {

using namespace QuorTests;
using namespace QuorOsgUtils;

/// In every threading model, with frames published at once, one and two frames late.
class ReadBackGLTest : public PlaneFixture, public testing::WithParamInterface<std::tuple<ThreadingModel, int>> {
 protected:
  void SetUp() override {
    start(std::get<0>(GetParam()));
    _readBack.framesLate = framesLate();
    tool().setReadBack(_readBack);
  }

  static int framesLate() { return std::get<1>(GetParam()); }

  /// Draws as many frames as it takes until a frame drawn from now on has been published.
  osg::ref_ptr<const FrameSnapshot> drawAndTake() {
    for (int i = 0; i <= framesLate(); ++i) {
      _offscreen->draw();
    }
    return tool().latest();
  }

  unsigned int frameNumber() { return _offscreen->viewer().getFrameStamp()->getFrameNumber(); }

  ReadBack _readBack;
};

TEST_P(ReadBackGLTest, aFrameIsPublishedAsLateAsChosen) {
  for (int drawn = 0; drawn < 6; ++drawn) {
    moveTo(drawn * 5);
    _offscreen->draw();
    const osg::ref_ptr<const FrameSnapshot> latest = tool().latest();
    ASSERT_EQ(latest.valid(), drawn >= framesLate());
    if (latest) {
      EXPECT_EQ(latest->frameNumber + static_cast<unsigned int>(framesLate()), frameNumber());
    }
    EXPECT_EQ(tool().isFramePending(), framesLate() > 0);
  }
}

TEST_P(ReadBackGLTest, aLateFrameHasItsOwnMatrices) {
  _plane->setDrawCallback(new SlowDraw);
  osg::ref_ptr<const FrameSnapshot> seen;
  int frames = 0, misses = 0;
  for (int step = 0; step < 30; ++step) {
    moveTo(step * 3);
    _offscreen->startFrame();
    moveTo(step * 3 + 2);
    const osg::ref_ptr<const FrameSnapshot> latest = tool().latest();
    if (latest && latest != seen) {
      misses += missesOf(*latest);
      ++frames;
      seen = latest;
    }
  }
  EXPECT_GT(frames, 10);
  EXPECT_EQ(misses, 0);
}

TEST_P(ReadBackGLTest, onDemandOnlyRequestedFramesAreRead) {
  _readBack.everyFrame = false;
  tool().setReadBack(_readBack);
  EXPECT_EQ(drawAndTake(), nullptr);
  tool().requestFrame();
  EXPECT_TRUE(tool().isFramePending());
  const osg::ref_ptr<const FrameSnapshot> requested = drawAndTake();
  ASSERT_TRUE(requested);
  EXPECT_EQ(requested->frameNumber + static_cast<unsigned int>(framesLate()), frameNumber());
  EXPECT_FALSE(tool().isFramePending());
  EXPECT_EQ(drawAndTake(), requested);
  tool().requestFrame();
  EXPECT_NE(drawAndTake(), requested);
}

TEST_P(ReadBackGLTest, aRegionHasTheValuesOfItsPixelsAlone) {
  const osg::ref_ptr<const FrameSnapshot> whole = drawAndTake();
  _readBack.region = PixelRectangle{40, 30, 21, 13};
  tool().setReadBack(_readBack);
  const osg::ref_ptr<const FrameSnapshot> part = drawAndTake();
  ASSERT_TRUE(part);
  EXPECT_EQ(part->region, *_readBack.region);
  EXPECT_EQ(part->viewport, whole->viewport);
  ASSERT_EQ(part->depths.size(), 21U * 13U);
  for (int y = 30; y < 43; ++y) {
    for (int x = 40; x < 61; ++x) {
      ASSERT_EQ(part->depths[*part->pixelAt(x, y)], whole->depths[*whole->pixelAt(x, y)]);
      ASSERT_EQ(part->itemFloats[*part->pixelAt(x, y) * 4], whole->itemFloats[*whole->pixelAt(x, y) * 4]);
    }
  }
  EXPECT_LT((*worldAt(*part, 50, 35) - *worldAt(*whole, 50, 35)).length(), 1e-9);
  EXPECT_EQ(nearest(*part, 50, 35, 3)->itemFloat, nearest(*whole, 50, 35, 3)->itemFloat);
}

TEST_P(ReadBackGLTest, aRegionIsLimitedToTheViewport) {
  camera().setViewport(10, 10, 100, 80);
  _readBack.region = PixelRectangle{-50, 70, 100, 1000};
  tool().setReadBack(_readBack);
  const osg::ref_ptr<const FrameSnapshot> part = drawAndTake();
  ASSERT_TRUE(part);
  EXPECT_EQ(part->region, (PixelRectangle{10, 70, 40, 20}));
  _readBack.region = PixelRectangle{120, 10, 5, 5};
  tool().setReadBack(_readBack);
  _offscreen->draw();
  EXPECT_NE(tool().latest(), nullptr);
  const osg::ref_ptr<const FrameSnapshot> last = drawAndTake();
  EXPECT_EQ(drawAndTake(), last) << "nothing of it is in the viewport";
}

TEST_P(ReadBackGLTest, onlyTheChosenBuffersAreRead) {
  _readBack.buffers = ReadBack::kItemIDs | ReadBack::kColours;
  tool().setReadBack(_readBack);
  const osg::ref_ptr<const FrameSnapshot> frame = drawAndTake();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->itemIDs.size(), frame->pixelCount() * 4);
  EXPECT_EQ(frame->itemIDs[0], 7U);
  EXPECT_EQ(frame->colours.size(), frame->pixelCount() * 4);
  EXPECT_EQ(frame->colours[0], 255);
  EXPECT_TRUE(frame->depths.empty());
  EXPECT_TRUE(frame->itemFloats.empty());
  EXPECT_TRUE(frame->pcFloats.empty());
  EXPECT_TRUE(frame->pcInts.empty());
  EXPECT_EQ(frame->minDepth, 1.0f);
  EXPECT_EQ(frame->maxDepth, 0.0f);
}

TEST_P(ReadBackGLTest, everySizeIsReadWhole) {
  for (const int size : {50, 120, 31}) {
    camera().setViewport(0, 0, size, size);
    const osg::ref_ptr<const FrameSnapshot> frame = drawAndTake();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->region, (PixelRectangle{0, 0, size, size}));
    EXPECT_EQ(missesOf(*frame), 0);
  }
}

TEST_P(ReadBackGLTest, aHeldLateFrameNeverChanges) {
  const osg::ref_ptr<const FrameSnapshot> held = drawAndTake();
  const std::vector<float> depths = held->depths;
  for (int step = 1; step < 6; ++step) {
    moveTo(step * 7);
    _offscreen->draw();
  }
  EXPECT_EQ(held->depths, depths);
}

TEST_P(ReadBackGLTest, depthsAroundThePointerAreEnoughForAPress) {
  _readBack.buffers = ReadBack::kDepth;
  _readBack.region = PixelRectangle{80 - 32, 50 - 32, 65, 65};
  tool().setReadBack(_readBack);
  const osg::ref_ptr<const FrameSnapshot> frame = drawAndTake();
  const osg::ref_ptr<PrecisePivotManipulator> manipulator = new PrecisePivotManipulator(&_offscreen->viewer());
  manipulator->setNode(&_offscreen->scene());
  manipulator->setByInverseMatrix(camera().getViewMatrix());
  const osg::ref_ptr<osgGA::GUIEventAdapter> event = new osgGA::GUIEventAdapter;
  event->setEventType(osgGA::GUIEventAdapter::PUSH);
  event->setButtonMask(osgGA::GUIEventAdapter::RIGHT_MOUSE_BUTTON);
  event->setX(80.0f);
  event->setY(50.0f);
  manipulator->handle(*event, _offscreen->viewer());
  ASSERT_TRUE(manipulator->getLastScenePoint());
  EXPECT_LT(distanceFromPlane(*manipulator->getLastScenePoint()), kTolerance);
  EXPECT_LT((*manipulator->getLastScenePoint() - *worldAt(*frame, 80, 50)).length(), 1e-6);
}

TEST_P(ReadBackGLTest, aRequestedFrameThatCannotBeMappedIsTakenFromALaterFrame) {
  if (framesLate() == 0) {
    return;  // nothing is mapped
  }
  _readBack.everyFrame = false;
  tool().setReadBack(_readBack);
  _offscreen->draw();
  auto* const gl = _offscreen->state().get<osg::GLExtensions>();
  const auto map = gl->glMapBuffer;
  gl->glMapBuffer = [](GLenum, GLenum) -> void* { return nullptr; };
  tool().requestFrame();
  EXPECT_EQ(drawAndTake(), nullptr);
  EXPECT_TRUE(tool().isFramePending());
  gl->glMapBuffer = map;
  EXPECT_TRUE(drawAndTake());
  EXPECT_FALSE(tool().isFramePending());
}

TEST_P(ReadBackGLTest, readingCausesNoGLErrorAndLeavesNoPixelPackBufferBound) {
  constexpr GLenum kGLPixelPackBufferBinding = 0x88ED;
  _offscreen->state().setCheckForGLErrors(osg::State::NEVER_CHECK_GL_ERRORS);
  drawAndTake();
  drawAndTake();
  _offscreen->makeCurrent();
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
  GLint bound = -1;
  glGetIntegerv(kGLPixelPackBufferBinding, &bound);
  EXPECT_EQ(bound, 0);
}

std::string nameOfCase(const testing::TestParamInfo<std::tuple<ThreadingModel, int>>& param) {
  const std::string late = std::get<1>(param.param) == 0 ? "AtOnce" : std::to_string(std::get<1>(param.param)) + "Late";
  return nameOf({std::get<0>(param.param), param.index}) + late;
}

INSTANTIATE_TEST_SUITE_P(Modes, ReadBackGLTest,
                         testing::Combine(testing::ValuesIn(kThreadingModels), testing::Values(0, 1, 2)), nameOfCase);

}  // namespace
