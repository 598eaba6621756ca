#include "benchmarks/Comparison.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>

namespace QuorBenchmarks {
namespace {

constexpr double kMicrosecondsPerSecond = 1e6;

std::size_t leastRounds() {
  constexpr std::size_t kDefault = 15;
  const char* const rounds = std::getenv("QUOR_BENCH_ROUNDS");
  return rounds ? std::strtoul(rounds, nullptr, 10) : kDefault;
}

double secondsOf(const Variant& variant) {
  if (variant.prepare) {
    variant.prepare();
  }
  const auto start = std::chrono::steady_clock::now();
  variant.work();
  benchmark::ClobberMemory();
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  return taken.count() / static_cast<double>(variant.operations);
}

/// The variants, and the samples of each so far.
class Rounds {
 public:
  Rounds(const Variant& ours, const std::vector<Variant>& peers) : _variants{&ours}, _samples(peers.size() + 1) {
    for (const Variant& peer : peers) {
      _variants.push_back(&peer);
    }
  }

  std::size_t count() const { return _samples.front().size(); }
  std::vector<Samples>& samples() { return _samples; }

  void warmUp() const {
    std::for_each(_variants.begin(), _variants.end(), [](const Variant* variant) { secondsOf(*variant); });
  }

  void add() {
    const std::size_t turn = count();
    for (std::size_t i = 0; i < _variants.size(); ++i) {
      const std::size_t variant = (i + turn) % _variants.size();
      _samples[variant].push_back(secondsOf(*_variants[variant]));
    }
  }

 private:
  std::vector<const Variant*> _variants;
  std::vector<Samples> _samples;
};

void reportSpread(benchmark::State& state, const std::string& name, const Samples& samples) {
  state.counters[name] = quantile(samples, 0.5);
  state.counters[name + ":low"] = quantile(samples, 0.25);
  state.counters[name + ":high"] = quantile(samples, 0.75);
}

Samples microseconds(Samples samples) {
  std::for_each(samples.begin(), samples.end(), [](double& sample) { sample *= kMicrosecondsPerSecond; });
  return samples;
}

Samples ratios(const Samples& ours, const Samples& peer) {
  Samples ratios(ours.size());
  std::transform(ours.begin(), ours.end(), peer.begin(), ratios.begin(), std::divides<>());
  return ratios;
}

/// The names in order, ours first: Google Benchmark sorts the counters.
std::string label(const Variant& ours, const std::vector<Variant>& peers) {
  std::string names = ours.name;
  for (const Variant& peer : peers) {
    names += "|" + peer.name;
  }
  return names;
}

}  // namespace

double quantile(Samples samples, double share) {
  std::sort(samples.begin(), samples.end());
  const double place = share * static_cast<double>(samples.size() - 1);
  const auto below = static_cast<std::size_t>(place);
  const std::size_t above = std::min(below + 1, samples.size() - 1);
  return samples[below] + (place - std::floor(place)) * (samples[above] - samples[below]);
}

std::vector<Samples> compare(benchmark::State& state, const Variant& ours, const std::vector<Variant>& peers) {
  Rounds rounds(ours, peers);
  rounds.warmUp();
  for (auto _ : state) {
    rounds.add();
  }
  while (rounds.count() < leastRounds()) {
    rounds.add();
  }
  const std::vector<Samples>& samples = rounds.samples();
  reportSpread(state, "us:" + ours.name, microseconds(samples[0]));
  for (std::size_t i = 0; i < peers.size(); ++i) {
    reportSpread(state, "us:" + peers[i].name, microseconds(samples[i + 1]));
    reportSpread(state, "ratio:" + peers[i].name, ratios(samples[0], samples[i + 1]));
    if (peers[i].goal > 0.0) {
      state.counters["goal:" + peers[i].name] = peers[i].goal;
    }
  }
  state.counters["rounds"] = static_cast<double>(rounds.count());
  state.SetLabel(label(ours, peers));
  return samples;
}

}  // namespace QuorBenchmarks
