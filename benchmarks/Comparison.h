#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace QuorBenchmarks {

/// One of several ways to do the same work.
struct Variant {
  std::string name;
  std::function<void()> work;
  /// Runs before each measurement and is not measured.
  std::function<void()> prepare = {};
  /// How many operations `work` does. Times are reported for one.
  std::size_t operations = 1;
  /// Of a peer: the greatest ratio ours / peer that is intended. 0: none.
  double goal = 0.0;
};

/// A variant of an operation that is too short to be timed alone.
template <typename Operation>
Variant repeated(std::string name, std::size_t operations, Operation operation, double goal = 0.0) {
  const auto work = [operations, operation]() mutable {
    for (std::size_t i = 0; i < operations; ++i) {
      operation();
    }
  };
  return {std::move(name), work, {}, operations, goal};
}

/// The seconds of one operation in each round.
using Samples = std::vector<double>;

/// The value below which `share` (0 to 1) of the samples lie.
double quantile(Samples samples, double share);

/// Runs each variant once, unmeasured, and then measures ours and the peers in rounds: each variant once in a round,
/// and the first one of a round is another one each time, so that disturbances of the machine affect all alike. There
/// are at least 15 rounds, or as many as the environment variable QUOR_BENCH_ROUNDS says, and as many as Google
/// Benchmark needs for its least time.
///
/// Reports as counters, which benchmarks/report.py reads:
/// - `us:NAME`: median microseconds of one operation, and `us:NAME:low` and `us:NAME:high`, the quartiles
/// - `ratio:NAME`, with `:low` and `:high`: ours / peer, of the same round
/// - `goal:NAME`: the peer's goal, if it has one
/// - `rounds`
///
/// Returns the samples of ours and then of each peer, for further counters.
std::vector<Samples> compare(benchmark::State& state, const Variant& ours, const std::vector<Variant>& peers);

}  // namespace QuorBenchmarks
