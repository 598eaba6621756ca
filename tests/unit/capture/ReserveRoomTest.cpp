#include "capture/ReserveRoom.h"

#include <gtest/gtest.h>

#include <vector>

using QuorOsgUtils::reserveRoom;

TEST(ReserveRoom, reservesRoomAndKeepsTheValues) {
  std::vector<float> values{0.25f, 0.5f};
  EXPECT_TRUE(reserveRoom(values, 100));
  EXPECT_GE(values.capacity(), 100U);
  EXPECT_EQ(values, (std::vector<float>{0.25f, 0.5f}));
}

TEST(ReserveRoom, moreValuesThanAVectorCanHoldAreRefusedAndTheValuesKept) {
  std::vector<float> values{0.25f, 0.5f};
  EXPECT_FALSE(reserveRoom(values, values.max_size() + 1));
  EXPECT_EQ(values, (std::vector<float>{0.25f, 0.5f}));
}
