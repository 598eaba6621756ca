#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"
#include "capture/DepthRange.h"
#include "support/PlainDepthRange.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

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

void depthRange(benchmark::State& state, Fill fill) {
  const auto count = static_cast<std::size_t>(state.range(0) * state.range(1));
  std::vector<float> depths(count);
  std::vector<float> copy(count);
  for (std::size_t i = 0; i < count; ++i) {
    depths[i] = fill(static_cast<float>(i) / static_cast<float>(count - 1), i);
  }
  QuorBenchmarks::compare(
      state, {"depthRange", [&] { benchmark::DoNotOptimize(QuorOsgUtils::depthRange(depths.data(), count)); }},
      {{"plain loop", [&] { benchmark::DoNotOptimize(QuorTests::plainDepthRange(depths.data(), count)); }},
       {"memcpy", [&] { std::memcpy(copy.data(), depths.data(), count * sizeof(float)); }}});
}

void bothSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Args({1280, 720})->Args({1920, 1080})->ArgNames({"width", "height"})->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(depthRange, random, random)->Apply(bothSizes);
BENCHMARK_CAPTURE(depthRange, groundAndSky, groundAndSky)->Apply(bothSizes);
BENCHMARK_CAPTURE(depthRange, ascending, ascending)->Apply(bothSizes);
BENCHMARK_CAPTURE(depthRange, descending, descending)->Apply(bothSizes);
BENCHMARK_CAPTURE(depthRange, background, background)->Apply(bothSizes);
BENCHMARK_CAPTURE(depthRange, descendingBetweenBackground, descendingBetweenBackground)->Apply(bothSizes);
BENCHMARK_CAPTURE(depthRange, descendingBetweenNan, descendingBetweenNan)->Apply(bothSizes);
BENCHMARK_CAPTURE(depthRange, descendingInSteps, descendingInSteps)->Apply(bothSizes);
BENCHMARK_CAPTURE(depthRange, descendingToZero, descendingToZero)->Apply(bothSizes);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Depth range", "The depth range of one image, beside the plain loop that it must agree with."};
