#include "capture/CaptureViewport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using QuorOsgUtils::captureViewport;

TEST(CaptureViewport, truncatesEveryNumberTowardZero) {
  const auto viewport = captureViewport(-2.9, 3.9, 640.999, 480.5);
  ASSERT_TRUE(viewport.has_value());
  EXPECT_EQ(viewport->x, -2);
  EXPECT_EQ(viewport->y, 3);
  EXPECT_EQ(viewport->width, 640);
  EXPECT_EQ(viewport->height, 480);
  EXPECT_EQ(viewport->pixelCount(), 307200U);
}

TEST(CaptureViewport, sidesBelowOnePixelAreEmptyAndValid) {
  const auto viewport = captureViewport(0.0, 0.0, -0.9, 0.9);
  ASSERT_TRUE(viewport.has_value());
  EXPECT_EQ(viewport->width, 0);
  EXPECT_EQ(viewport->pixelCount(), 0U);
}

TEST(CaptureViewport, aNegativeSideIsRefusedEvenWhenTheProductIsPositive) {
  EXPECT_FALSE(captureViewport(0.0, 0.0, -2.0, 3.0).has_value());
  EXPECT_FALSE(captureViewport(0.0, 0.0, 2.0, -3.0).has_value());
  EXPECT_FALSE(captureViewport(0.0, 0.0, -2.0, -3.0).has_value());
}

TEST(CaptureViewport, imagesOfTwoToTheThirtyOneValuesOrMoreAreRefused) {
  EXPECT_TRUE(captureViewport(0.0, 0.0, 32768.0, 16383.0).has_value());
  EXPECT_FALSE(captureViewport(0.0, 0.0, 32768.0, 16384.0).has_value()) << "32768 x 16384 x 4 is 2^31";
  EXPECT_FALSE(captureViewport(0.0, 0.0, 65536.0, 65536.0).has_value()) << "the product wraps to 0 in 32 bits";
  EXPECT_FALSE(captureViewport(0.0, 0.0, 2147483647.0, 2147483647.0).has_value());
}

TEST(CaptureViewport, numbersThatFitNoIntAreRefused) {
  const double kBeyond[] = {2147483648.0, -2147483649.0, 1e300, -1e300, std::numeric_limits<double>::infinity(),
                            std::nan("")};
  for (const double beyond : kBeyond) {
    EXPECT_FALSE(captureViewport(beyond, 0.0, 4.0, 4.0).has_value()) << beyond;
    EXPECT_FALSE(captureViewport(0.0, beyond, 4.0, 4.0).has_value()) << beyond;
    EXPECT_FALSE(captureViewport(0.0, 0.0, beyond, 4.0).has_value()) << beyond;
    EXPECT_FALSE(captureViewport(0.0, 0.0, 4.0, beyond).has_value()) << beyond;
  }
  EXPECT_TRUE(captureViewport(-2147483648.0, 2147483647.0, 4.0, 4.0).has_value());
}
