#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"
#include "capture/DepthRange.h"
#include "capture/FloatLanes.h"
#include "support/PlainDepthRange.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace {

using QuorOsgUtils::FloatLanes;

using Fill = float (*)(float position, std::size_t index);

float uniform() {
  static std::mt19937 generator(5);
  return std::uniform_real_distribution<float>(0.0f, 1.0f)(generator);
}

float falling(float position) {
  return 0.999f - 0.99f * position;
}

/// Rows run from the bottom up: slightly noisy ground that recedes, under a cleared sky.
float groundAndSky(float position, std::size_t) {
  return position < 0.5f ? 0.5f + 0.8f * position + 0.01f * uniform() : 1.0f;
}

float random(float, std::size_t) {
  return uniform();
}
float ascending(float position, std::size_t) {
  return position;
}
float descending(float position, std::size_t) {
  return falling(position);
}
float background(float, std::size_t) {
  return 1.0f;
}
float descendingBetweenBackground(float position, std::size_t index) {
  return index % 2 == 0 ? 1.0f : falling(position);
}
float descendingBetweenNan(float position, std::size_t index) {
  return index % 8 == 0 ? std::numeric_limits<float>::quiet_NaN() : falling(position);
}
float descendingInSteps(float position, std::size_t index) {
  return index % 2 == 0 ? 1.0f : falling(static_cast<float>(static_cast<int>(position * 900.0f)) / 900.0f);
}
float descendingToZero(float position, std::size_t) {
  return 0.5f * (1.0f - position);
}

/// The least pass that any depth range needs: the smallest value.
float vectorisedMinimum(const float* depths, std::size_t count) {
  constexpr std::size_t kAtOnce = 4;
  constexpr std::size_t kStep = kAtOnce * FloatLanes::kCount;
  std::array<FloatLanes, kAtOnce> least;
  least.fill(FloatLanes::fill(1.0f));
  std::size_t i = 0;
  for (; i + kStep <= count; i += kStep) {
    for (std::size_t k = 0; k < kAtOnce; ++k) {
      least[k] = FloatLanes::least(FloatLanes::load(depths + i + k * FloatLanes::kCount), least[k]);
    }
  }
  std::array<float, kStep> lanes;
  for (std::size_t k = 0; k < kAtOnce; ++k) {
    least[k].store(lanes.data() + k * FloatLanes::kCount);
  }
  const float minimum = *std::min_element(lanes.begin(), lanes.end());
  return std::accumulate(depths + i, depths + count, minimum, [](float a, float b) { return std::min(a, b); });
}

std::vector<float> imageOf(Fill fill, std::size_t count) {
  std::vector<float> depths(count);
  for (std::size_t i = 0; i < count; ++i) {
    depths[i] = fill(static_cast<float>(i) / static_cast<float>(count - 1), i);
  }
  return depths;
}

/// What is intended beside the plain loop and beside the minimum.
struct Goals {
  double plain;
  double minimum;
};
constexpr Goals kRandom{1.0 / 5.0, 1.1};
constexpr Goals kGroundAndSky{1.0 / 2.0, 0.0};
constexpr Goals kOther{1.0 / 0.95, 0.0};

void depthRange(benchmark::State& state, Fill fill, Goals goals) {
  const auto count = static_cast<std::size_t>(state.range(0) * state.range(1));
  const std::vector<float> image = imageOf(fill, count);
  const float* const depths = image.data();
  std::vector<float> copy(count);
  QuorBenchmarks::compare(
      state, {"depthRange", [&] { benchmark::DoNotOptimize(QuorOsgUtils::depthRange(depths, count)); }},
      {{"plain loop", [&] { benchmark::DoNotOptimize(QuorTests::plainDepthRange(depths, count)); }, {}, 1, goals.plain},
       {"vectorised minimum",
        [&] { benchmark::DoNotOptimize(vectorisedMinimum(depths, count)); },
        {},
        1,
        goals.minimum},
       {"memcpy", [&] { std::memcpy(copy.data(), depths, count * sizeof(float)); }}});
}

void allSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Args({1280, 720})->Args({1920, 1080})->Args({3840, 2160})->ArgNames({"width", "height"});
  benchmark->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(depthRange, random, random, kRandom)->Apply(allSizes);
BENCHMARK_CAPTURE(depthRange, groundAndSky, groundAndSky, kGroundAndSky)->Apply(allSizes);
BENCHMARK_CAPTURE(depthRange, background, background, kOther)->Apply(allSizes);
BENCHMARK_CAPTURE(depthRange, ascending, ascending, kOther)->Apply(allSizes);
BENCHMARK_CAPTURE(depthRange, descending, descending, kOther)->Apply(allSizes);
BENCHMARK_CAPTURE(depthRange, descendingBetweenBackground, descendingBetweenBackground, kOther)->Apply(allSizes);
BENCHMARK_CAPTURE(depthRange, descendingBetweenNan, descendingBetweenNan, kOther)->Apply(allSizes);
BENCHMARK_CAPTURE(depthRange, descendingInSteps, descendingInSteps, kOther)->Apply(allSizes);
BENCHMARK_CAPTURE(depthRange, descendingToZero, descendingToZero, kOther)->Apply(allSizes);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {"Depth range",
                                                         "The depth range of one image, beside the plain loop that it "
                                                         "must agree with, the vectorised minimum alone, and a copy of "
                                                         "the image. The descending images are the worst cases: each "
                                                         "block of them lowers the minimum, and few values or none are "
                                                         "above the minimum so far, so the search cannot stop early."};
