#include "viewer/render/Precision.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace QuorViewer;

// A number from 2^n to 2^(n + 1) has 24 significant bits: the step is 2^(n - 23).
TEST(PrecisionTest, theStepIsThatOfTheLargestComponent) {
  EXPECT_EQ(drawnStepAt({1.0, 0.0, 0.5}), std::exp2(-23));
  EXPECT_EQ(drawnStepAt({0.0, 5000.0, 7.0}), std::exp2(12 - 23));
  EXPECT_EQ(drawnStepAt({0.0, 3.0, -412000.0}), std::exp2(18 - 23));
}

TEST(PrecisionTest, aPositionAtTheOriginHasATinyPositiveStep) {
  EXPECT_GT(drawnStepAt({}), 0.0);
  EXPECT_LT(drawnStepAt({}), 1e-40);
}

}  // namespace
