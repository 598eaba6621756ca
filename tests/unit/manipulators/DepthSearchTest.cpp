#include "manipulators/DepthSearch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using QuorOsgUtils::depthAtIndex;
using QuorOsgUtils::DepthImage;
using QuorOsgUtils::panDepth;
using QuorOsgUtils::PixelBox;
using QuorOsgUtils::sceneDepth;
using QuorOsgUtils::searchBox;

constexpr int kWidth = 200;
constexpr int kHeight = 100;

struct DepthSearchTest : ::testing::Test {
  std::vector<float> depths = std::vector<float>(kWidth * kHeight, 1.0f);
  DepthImage image{depths, 0, 0, kWidth, kHeight};

  void set(int x, int y, float depth) {
    depths[static_cast<std::size_t>(y) * kWidth + static_cast<std::size_t>(x)] = depth;
  }
};

TEST_F(DepthSearchTest, takesTheDepthAtThePositionUnlessItIsBackground) {
  set(100, 50, 0.25f);
  set(99, 50, 0.75f);
  EXPECT_EQ(sceneDepth(image, 100, 50), 0.25f);
}

TEST_F(DepthSearchTest, reachesThirtyTwoPixelsToEachSide) {
  set(100 - 32, 50 - 32, 0.5f);
  EXPECT_EQ(sceneDepth(image, 100, 50), 0.5f);
  set(100 - 32, 50 - 32, 1.0f);
  set(100 + 32, 50 + 32, 0.5f);
  EXPECT_EQ(sceneDepth(image, 100, 50), 0.5f);
}

TEST_F(DepthSearchTest, doesNotReachThirtyThreePixels) {
  for (const int offset : {-33, 33}) {
    set(100 + offset, 50, 0.5f);
    set(100, 50 + offset, 0.5f);
  }
  EXPECT_EQ(sceneDepth(image, 100, 50), 1.0f);
}

TEST_F(DepthSearchTest, takesTheLeftmostColumnFirstAndItsLowestRow) {
  set(90, 60, 0.4f);
  set(90, 55, 0.3f);
  set(91, 40, 0.2f);
  set(101, 50, 0.1f);
  EXPECT_EQ(sceneDepth(image, 100, 50), 0.3f);
}

TEST_F(DepthSearchTest, aPositionPastTheImageYieldsNothing) {
  EXPECT_FALSE(sceneDepth(image, 0, kHeight));
  EXPECT_FALSE(sceneDepth(image, 0, -1));
  EXPECT_FALSE(sceneDepth(image, kWidth, kHeight - 1));
  EXPECT_FALSE(sceneDepth(image, std::numeric_limits<int>::min(), 0));
}

TEST_F(DepthSearchTest, aPositionBeyondTheRightEdgeIsTheNextRowsBeginning) {
  set(3, 11, 0.5f);
  EXPECT_EQ(sceneDepth(image, kWidth + 3, 10), 0.5f);
}

TEST_F(DepthSearchTest, positionsWhoseIndexWouldOverflowThirtyTwoBitsYieldNothing) {
  // 2^31 / 200 rows up, the index's low 32 bits would fall back into the image.
  EXPECT_FALSE(sceneDepth(image, 96, 21474836));
  EXPECT_FALSE(sceneDepth(image, 0, std::numeric_limits<int>::max()));
  EXPECT_FALSE(sceneDepth(image, std::numeric_limits<int>::max(), std::numeric_limits<int>::max()));
}

TEST_F(DepthSearchTest, invalidDepthsYieldNothing) {
  for (const float depth : {std::nanf(""), -0.001f, 1.001f, std::numeric_limits<float>::infinity()}) {
    set(100, 50, depth);
    EXPECT_FALSE(sceneDepth(image, 100, 50)) << depth;
  }
}

TEST_F(DepthSearchTest, zeroAndOneAreDepths) {
  set(100, 50, 0.0f);
  EXPECT_EQ(sceneDepth(image, 100, 50), 0.0f);
  set(100, 50, 1.0f);
  EXPECT_EQ(sceneDepth(image, 100, 50), 1.0f);
}

TEST_F(DepthSearchTest, anEmptyImageYieldsNothing) {
  const std::vector<float> none;
  EXPECT_FALSE(sceneDepth({none, 0, 0, 0, 0}, 0, 0));
  EXPECT_FALSE(sceneDepth({none, 0, 0, kWidth, kHeight}, 0, 0));
  EXPECT_FALSE(sceneDepth({depths, 0, 0, -kWidth, -kHeight}, 0, 0));
}

TEST_F(DepthSearchTest, theBoxStaysInAViewportThatStartsElsewhereAndInTheImage) {
  const DepthImage moved{depths, 150, 80, kWidth, kHeight};
  const PixelBox box = searchBox(moved, 190, 90);
  EXPECT_EQ(box.firstColumn, 158);
  EXPECT_EQ(box.lastColumn, kWidth - 1);
  EXPECT_EQ(box.firstRow, 80);
  EXPECT_EQ(box.lastRow, kHeight - 1);
}

TEST_F(DepthSearchTest, theBoxStaysInTheImageWhereTheViewportStartsOutsideIt) {
  const PixelBox box = searchBox({depths, -50, -60, kWidth, kHeight}, 140, 30);
  EXPECT_EQ(box.firstColumn, 108);
  EXPECT_EQ(box.lastColumn, kWidth - 1 - 50);
  EXPECT_EQ(box.firstRow, 0);
  EXPECT_EQ(box.lastRow, kHeight - 1 - 60);
}

TEST_F(DepthSearchTest, readsOnlyWholeRowsThatAreThere) {
  depths.resize(kWidth * 40 + 10);
  const PixelBox box = searchBox(image, 100, 30);
  EXPECT_EQ(box.lastRow, 39);
  EXPECT_EQ(sceneDepth(image, 100, 30), 1.0f);
}

TEST_F(DepthSearchTest, neverReadsOutsideTheImageWhateverTheViewport) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> any(-400, 400);
  for (int i = 0; i < 2000; ++i) {
    const DepthImage placed{depths, any(random), any(random), kWidth, kHeight};
    const PixelBox box = searchBox(placed, any(random), any(random));
    if (box.firstColumn > box.lastColumn || box.firstRow > box.lastRow) {
      continue;
    }
    EXPECT_GE(box.firstColumn, 0);
    EXPECT_LT(box.lastColumn, kWidth);
    EXPECT_GE(box.firstRow, 0);
    EXPECT_LT(box.lastRow, kHeight);
  }
}

TEST_F(DepthSearchTest, aPanTakesTheDepthUnderThePointerOnlyWhereItIsBetweenZeroAndOne) {
  set(100, 50, 0.25f);
  set(101, 50, 0.0f);
  EXPECT_EQ(panDepth(image, 100.0, 50.0, 0.6f), 0.25f);
  EXPECT_EQ(panDepth(image, 101.0, 50.0, 0.6f), 0.6f);
  EXPECT_EQ(panDepth(image, 102.0, 50.0, 0.6f), 0.6f);
}

TEST_F(DepthSearchTest, aPansPixelIsTheWholePartOfWidthTimesYPlusX) {
  set(20 + kWidth / 2, 50, 0.25f);
  EXPECT_EQ(panDepth(image, 20.75, 50.5, 0.6f), 0.25f);
}

TEST_F(DepthSearchTest, aPanOutsideTheImageTakesTheFallback) {
  for (float& depth : depths) {
    depth = 0.25f;
  }
  EXPECT_EQ(panDepth(image, 0.0, kHeight, 0.6f), 0.6f);
  EXPECT_EQ(panDepth(image, -1.0, 0.0, 0.6f), 0.6f);
  EXPECT_EQ(panDepth(image, 1e30, 1e30, 0.6f), 0.6f);
  EXPECT_EQ(panDepth(image, std::nan(""), 0.0, 0.6f), 0.6f);
}

TEST_F(DepthSearchTest, anIndexPastEitherEndYieldsNothing) {
  EXPECT_TRUE(depthAtIndex(image, kWidth * kHeight - 1));
  EXPECT_FALSE(depthAtIndex(image, kWidth * kHeight));
  EXPECT_FALSE(depthAtIndex(image, -1));
}

}  // namespace
