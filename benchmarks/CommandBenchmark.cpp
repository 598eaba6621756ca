#include "benchmarks/CommandQueues.h"
#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using QuorBenchmarks::CommandQueues;
using QuorBenchmarks::Gate;
using QuorBenchmarks::Samples;
using QuorBenchmarks::Variant;

constexpr int kCommands = 30000;
constexpr int kBacklog = 2000000;
constexpr double kMicrosecondsPerSecond = 1e6;

using Clock = std::chrono::steady_clock;

/// Makes a variant of each queue and compares the first with the others. `goal` is that of the second.
std::vector<Samples> compareQueues(benchmark::State& state, const CommandQueues& queues, double goal,
                                   const std::function<Variant(const CommandQueues::Queue&)>& variantOf) {
  std::vector<Variant> peers;
  for (std::size_t i = 1; i < queues.all().size(); ++i) {
    peers.push_back(variantOf(queues.all()[i]));
  }
  peers[0].goal = goal;
  return QuorBenchmarks::compare(state, variantOf(queues.all()[0]), peers);
}

/// Queues a backlog for a worker that is then held by the gate. Starts to count for `count` more commands.
void fillQueue(CommandQueues& queues, const CommandQueues::Queue& queue, Gate& gate, int backlog, int count) {
  queues.countdown().wait();
  queues.countdown().restart(backlog + count);
  if (backlog == 0) {
    return;
  }
  gate.close();
  queue.push(&gate);
  for (int i = 0; i < backlog; ++i) {
    queue.push(queues.command(static_cast<std::size_t>(i)));
  }
}

void pushFromThreads(CommandQueues& queues, const CommandQueues::Queue& queue, int pushers, int processor) {
  const auto pushAll = [&] {
    QuorBenchmarks::moveTo(processor);
    for (int i = 0; i < kCommands / pushers; ++i) {
      queue.push(queues.command(static_cast<std::size_t>(i)));
    }
  };
  std::vector<std::thread> threads;
  for (int pusher = 0; pusher < pushers; ++pusher) {
    threads.emplace_back(pushAll);
  }
  std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
}

void command(benchmark::State& state) {
  const int pushers = static_cast<int>(state.range(0));
  const int backlog = static_cast<int>(state.range(2));
  const auto [first, last] = QuorBenchmarks::processors();
  if (state.range(1) > 1 && first == last) {
    state.SkipWithError("this needs two processors");
    return;
  }
  Gate gate;
  CommandQueues queues(state.range(1) == 1 ? first : last);
  const auto variantOf = [&, pushersProcessor = first](const CommandQueues::Queue& queue) {
    const auto work = [&queues, &queue, &gate, pushers, pushersProcessor] {
      gate.open();
      pushFromThreads(queues, queue, pushers, pushersProcessor);
      queues.countdown().wait();
    };
    const auto prepare = [&queues, &queue, &gate, backlog] { fillQueue(queues, queue, gate, backlog, kCommands); };
    return Variant{queue.name, work, prepare, static_cast<std::size_t>(backlog + kCommands)};
  };
  const std::vector<Samples> samples = compareQueues(state, queues, 1.0, variantOf);
  state.counters["million commands per second"] = 1e-6 / QuorBenchmarks::quantile(samples[0], 0.5);
}

/// The longest of many pushes, in microseconds.
double longestPush(CommandQueues& queues, const CommandQueues::Queue& queue) {
  Clock::duration longest{};
  Clock::time_point before = Clock::now();
  for (int i = 0; i < kCommands; ++i) {
    queue.push(queues.command(static_cast<std::size_t>(i)));
    const Clock::time_point after = Clock::now();
    longest = std::max(longest, after - before);
    before = after;
  }
  return std::chrono::duration<double>(longest).count() * kMicrosecondsPerSecond;
}

// The worker takes commands all the time, so a push waits as long as the worker holds the lock.
void pushWhileCommandsRun(benchmark::State& state) {
  const int backlog = static_cast<int>(state.range(0));
  const auto [pushersProcessor, workersProcessor] = QuorBenchmarks::processors();
  QuorBenchmarks::moveTo(pushersProcessor);
  Gate gate;
  CommandQueues queues(workersProcessor);
  std::vector<std::pair<std::string, Samples>> longest;
  longest.reserve(queues.all().size());
  compareQueues(state, queues, 0.0, [&](const CommandQueues::Queue& queue) {
    Samples& samples = longest.emplace_back(queue.name, Samples()).second;
    const auto work = [&queues, &queue, &gate, &samples] {
      gate.open();
      samples.push_back(longestPush(queues, queue));
    };
    const auto prepare = [&queues, &queue, &gate, backlog] { fillQueue(queues, queue, gate, backlog, kCommands); };
    return Variant{queue.name, work, prepare, kCommands};
  });
  queues.countdown().wait();
  for (const auto& [name, samples] : longest) {
    state.counters["longest push, " + name + ", µs"] = QuorBenchmarks::quantile(samples, 0.5);
  }
}

void wakeUp(benchmark::State& state) {
  const auto [pushersProcessor, workersProcessor] = QuorBenchmarks::processors();
  QuorBenchmarks::moveTo(pushersProcessor);
  CommandQueues queues(workersProcessor);
  const auto fallAsleep = [&queues] {
    queues.countdown().restart(1);
    std::this_thread::sleep_for(std::chrono::microseconds(300));
  };
  const std::vector<Samples> samples = compareQueues(state, queues, 1.1, [&](const CommandQueues::Queue& queue) {
    const auto wake = [&queues, &queue] {
      queue.push(queues.command(0));
      while (!queues.countdown().isDone()) {
      }
    };
    return Variant{queue.name, wake, fallAsleep};
  });
  for (std::size_t i = 0; i < samples.size(); ++i) {
    state.counters["99th percentile, " + queues.all()[i].name + ", µs"] =
        QuorBenchmarks::quantile(samples[i], 0.99) * kMicrosecondsPerSecond;
  }
}

BENCHMARK(command)
    ->ArgsProduct({{1, 3}, {1, 2}, {0, kBacklog}})
    ->ArgNames({"pushers", "processors", "backlog"})
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(pushWhileCommandsRun)
    ->Arg(0)
    ->Arg(kBacklog)
    ->ArgName("backlog")
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(wakeUp)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "File commands",
    "Commands that do next to nothing, of all priorities, through the file manager, beside a mutex with a condition "
    "variable and three deques, and beside three concurrent queues of oneTBB whose worker sleeps on a condition "
    "variable. Times are for one command from the first push until all have run, for one push, and from the push that "
    "wakes an idle worker until its command has run. With one processor, pushers and worker share it. The longest "
    "push is the median over the rounds of the longest of 30,000; it includes interruptions by other threads, and "
    "each push includes reading the clock."};
