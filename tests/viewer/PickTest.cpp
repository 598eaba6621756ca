#include "viewer/measure/Pick.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace {

using namespace QuorViewer;

constexpr int kWidth = 40;
constexpr int kHeight = 30;

class PickTest : public testing::Test {
 protected:
  void put(int x, int y, unsigned int scan, std::uint64_t point) {
    const auto first = static_cast<std::size_t>((y * kWidth + x) * 4);
    _values[first] = scan;
    _values[first + 1] = static_cast<unsigned int>(point & 0xFFFFFFFFU);
    _values[first + 2] = static_cast<unsigned int>(point >> 32U);
    _values[first + 3] = 1;
  }

  std::optional<PickedPixel> pick(int x, int y) const { return pickNearest({_values, kWidth, kHeight}, x, y); }

  std::vector<unsigned int> _values = std::vector<unsigned int>(kWidth * kHeight * 4);
};

TEST_F(PickTest, nothingIsPickedFromTheBackground) {
  EXPECT_FALSE(pick(20, 15));
}

TEST_F(PickTest, thePointUnderThePointerIsPicked) {
  put(20, 15, 1, 7);
  put(21, 15, 1, 8);
  ASSERT_TRUE(pick(20, 15));
  EXPECT_EQ(pick(20, 15)->point, 7U);
}

TEST_F(PickTest, theNearestOfSeveralIsPicked) {
  put(17, 12, 1, 1);  // 4.24 pixels away
  put(20, 19, 2, 2);  // 4 pixels away
  put(25, 15, 3, 3);  // 5 pixels away
  ASSERT_TRUE(pick(20, 15));
  EXPECT_EQ(pick(20, 15)->scan, 2U);
  EXPECT_EQ(pick(20, 15)->x, 20);
  EXPECT_EQ(pick(20, 15)->y, 19);
}

TEST_F(PickTest, sixPixelsAreWithinReachAndSevenAreNot) {
  put(26, 15, 1, 1);
  EXPECT_TRUE(pick(20, 15));
  EXPECT_FALSE(pick(19, 15));
}

TEST_F(PickTest, theCornersOfTheSearchSquareAreOutOfReach) {
  put(26, 21, 1, 1);
  EXPECT_FALSE(pick(20, 15));
}

TEST_F(PickTest, anIndexBeyondThirtyTwoBitsIsNotTruncated) {
  put(3, 3, 1, 0x500000002ULL);
  ASSERT_TRUE(pick(3, 3));
  EXPECT_EQ(pick(3, 3)->point, 0x500000002ULL);
}

TEST_F(PickTest, positionsAtAndBeyondTheEdgesStayInsideTheImage) {
  put(0, 0, 1, 5);
  put(kWidth - 1, kHeight - 1, 1, 6);
  EXPECT_EQ(pick(-3, -3)->point, 5U);
  EXPECT_EQ(pick(kWidth + 2, kHeight + 2)->point, 6U);
  EXPECT_FALSE(pick(-1000, 100000));
}

TEST_F(PickTest, aFrameWithoutPixelsHoldsNothing) {
  const std::vector<unsigned int> none;
  EXPECT_FALSE(pickNearest({none, 0, 0}, 0, 0));
  EXPECT_FALSE(pickNearest({none, 10, 10}, 5, 5));
}

}  // namespace
