#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

namespace QuorBenchmarks {

/// One way to do the same work. `prepare` runs before each measurement and is not measured.
struct Way {
  std::string name;
  std::function<void()> work;
  std::function<void()> prepare = {};
};

/// Runs every way once per iteration. The order rotates by one in each iteration, so that disturbances on the machine
/// affect all ways alike. Reports as counters the median microseconds of each way, and for each way but the first
/// "<its name>/<the first one's name>", the median of the ratios of their times within one iteration.
void runInterleaved(benchmark::State& state, const std::vector<Way>& ways);

}  // namespace QuorBenchmarks
