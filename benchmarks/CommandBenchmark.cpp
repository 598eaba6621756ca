// Commands through the file manager beside the plain way to write such a queue: a mutex, a condition variable and three
// deques. Goals: commands per second at least 0.9 of it (manager/plain at most 1.11), wake-up at most 1.2 of it.

#include "benchmarks/InterleavedRatio.h"

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileManager.h>

#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using QuorOsgUtils::FileCmd;
using QuorOsgUtils::FileManager;
using QuorOsgUtils::FileProxy;

class PlainQueue {
 public:
  PlainQueue() : _worker([this] { work(); }) {}
  PlainQueue(const PlainQueue&) = delete;
  PlainQueue& operator=(const PlainQueue&) = delete;
  ~PlainQueue() {
    {
      const std::lock_guard<std::mutex> held(_mutex);
      _stopped = true;
    }
    _awake.notify_one();
    _worker.join();
  }

  void push(FileCmd* cmd) {
    {
      const std::lock_guard<std::mutex> held(_mutex);
      _queues[static_cast<std::size_t>(cmd->getPriority())].push_back(cmd);
    }
    _awake.notify_one();
  }

 private:
  void work() {
    while (FileCmd* const cmd = take()) (*cmd)(nullptr, nullptr);
  }

  FileCmd* take() {
    std::unique_lock<std::mutex> held(_mutex);
    std::deque<FileCmd*>* queue = nullptr;
    _awake.wait(held, [&] { return (queue = firstFilled()) != nullptr || _stopped; });
    if (queue == nullptr) return nullptr;
    FileCmd* const cmd = queue->front();
    queue->pop_front();
    return cmd;
  }

  std::deque<FileCmd*>* firstFilled() {
    for (std::deque<FileCmd*>& queue : _queues) {
      if (!queue.empty()) return &queue;
    }
    return nullptr;
  }

  std::array<std::deque<FileCmd*>, 3> _queues;
  std::mutex _mutex;
  std::condition_variable _awake;
  bool _stopped = false;
  std::thread _worker;
};

/// Counts commands that have run, and lets a thread sleep until all have.
class Countdown {
 public:
  void restart(int from) { _left.store(from, std::memory_order_relaxed); }
  void count() {
    if (_left.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    const std::lock_guard<std::mutex> held(_mutex);
    _done.notify_one();
  }
  bool isDone() const { return _left.load(std::memory_order_acquire) == 0; }
  void wait() {
    std::unique_lock<std::mutex> held(_mutex);
    _done.wait(held, [this] { return isDone(); });
  }

 private:
  std::atomic<int> _left{0};
  std::mutex _mutex;
  std::condition_variable _done;
};

class Counting : public FileCmd {
 public:
  Counting(Priority priority, Countdown& countdown)
      : FileCmd("/scans/town/block 17.las", priority), _countdown(countdown) {}
  void operator()(const FileProxy*, FileManager*) override { _countdown.count(); }

 private:
  Countdown& _countdown;
};

using Push = std::function<void(FileCmd*)>;

/// Both queues, each with its worker, and commands of all priorities for either.
class Queues {
 public:
  Queues() { FileManager::getInstance()->startWorker(); }
  Queues(const Queues&) = delete;
  Queues& operator=(const Queues&) = delete;
  ~Queues() { FileManager::getInstance()->stopWorker(); }

  Push plain() {
    return [this](FileCmd* cmd) { _plain.push(cmd); };
  }
  static Push manager() {
    return [manager = FileManager::getInstance()](FileCmd* cmd) { manager->push(cmd); };
  }

  Countdown& countdown() { return _countdown; }
  FileCmd* command(std::size_t i) { return &_commands[i % _commands.size()]; }

 private:
  Countdown _countdown;
  std::array<Counting, 3> _commands = {Counting{FileCmd::High, _countdown}, Counting{FileCmd::Normal, _countdown},
                                       Counting{FileCmd::Low, _countdown}};
  PlainQueue _plain;
};

void pushAndWait(Queues& queues, const Push& push, int pushers) {
  constexpr int kCommands = 30000;
  const int each = kCommands / pushers;
  queues.countdown().restart(each * pushers);
  std::vector<std::thread> threads;
  for (int pusher = 0; pusher < pushers; ++pusher) {
    threads.emplace_back([&] {
      for (int i = 0; i < each; ++i) push(queues.command(static_cast<std::size_t>(i)));
    });
  }
  for (std::thread& thread : threads) thread.join();
  queues.countdown().wait();
}

void throughput(benchmark::State& state) {
  const int pushers = static_cast<int>(state.range(0));
  Queues queues;
  QuorBenchmarks::runInterleaved(state, {{"plain", [&] { pushAndWait(queues, queues.plain(), pushers); }},
                                         {"manager", [&] { pushAndWait(queues, Queues::manager(), pushers); }}});
}

void wakeUp(benchmark::State& state) {
  Queues queues;
  const auto fallAsleep = [&] {
    queues.countdown().restart(1);
    std::this_thread::sleep_for(std::chrono::microseconds(300));
  };
  const auto wake = [&](const Push& push) {
    push(queues.command(0));
    while (!queues.countdown().isDone()) {
    }
  };
  QuorBenchmarks::runInterleaved(state, {{"plain", [&] { wake(queues.plain()); }, fallAsleep},
                                         {"manager", [&] { wake(Queues::manager()); }, fallAsleep}});
}

BENCHMARK(throughput)->Arg(1)->Arg(3)->ArgName("pushers")->Unit(benchmark::kMicrosecond)->MinTime(2.0)->UseRealTime();
BENCHMARK(wakeUp)->Unit(benchmark::kMicrosecond)->MinTime(1.0)->UseRealTime();

}  // namespace
