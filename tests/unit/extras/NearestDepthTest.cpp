#include "extras/NearestDepth.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

using namespace QuorOsgUtils;

class NearestDepthTest : public ::testing::Test {
 protected:
  static constexpr int kWidth = 40;
  static constexpr int kHeight = 30;

  void set(int x, int y, float depth) { _depths[static_cast<std::size_t>(y * kWidth + x)] = depth; }
  std::optional<ScenePixel> find(int x, int y, int reach) const {
    return nearestScenePixel({_depths, 0, 0, kWidth, kHeight}, x, y, reach);
  }

  std::vector<float> _depths = std::vector<float>(static_cast<std::size_t>(kWidth) * kHeight, 1.0f);
};

TEST_F(NearestDepthTest, thePixelItselfComesFirst) {
  set(10, 10, 0.5f);
  set(11, 10, 0.1f);
  const auto found = find(10, 10, 5);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->x, 10);
  EXPECT_EQ(found->depth, 0.5f);
}

TEST_F(NearestDepthTest, theNearestPixelIsFoundInEveryDirection) {
  for (const auto& [dx, dy] : {std::pair{3, 0}, {-3, 0}, {0, 3}, {0, -3}, {2, -2}}) {
    set(20 + dx, 15 + dy, 0.25f);
    set(24, 19, 0.125f);
    const auto found = find(20, 15, 4);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->x, 20 + dx);
    EXPECT_EQ(found->y, 15 + dy);
    set(20 + dx, 15 + dy, 1.0f);
  }
}

TEST_F(NearestDepthTest, ofPixelsAtTheSameDistanceTheOneNearestToTheEyeIsFound) {
  set(18, 15, 0.5f);
  set(22, 15, 0.25f);
  set(20, 17, 0.75f);
  EXPECT_EQ(find(20, 15, 4)->x, 22);
}

TEST_F(NearestDepthTest, nothingIsFoundBeyondTheReachOrInTheBackground) {
  EXPECT_FALSE(find(20, 15, 30));
  set(25, 15, 0.5f);
  EXPECT_FALSE(find(20, 15, 4));
  EXPECT_TRUE(find(20, 15, 5));
  EXPECT_FALSE(find(20, 15, 0));
}

TEST_F(NearestDepthTest, positionsOutsideTheImageAndDamagedDepthsAreHarmless) {
  set(0, 0, std::numeric_limits<float>::quiet_NaN());
  set(1, 0, -0.5f);
  set(2, 0, 2.0f);
  EXPECT_FALSE(find(0, 0, 10));
  set(0, 1, 0.5f);
  EXPECT_TRUE(find(-3, -3, 5));
  EXPECT_FALSE(find(std::numeric_limits<int>::min(), 0, 32));
  EXPECT_FALSE(find(std::numeric_limits<int>::max(), std::numeric_limits<int>::max(), 32));
}

}  // namespace
