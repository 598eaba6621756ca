#include "viewer/ui/Format.h"

#include <gtest/gtest.h>

namespace {

using namespace QuorViewer;

TEST(FormatTest, longNumbersAreGroupedByThree) {
  EXPECT_EQ(grouped(0), "0");
  EXPECT_EQ(grouped(999), "999");
  EXPECT_EQ(grouped(1000), "1,000");
  EXPECT_EQ(grouped(10653336), "10,653,336");
  EXPECT_EQ(grouped(1234567890123), "1,234,567,890,123");
}

TEST(FormatTest, coordinatesShowTheDecimalsOfTheirGrid) {
  EXPECT_EQ(decimalsOfScale(0.01), 2);
  EXPECT_EQ(decimalsOfScale(0.001), 3);
  EXPECT_EQ(decimalsOfScale(0.25), 1);
  EXPECT_EQ(decimalsOfScale(1.0), 0);
  EXPECT_EQ(decimalsOfScale(10.0), 0);
  EXPECT_EQ(decimalsOfScale(1.4e-8), 8);
}

TEST(FormatTest, anInvalidGridShowsThreeDecimals) {
  EXPECT_EQ(decimalsOfScale(0.0), 3);
  EXPECT_EQ(decimalsOfScale(-1.0), 3);
}

TEST(FormatTest, aCoordinateKeepsItsDigits) {
  EXPECT_EQ(fixed(9876543.25, 2), "9876543.25");
}

TEST(FormatTest, vectorsAreThreeNumbersWithASeparator) {
  EXPECT_EQ(coordinates({9876543.25, -0.5, 3.0}, 2), "9876543.25 -0.50 3.00");
  EXPECT_EQ(coordinates({1.0, 2.0, 3.0}, 0, " × "), "1 × 2 × 3");
}

TEST(FormatTest, memoryIsFormattedInMebibytesWithADecimalForSmallAmounts) {
  constexpr std::uint64_t kMebibyte = 1024 * 1024;
  EXPECT_EQ(inMebibytes(0), "0.0 MiB");
  EXPECT_EQ(inMebibytes(kMebibyte / 2), "0.5 MiB");
  EXPECT_EQ(inMebibytes(9 * kMebibyte), "9.0 MiB");
  EXPECT_EQ(inMebibytes(10 * kMebibyte - 1), "10 MiB");
  EXPECT_EQ(inMebibytes(5120 * kMebibyte + 1), "5,120 MiB");
}

TEST(FormatTest, largeSizesAreInGibibytes) {
  EXPECT_EQ(sizeText(std::uint64_t{300} << 20U), "300 MiB");
  EXPECT_EQ(sizeText(std::uint64_t{1} << 30U), "1.0 GiB");
  EXPECT_EQ(sizeText((std::uint64_t{1} << 30U) * 12 / 10), "1.2 GiB");
}

TEST(FormatTest, ordinalsHaveTheirEnglishSuffixes) {
  const std::pair<std::uint64_t, const char*> spoken[] = {
      {1, "1st"},   {2, "2nd"},   {3, "3rd"},     {4, "4th"},     {11, "11th"},     {12, "12th"},
      {13, "13th"}, {21, "21st"}, {102, "102nd"}, {111, "111th"}, {1003, "1,003rd"}};
  for (const auto& [number, words] : spoken) {
    EXPECT_EQ(ordinal(number), words);
  }
}

}  // namespace
