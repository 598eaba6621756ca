#include "viewer/render/FrameBudget.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

namespace {

using namespace QuorViewer;
using namespace std::chrono_literals;

constexpr std::uint64_t kMost = 20000000;

/// A machine that draws this many points in a second.
void drawFrames(FrameBudget& budget, int frames, double pointsPerSecond, bool moved) {
  for (int frame = 0; frame < frames; ++frame) {
    budget.beginFrame(moved);
    const auto points = budget.points();
    budget.endFrame(points, std::chrono::duration<double>(static_cast<double>(points) / pointsPerSecond));
  }
}

TEST(FrameBudgetTest, whileTheViewMovesItLearnsWhatTheMachineCanDrawInTheTargetTime) {
  for (const double pointsPerSecond : {4e6, 4e7, 2e8}) {
    FrameBudget budget(kMost, false);
    budget.setTarget(50ms);
    drawFrames(budget, 60, pointsPerSecond, true);
    EXPECT_NEAR(static_cast<double>(budget.points()), 0.05 * pointsPerSecond, 0.01 * pointsPerSecond * 0.05);
  }
}

TEST(FrameBudgetTest, theTimeThatAFrameTakesWithoutAnyPointsIsLearnedToo) {
  FrameBudget budget(kMost, false);
  budget.setTarget(150ms);
  for (int frame = 0; frame < 200; ++frame) {
    budget.beginFrame(true);
    // What is drawn differs a little from the budget.
    const double points = static_cast<double>(budget.points()) * (frame % 2 == 0 ? 1.0 : 0.7);
    budget.endFrame(static_cast<std::uint64_t>(points), std::chrono::duration<double>(0.1 + points / 4e6));
  }
  EXPECT_NEAR(static_cast<double>(budget.points()), 0.05 * 4e6, 4000.0);
}

TEST(FrameBudgetTest, aViewAtRestMayShowTwiceAsMuchWithEachFrameUpToTheMost) {
  FrameBudget budget(kMost, false);
  drawFrames(budget, 1, 1e8, true);
  budget.beginFrame(false);
  const std::uint64_t first = budget.points();
  EXPECT_TRUE(budget.mayGrow());
  budget.beginFrame(false);
  EXPECT_EQ(budget.points(), 2 * first);
  drawFrames(budget, 20, 1e8, false);
  EXPECT_EQ(budget.points(), kMost);
  EXPECT_FALSE(budget.mayGrow());
}

TEST(FrameBudgetTest, aMovementBeginsWithMostOfThePictureAndFallsToWhatTheMachineCanDraw) {
  constexpr double kPointsPerSecond = 1e7, kAffordable = 1e6;
  FrameBudget budget(kMost, false);
  budget.setTarget(100ms);
  drawFrames(budget, 60, kPointsPerSecond, true);
  budget.beginFrame(false);
  budget.endFrame(1500000, 150ms);
  double before = 1.5e6;
  for (int frame = 0; frame < 10; ++frame) {
    budget.beginFrame(true);
    const auto points = static_cast<double>(budget.points());
    EXPECT_NEAR(points, std::max(0.85 * before, kAffordable), 2e4) << "frame " << frame;
    budget.endFrame(budget.points(), std::chrono::duration<double>(points / kPointsPerSecond));
    before = points;
  }
}

TEST(FrameBudgetTest, theFirstFrameOfAMovementTakesAtMostThreeTimesTheTarget) {
  FrameBudget budget(kMost, false);
  budget.setTarget(100ms);
  drawFrames(budget, 60, 1e7, true);
  drawFrames(budget, 10, 1e7, false);
  EXPECT_EQ(budget.points(), kMost);
  budget.beginFrame(true);
  EXPECT_NEAR(static_cast<double>(budget.points()), 3e6, 6e4);
}

TEST(FrameBudgetTest, neitherVerySlowFramesNorALittleMemoryExceedTheLimits) {
  FrameBudget slow(kMost, false);
  drawFrames(slow, 100, 1e3, true);
  EXPECT_EQ(slow.points(), FrameBudget::kFewestPoints);
  FrameBudget small(5000, false);
  drawFrames(small, 100, 1e9, false);
  EXPECT_EQ(small.points(), 5000U);
}

TEST(FrameBudgetTest, aFixedBudgetNeverChanges) {
  FrameBudget budget(123456, true);
  drawFrames(budget, 30, 1e3, true);
  drawFrames(budget, 30, 1e9, false);
  EXPECT_EQ(budget.points(), 123456U);
  EXPECT_FALSE(budget.mayGrow());
}

}  // namespace
