#include "capture/DepthRange.h"
#include "capture/DepthRangeSearch.h"
#include "capture/FloatLanes.h"
#include "support/PlainDepthRange.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

using QuorOsgUtils::depthRange;
using QuorOsgUtils::DepthRange;
using QuorOsgUtils::DepthRangeSearch;
using QuorOsgUtils::PlainLanes;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

using Depths = std::vector<float>;

std::uint32_t bits(float value) {
  std::uint32_t result = 0;
  std::memcpy(&result, &value, sizeof(result));
  return result;
}

void expectSame(DepthRange actual, DepthRange expected, const std::string& what) {
  ASSERT_EQ(bits(actual.minimum), bits(expected.minimum)) << what << ": " << actual.minimum << " " << expected.minimum;
  ASSERT_EQ(bits(actual.maximum), bits(expected.maximum)) << what << ": " << actual.maximum << " " << expected.maximum;
}

/// Checks both kinds of lanes, bit for bit.
void expectRange(const Depths& depths, DepthRange expected, const std::string& what) {
  expectSame(depthRange(depths.data(), depths.size()), expected, what);
  expectSame(DepthRangeSearch<PlainLanes>::range(depths.data(), depths.data() + depths.size()), expected,
             what + ", plain lanes");
}

void expectAsPlain(const Depths& depths, const std::string& what) {
  expectRange(depths, QuorTests::plainDepthRange(depths.data(), depths.size()), what);
}

struct Edge {
  const char* what;
  Depths depths;
  DepthRange expected;
};

class DepthRangeEdge : public ::testing::TestWithParam<Edge> {};

/// Lengths around the sizes of lanes, chunks and blocks, and one that needs blocks within blocks.
const std::vector<std::size_t> kLengths = {0,  1,  2,   3,   4,   5,   15,   16,   17,    60,    63,    64,     65,
                                           67, 68, 127, 128, 129, 191, 1000, 4096, 65535, 65536, 65537, 131200, 200003};

using Generator = std::mt19937;

float uniform(Generator& generator) {
  return std::uniform_real_distribution<float>(0.0f, 1.0f)(generator);
}

/// Values chosen to collide: few distinct ones, background, NaN, infinities, both zeros, beyond 1 and below 0.
float awkward(Generator& generator) {
  static const Depths kValues = {1.0f,  1.0f, 1.0f,      kNaN,       0.0f, -0.0f,  0.5f,      0.25f,
                                 0.75f, 2.0f, kInfinity, -kInfinity, -1.f, 1e-40f, 0.999999f, 1.000001f};
  return kValues[generator() % kValues.size()];
}

}  // namespace

TEST_P(DepthRangeEdge, followsTheRule) {
  const Edge& edge = GetParam();
  expectRange(edge.depths, edge.expected, edge.what);
  const DepthRange plain = QuorTests::plainDepthRange(edge.depths.data(), edge.depths.size());
  expectSame(plain, edge.expected, "the plain loop");
}

INSTANTIATE_TEST_SUITE_P(
    DepthRange, DepthRangeEdge,
    ::testing::Values(Edge{"nothingYieldsOneAndZero", {}, {1.0f, 0.0f}},
                      Edge{"allBackgroundYieldsOneAndZero", {1.0f, 1.0f, 1.0f}, {1.0f, 0.0f}},
                      Edge{"loweringTwiceThenRisingTakesTheRise", {0.5f, 0.3f, 0.4f}, {0.3f, 0.4f}},
                      Edge{"aSingleDepthAmongBackgroundLeavesTheMaximumAtZero", {1.0f, 0.5f, 1.0f, 1.0f}, {0.5f, 0.0f}},
                      Edge{"theLastDepthAboveTheMinimumWinsThoughAnotherIsLarger", {0.3f, 0.5f, 0.4f}, {0.3f, 0.4f}},
                      Edge{"aMaximumFoundBeforeTheFinalMinimumStays", {0.5f, 0.6f, 0.4f}, {0.4f, 0.6f}},
                      Edge{"strictlyFallingDepthsHaveNoMaximum", {0.9f, 0.7f, 0.2f}, {0.2f, 0.0f}},
                      Edge{"equalDepthsHaveNoMaximum", {0.4f, 0.4f, 0.4f}, {0.4f, 0.0f}},
                      Edge{"risingDepthsEndAtTheLast", {0.1f, 0.2f, 0.3f}, {0.1f, 0.3f}},
                      Edge{"nanIsNeitherMinimumNorMaximum", {kNaN, 0.5f, kNaN, 0.6f, kNaN}, {0.5f, 0.6f}},
                      Edge{"allNanYieldsOneAndZero", {kNaN, kNaN}, {1.0f, 0.0f}},
                      Edge{"aDepthAboveOneIsAMaximumAndNoMinimum", {1.5f, 1.0f}, {1.0f, 1.5f}},
                      Edge{"aDepthAboveOneBeforeTheMinimumStays", {2.0f, 0.5f}, {0.5f, 2.0f}},
                      Edge{"backgroundAfterADepthIsNoMaximum", {0.5f, 1.0f}, {0.5f, 0.0f}},
                      Edge{"infinitiesCountAsDepths", {kInfinity, -kInfinity, kInfinity}, {-kInfinity, kInfinity}},
                      Edge{"theFirstOfTwoZerosGivesItsSign", {0.5f, -0.0f, 0.0f}, {-0.0f, 0.0f}},
                      Edge{"aLaterNegativeZeroDoesNotReplaceZero", {0.5f, 0.0f, -0.0f}, {0.0f, 0.0f}},
                      Edge{"zeroAboveANegativeMinimumIsAMaximumWithItsSign", {-0.5f, -0.0f}, {-0.5f, -0.0f}}),
    [](const auto& edge) { return std::string(edge.param.what); });

TEST(DepthRange, agreesWithThePlainLoopOnRandomDepthsOfEveryLength) {
  Generator generator(7);
  for (const std::size_t length : kLengths) {
    Depths depths(length);
    std::generate(depths.begin(), depths.end(), [&] { return uniform(generator); });
    expectAsPlain(depths, std::to_string(length));
  }
}

TEST(DepthRange, agreesWithThePlainLoopOnShortMixturesOfAwkwardValues) {
  Generator generator(11);
  for (int round = 0; round < 60000; ++round) {
    Depths depths(generator() % 200);
    const std::uint32_t fallingEvery = 1 + generator() % 4;
    float falling = 1.0f;
    for (float& depth : depths) {
      falling *= 0.99f;
      depth = generator() % fallingEvery == 0 ? awkward(generator) : falling;
    }
    expectAsPlain(depths, "round " + std::to_string(round));
    ASSERT_FALSE(HasFatalFailure());
  }
}

// One rise somewhere in an otherwise falling sequence decides the maximum: every place of it is tried.
TEST(DepthRange, findsTheOnlyRiseInFallingDepthsAtAnyPosition) {
  constexpr std::size_t kLength = 333;
  for (std::size_t rise = 0; rise < kLength; ++rise) {
    for (std::size_t back = 1; back <= rise; back += 1 + back / 3) {
      Depths depths(kLength);
      for (std::size_t i = 0; i < kLength; ++i) {
        depths[i] = 0.9f - 0.001f * static_cast<float>(i);
      }
      depths[rise] = depths[rise - back] + 0.0005f;
      expectAsPlain(depths, std::to_string(rise) + " back " + std::to_string(back));
      ASSERT_FALSE(HasFatalFailure());
    }
  }
}

TEST(DepthRange, findsTheOnlyRiseAfterAnyRunOfBackgroundAndNan) {
  constexpr std::size_t kLength = 200;
  for (std::size_t rise = 1; rise < kLength; ++rise) {
    for (std::size_t run = 0; run < rise && run < 70; ++run) {
      Depths depths(kLength);
      for (std::size_t i = 0; i < kLength; ++i) {
        depths[i] = 0.9f - 0.001f * static_cast<float>(i);
      }
      for (std::size_t i = rise - run; i < rise; ++i) {
        depths[i] = i % 3 == 0 ? kNaN : 1.0f;
      }
      depths[rise] = depths[rise - run - 1] + 0.0005f;
      expectAsPlain(depths, std::to_string(rise) + " behind " + std::to_string(run));
      ASSERT_FALSE(HasFatalFailure());
    }
  }
}

TEST(DepthRange, agreesWithThePlainLoopWhereDepthsKeepFallingBetweenBackgroundAndNan) {
  Generator generator(13);
  for (const std::size_t length : kLengths) {
    for (const float filler : {1.0f, kNaN}) {
      for (const std::size_t period : {2U, 3U, 8U, 61U}) {
        Depths depths(length);
        for (std::size_t i = 0; i < length; ++i) {
          depths[i] = i % period == 0 ? filler : 0.999f - static_cast<float>(i) * 0.99f / static_cast<float>(length);
        }
        expectAsPlain(depths, "falling");
        if (length > 0) {
          depths[generator() % length] = uniform(generator);
          expectAsPlain(depths, "falling with one stray");
        }
      }
    }
  }
}

TEST(DepthRange, agreesWithThePlainLoopForAnyPositionsOfTheMinimumAndTheLastRise) {
  constexpr std::size_t kLength = 70001;
  Generator generator(17);
  const Depths backgrounds = {1.0f, 0.5f, kNaN, 3.0f};
  for (int round = 0; round < 400; ++round) {
    Depths depths(kLength, backgrounds[generator() % backgrounds.size()]);
    for (int stray = 0; stray < 1 + round % 5; ++stray) {
      depths[generator() % kLength] = awkward(generator);
    }
    expectAsPlain(depths, "round " + std::to_string(round));
    ASSERT_FALSE(HasFatalFailure());
  }
}

TEST(DepthRange, theSignOfTheFirstZeroCountsInAnyBlock) {
  for (const std::size_t place : {0U, 63U, 64U, 5000U, 131071U, 199998U}) {
    for (const float first : {0.0f, -0.0f}) {
      Depths depths(200000, 0.5f);
      depths[place] = first;
      std::fill(depths.begin() + static_cast<std::ptrdiff_t>(place) + 1, depths.end(), -first);
      expectAsPlain(depths, std::to_string(place));
    }
  }
}

TEST(DepthRange, aMinimumAtTheVeryEndLeavesTheEarlierMaximum) {
  for (const std::size_t length : kLengths) {
    if (length < 3) {
      continue;
    }
    Depths depths(length, 0.5f);
    depths[1] = 0.75f;
    depths.back() = 0.25f;
    expectRange(depths, {0.25f, 0.75f}, std::to_string(length));
  }
}

TEST(DepthRange, anImageMayStartAtAnyAddress) {
  Generator generator(19);
  Depths depths(1003);
  std::generate(depths.begin(), depths.end(), [&] { return awkward(generator); });
  for (std::size_t start = 0; start < 8; ++start) {
    const Depths moved(depths.begin() + static_cast<std::ptrdiff_t>(start), depths.end());
    const DepthRange expected = QuorTests::plainDepthRange(moved.data(), moved.size());
    expectSame(depthRange(depths.data() + start, depths.size() - start), expected, std::to_string(start));
  }
}
