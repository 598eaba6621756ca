#include "benchmarks/InterleavedRatio.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace QuorBenchmarks {
namespace {

using Seconds = std::chrono::duration<double>;

double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  benchmark::ClobberMemory();
  return Seconds(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// The median over the iterations of the other way's time divided by the first one's.
double medianRatio(const std::vector<double>& other, const std::vector<double>& first) {
  std::vector<double> ratios(first.size());
  std::transform(other.begin(), other.end(), first.begin(), ratios.begin(), std::divides<>());
  return median(std::move(ratios));
}

}  // namespace

void runInterleaved(benchmark::State& state, const std::vector<Way>& ways) {
  constexpr double kMicrosecondsPerSecond = 1e6;
  std::vector<std::vector<double>> seconds(ways.size());
  std::size_t turn = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < ways.size(); ++i) {
      const std::size_t way = (i + turn) % ways.size();
      if (ways[way].prepare) {
        ways[way].prepare();
      }
      seconds[way].push_back(secondsOf(ways[way].work));
    }
    ++turn;
  }
  for (std::size_t way = 0; way < ways.size(); ++way) {
    state.counters[ways[way].name + "_us"] = median(seconds[way]) * kMicrosecondsPerSecond;
    if (way > 0) {
      state.counters[ways[way].name + "/" + ways[0].name] = medianRatio(seconds[way], seconds[0]);
    }
  }
}

}  // namespace QuorBenchmarks
