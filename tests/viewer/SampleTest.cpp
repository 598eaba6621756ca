#include "viewer/render/Sample.h"
#include "viewer/render/ValueRange.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>

namespace {

using namespace QuorViewer;

std::vector<float> countedTo(std::size_t count) {
  std::vector<float> values(count);
  std::iota(values.begin(), values.end(), 0.0f);
  return values;
}

TEST(SampleTest, aShortStreamIsKeptWhole) {
  Sample<float> sample(100);
  const auto values = countedTo(60);
  sample.add(values.data(), 30);
  sample.add(values.data() + 30, 30);
  EXPECT_EQ(sample.values(), values);
}

TEST(SampleTest, aLongStreamIsKeptEvenlyAndInBounds) {
  Sample<float> sample(64);
  const auto values = countedTo(100000);
  for (std::size_t first = 0; first < values.size(); first += 777) {
    sample.add(values.data() + first, std::min<std::size_t>(777, values.size() - first));
  }
  ASSERT_LE(sample.values().size(), 64U);
  ASSERT_GE(sample.values().size(), 32U);
  const float step = sample.values()[1] - sample.values()[0];
  for (std::size_t i = 0; i < sample.values().size(); ++i) {
    EXPECT_EQ(sample.values()[i], static_cast<float>(i) * step);
  }
}

TEST(SampleTest, joinedSamplesRepresentBothStreamsProportionally) {
  Sample<float> many(64);
  Sample<float> few(64);
  const std::vector<float> ones(3000, 1.0f);
  const std::vector<float> twos(1000, 2.0f);
  many.add(ones.data(), ones.size());
  few.add(twos.data(), twos.size());
  for (Sample<float> joined : {many, few}) {
    joined.join(joined.values().front() == 1.0f ? few : many);
    ASSERT_LE(joined.values().size(), 64U);
    ASSERT_GE(joined.values().size(), 16U);
    const auto share = static_cast<double>(std::count(joined.values().begin(), joined.values().end(), 2.0f)) /
                       static_cast<double>(joined.values().size());
    EXPECT_NEAR(share, 0.25, 0.05);
  }
}

TEST(SampleTest, aSampleJoinedToNothingStaysAsItIs) {
  Sample<float> nothing(64);
  Sample<float> sample(64);
  const auto values = countedTo(1000);
  sample.add(values.data(), values.size());
  nothing.join(sample);
  EXPECT_EQ(nothing.values(), sample.values());
}

TEST(SampleTest, aStrideReadsOneOfSeveralInterleavedStreams) {
  Sample<float> sample(100);
  const std::vector<float> interleaved = {0, 1, 2, 10, 11, 12, 20, 21, 22};
  sample.add(interleaved.data() + 1, 3, 3);
  EXPECT_EQ(sample.values(), (std::vector<float>{1, 11, 21}));
}

TEST(SampleTest, valuesThatAreNotFiniteAreLeftOut) {
  Sample<float> sample(100);
  const std::vector<float> values = {1.0f, std::numeric_limits<float>::quiet_NaN(),
                                     std::numeric_limits<float>::infinity(), 2.0f};
  sample.add(values.data(), values.size());
  EXPECT_EQ(sample.values(), (std::vector<float>{1.0f, 2.0f}));
}

TEST(ValueRangeTest, theRangeExcludesOutliers) {
  std::vector<float> values = countedTo(1001);
  values[500] = 1e9f;
  const auto [low, high] = valuesBetween(values, 0.01, 0.99);
  EXPECT_NEAR(low, 10.0f, 1.0f);
  EXPECT_NEAR(high, 991.0f, 1.0f);
}

TEST(ValueRangeTest, theUpperEndAlwaysExceedsTheLower) {
  const auto [low, high] = valuesBetween({7.0f, 7.0f, 7.0f}, 0.01, 0.99);
  EXPECT_EQ(low, 7.0f);
  EXPECT_GT(high, low);
  EXPECT_EQ(valuesBetween({}, 0.01, 0.99), std::make_pair(0.0f, 1.0f));
}

}  // namespace
