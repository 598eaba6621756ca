#include "scan/LoadPlan.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace {

using namespace QuorViewer;

struct Case {
  const char* name;
  std::uint64_t points;
  std::uint64_t entry;
  std::uint64_t decimation;
};

constexpr LoadSizes kSmallSizes = {1000, 300, 64, 8};

std::vector<std::uint64_t> indicesOf(const PointRange& range) {
  std::vector<std::uint64_t> indices;
  forEachRun(range, [&](const PointRun& run) {
    for (std::uint32_t place = 0; place < run.count; ++place) {
      indices.push_back(run.first + place * run.step);
    }
  });
  return indices;
}

class LoadPlanOf : public testing::TestWithParam<Case> {
 protected:
  std::vector<PlannedChunk> plan() const {
    return planLoad(GetParam().points, GetParam().entry, GetParam().decimation, kSmallSizes);
  }
  bool hasSample() const { return !plan().empty() && plan().front().phase == LoadPhase::Sample; }
};

TEST_P(LoadPlanOf, everyNthPointIsReadOnceAndNoOther) {
  std::map<std::uint64_t, int> reads;
  for (const PlannedChunk& chunk : plan()) {
    for (const std::uint64_t index : indicesOf(chunk.points)) {
      ++reads[index];
    }
  }
  std::map<std::uint64_t, int> wanted;
  for (std::uint64_t index = 0; index < GetParam().points; index += GetParam().decimation) {
    wanted[index] = 1;
  }
  EXPECT_EQ(reads, wanted);
  EXPECT_EQ(decimatedCount(GetParam().points, GetParam().decimation), wanted.size());
}

TEST_P(LoadPlanOf, anIndexInAChunkGivesThePointOfTheFile) {
  for (const PlannedChunk& chunk : plan()) {
    const std::vector<std::uint64_t> indices = indicesOf(chunk.points);
    ASSERT_EQ(indices.size(), chunk.points.count);
    for (std::uint32_t place = 0; place < chunk.points.count; ++place) {
      EXPECT_EQ(chunk.points.at(place), indices[place]);
    }
  }
}

TEST_P(LoadPlanOf, noChunkIsLargerThanAllowedOrEmpty) {
  for (const PlannedChunk& chunk : plan()) {
    EXPECT_GE(chunk.points.count, 1U);
    EXPECT_LE(chunk.points.count, kSmallSizes.chunk);
  }
}

TEST_P(LoadPlanOf, theSampleComesFirstAndCoversTheWholeScan) {
  if (!hasSample()) {
    for (const PlannedChunk& chunk : plan()) {
      EXPECT_EQ(chunk.phase, LoadPhase::Whole);
    }
    return;
  }
  std::vector<std::uint64_t> sample;
  bool later = false;
  for (const PlannedChunk& chunk : plan()) {
    EXPECT_FALSE(later && chunk.phase == LoadPhase::Sample);
    later = chunk.phase == LoadPhase::Remainder;
    const std::vector<std::uint64_t> indices = indicesOf(chunk.points);
    if (!later) {
      sample.insert(sample.end(), indices.begin(), indices.end());
    }
  }
  EXPECT_LE(sample.size(), 2 * kSmallSizes.sample);
  EXPECT_EQ(sample.front(), 0U);
  const std::uint64_t widest = GetParam().points / kSmallSizes.fewestRuns + 1;
  for (std::size_t place = 1; place < sample.size(); ++place) {
    EXPECT_LE(sample[place] - sample[place - 1], widest);
  }
  EXPECT_GE(sample.back() + 2 * widest, GetParam().points);
}

TEST_P(LoadPlanOf, theSampleStartsOnlyWhereReadingCanBegin) {
  for (const PlannedChunk& chunk : plan()) {
    if (chunk.phase != LoadPhase::Sample) {
      continue;
    }
    forEachRun(chunk.points, [](const PointRun& run) { EXPECT_EQ(run.first % GetParam().entry, 0U); });
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, LoadPlanOf,
    testing::Values(Case{"nothing", 0, 1, 1}, Case{"one", 1, 1, 1}, Case{"small", 1999, 1, 1},
                    Case{"large", 100003, 1, 1}, Case{"decimated", 100003, 1, 7}, Case{"decimatedToOne", 500, 1, 500},
                    Case{"decimatedBeyond", 500, 1, 10000}, Case{"compressed", 100003, 500, 1},
                    Case{"compressedDecimated", 100003, 500, 3}, Case{"compressedInLargePieces", 100003, 5000, 1},
                    Case{"compressedWhole", 100003, 100003, 1}, Case{"compressedWholeDecimated", 100003, 100003, 9}),
    [](const auto& one) { return std::string(one.param.name); });

TEST(LoadPlanTest, aLargeScanHasASampleAndOneThatCannotBeEnteredHasNone) {
  EXPECT_EQ(planLoad(100003, 500, 1, kSmallSizes).front().phase, LoadPhase::Sample);
  EXPECT_EQ(planLoad(100003, 100003, 1, kSmallSizes).front().phase, LoadPhase::Whole);
  EXPECT_EQ(planLoad(100000000, 1, 1).front().phase, LoadPhase::Sample);
}

TEST(LoadPlanTest, indicesRelativeToTheFirstOfAChunkFitThirtyTwoBits) {
  const std::uint64_t points = std::uint64_t{1} << 40U;
  for (const std::uint64_t decimation : {std::uint64_t{1} << 14U, std::uint64_t{1} << 20U}) {
    for (const PlannedChunk& chunk : planLoad(points, 1, decimation)) {
      ASSERT_LT(chunk.points.at(chunk.points.count - 1) - chunk.points.first, std::uint64_t{1} << 32U);
    }
  }
}

TEST(LoadPlanTest, theLeastDecimationThatFitsIsFound) {
  EXPECT_EQ(decimationFor(100, 100), 1U);
  EXPECT_EQ(decimationFor(101, 100), 2U);
  EXPECT_EQ(decimationFor(0, 100), 1U);
  EXPECT_EQ(decimationFor(1000, 1), 1000U);
  for (const std::uint64_t points : {12345U, 99999U}) {
    for (const std::uint64_t most : {1U, 7U, 5000U}) {
      EXPECT_LE(decimatedCount(points, decimationFor(points, most)), most);
    }
  }
}

TEST(LoadPlanTest, somethingOfEachScanIsReadEarlyIfReadingCanStartAtEnoughPlaces) {
  const auto early = [](std::uint64_t points, std::uint64_t entryPoints) {
    std::uint64_t count = 0;
    for (const PlannedChunk& chunk : planSample(points, entryPoints, kSmallSizes)) {
      count += chunk.points.count;
    }
    return count;
  };
  const std::uint64_t small = 2 * kSmallSizes.sample;
  EXPECT_EQ(early(small, 1), small) << "all of a small scan";
  EXPECT_EQ(early(small, small), small);
  const std::uint64_t large = 50 * kSmallSizes.sample;
  EXPECT_GT(early(large, 1), kSmallSizes.sample / 2);
  EXPECT_LE(early(large, 1), small);
  EXPECT_EQ(early(large, large), 0U) << "only its start could be read";
}

TEST(PointRunTest, whatComesBeforeAPointIsCounted) {
  const PointRun run = {100, 10, 5};  // 100, 110, 120, 130, 140
  EXPECT_EQ(run.span(), 41U);
  EXPECT_EQ(run.before(100).count, 0U);
  EXPECT_EQ(run.before(101).count, 1U);
  EXPECT_EQ(run.before(120).count, 2U);
  EXPECT_EQ(run.before(121).count, 3U);
  EXPECT_EQ(run.before(1000).count, 5U);
  EXPECT_EQ((PointRun{5, 1, 0}).span(), 0U);
}

}  // namespace
