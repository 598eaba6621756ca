#include "viewer/session/VertexBudget.h"

#include <gtest/gtest.h>

namespace {

using QuorViewer::VertexBudget;

TEST(VertexBudgetTest, whatFitsIsNotDecimated) {
  EXPECT_EQ(VertexBudget(40 * 1000).decimationFor(1000), 1U);
  EXPECT_EQ(VertexBudget(40 * 1000).decimationFor(0), 1U);
}

TEST(VertexBudgetTest, pointsThatDoNotFitAreDecimatedNoMoreThanNecessary) {
  EXPECT_EQ(VertexBudget(40 * 1000 - 1).decimationFor(1000), 2U);
  EXPECT_EQ(VertexBudget(40 * 1000).decimationFor(3000), 3U);
  EXPECT_EQ(VertexBudget(40 * 1000).decimationFor(3001), 4U);
  EXPECT_EQ(VertexBudget(std::uint64_t{1} << 30U).decimationFor(130000000), 5U);  // 26,843,545 points fit
}

TEST(VertexBudgetTest, laterScansGetTheRemainingMemory) {
  VertexBudget budget(40 * 1000);
  budget.take(900);
  EXPECT_EQ(budget.decimationFor(100), 1U);
  EXPECT_EQ(budget.decimationFor(1000), 10U);
  budget.take(100);
  EXPECT_EQ(budget.decimationFor(1), 0U);
}

TEST(VertexBudgetTest, reservedMemoryIsLeft) {
  VertexBudget budget(40 * 1000);
  budget.take(100);
  EXPECT_EQ(budget.decimationFor(500, 40 * 400), 1U);
  EXPECT_EQ(budget.decimationFor(500, 40 * 400 + 1), 2U);
  EXPECT_EQ(budget.decimationFor(1, 40 * 900), 0U);
}

TEST(VertexBudgetTest, theMemoryOfAClosedScanIsAvailableToTheNext) {
  VertexBudget budget(40 * 1000);
  budget.take(1000);
  budget.giveBack(400);
  EXPECT_EQ(budget.decimationFor(400), 1U);
  EXPECT_EQ(budget.decimationFor(401), 2U);
}

TEST(VertexBudgetTest, pointsBeyondTheBudgetAreCountedUntilTheyAreReleased) {
  VertexBudget budget(40 * 1000);
  budget.take(900);
  budget.take(500);  // a sample, which is shown in any case
  EXPECT_EQ(budget.decimationFor(1), 0U);
  budget.giveBack(500);
  EXPECT_EQ(budget.decimationFor(100), 1U);
  EXPECT_EQ(budget.decimationFor(101), 2U);
}

TEST(VertexBudgetTest, aBudgetOfNothingHoldsNoPoint) {
  EXPECT_EQ(VertexBudget(39).decimationFor(1), 0U);
}

TEST(VertexBudgetTest, theDefaultIsSomeMemory) {
  EXPECT_GT(QuorViewer::defaultBudgetBytes(), std::uint64_t{1} << 23U);
}

}  // namespace
