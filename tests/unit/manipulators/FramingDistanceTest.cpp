#include "manipulators/FramingDistance.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using QuorOsgUtils::framingDistance;

TEST(FramingDistance, aSphereIsFramedWhereItFillsTheFieldOfView) {
  EXPECT_NEAR(framingDistance(2.0, 60.0), 4.0, 1e-6);
  EXPECT_EQ(framingDistance(2.0), 7.0);
}

TEST(FramingDistance, aSphereWithoutASizeIsFramedAsASmallOne) {
  EXPECT_NEAR(framingDistance(0.0, 30.0), 1e-6 / std::sin(3.14159265358979 / 12.0), 1e-12);
  EXPECT_EQ(framingDistance(-1.0), 3.5e-6);
}

}  // namespace
