#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

namespace QuorBenchmarks {

/// One way of doing the same work. What there is to prepare before each time is not measured.
struct Way {
  std::string name;
  std::function<void()> work;
  std::function<void()> prepare = {};
};

/// Runs all ways in turn in every iteration, in an order that moves on by one each time, so that whatever slows the
/// machine meets all of them alike. Reported as counters: the median microseconds of each way, and for each of the
/// others "<its name>/<the first one's name>", the median of the ratios of their times within one iteration.
void runInterleaved(benchmark::State& state, const std::vector<Way>& ways);

}  // namespace QuorBenchmarks
