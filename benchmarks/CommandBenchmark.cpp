#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileManager.h>

#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>

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
    while (FileCmd* const cmd = take()) {
      (*cmd)(nullptr, nullptr);
    }
  }

  FileCmd* take() {
    std::unique_lock<std::mutex> held(_mutex);
    std::deque<FileCmd*>* queue = nullptr;
    _awake.wait(held, [&] { return (queue = firstFilled()) != nullptr || _stopped; });
    if (queue == nullptr) {
      return nullptr;
    }
    FileCmd* const cmd = queue->front();
    queue->pop_front();
    return cmd;
  }

  std::deque<FileCmd*>* firstFilled() {
    for (std::deque<FileCmd*>& queue : _queues) {
      if (!queue.empty()) {
        return &queue;
      }
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
    if (_left.fetch_sub(1, std::memory_order_acq_rel) != 1) {
      return;
    }
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

// The placement of the threads affects the results more than the queue does, so each thread is pinned to a processor.

/// The numbers of the first and of the last processor that this process may use.
std::array<int, 2> processors() {
  cpu_set_t allowed;
  ::sched_getaffinity(0, sizeof(allowed), &allowed);
  std::array<int, 2> found{-1, -1};
  for (int i = 0; i < CPU_SETSIZE; ++i) {
    if (!CPU_ISSET(i, &allowed)) {
      continue;
    }
    if (found[0] < 0) {
      found[0] = i;
    }
    found[1] = i;
  }
  return found;
}

void moveTo(int processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(processor, &set);
  ::pthread_setaffinity_np(::pthread_self(), sizeof(set), &set);
}

class MoveWorker : public FileCmd {
 public:
  MoveWorker(int processor, Countdown& countdown) : FileCmd("", High), _processor(processor), _countdown(countdown) {}
  void operator()(const FileProxy*, FileManager*) override {
    moveTo(_processor);
    _countdown.count();
  }

 private:
  int _processor;
  Countdown& _countdown;
};

using Push = std::function<void(FileCmd*)>;

/// Both queues, each with its worker, and commands of all priorities for them.
class Queues {
 public:
  explicit Queues(int processorOfWorkers) : _move(processorOfWorkers, _countdown) {
    FileManager::getInstance()->startWorker();
    for (const Push& push : {plain(), manager()}) {
      _countdown.restart(1);
      push(&_move);
      _countdown.wait();
    }
  }
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
  MoveWorker _move;
  std::array<Counting, 3> _commands = {Counting{FileCmd::High, _countdown}, Counting{FileCmd::Normal, _countdown},
                                       Counting{FileCmd::Low, _countdown}};
  PlainQueue _plain;
};

void pushAndWait(Queues& queues, const Push& push, int pushers, int processor) {
  constexpr int kCommands = 30000;
  const int each = kCommands / pushers;
  queues.countdown().restart(each * pushers);
  std::vector<std::thread> threads;
  for (int pusher = 0; pusher < pushers; ++pusher) {
    threads.emplace_back([&] {
      moveTo(processor);
      for (int i = 0; i < each; ++i) {
        push(queues.command(static_cast<std::size_t>(i)));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  queues.countdown().wait();
}

void throughput(benchmark::State& state) {
  const int pushers = static_cast<int>(state.range(0));
  const auto [first, last] = processors();
  const int pushersProcessor = first;
  if (state.range(1) > 1 && first == last) {
    state.SkipWithError("this needs two processors");
    return;
  }
  Queues queues(state.range(1) == 1 ? first : last);
  QuorBenchmarks::compare(state,
                          {"FileManager", [&] { pushAndWait(queues, Queues::manager(), pushers, pushersProcessor); }},
                          {{"plain", [&] { pushAndWait(queues, queues.plain(), pushers, pushersProcessor); }}});
}

void wakeUp(benchmark::State& state) {
  Queues queues(processors()[1]);
  const auto fallAsleep = [&] {
    queues.countdown().restart(1);
    std::this_thread::sleep_for(std::chrono::microseconds(300));
  };
  const auto wake = [&](const Push& push) {
    push(queues.command(0));
    while (!queues.countdown().isDone()) {
    }
  };
  QuorBenchmarks::compare(state, {"FileManager", [&] { wake(Queues::manager()); }, fallAsleep},
                          {{"plain", [&] { wake(queues.plain()); }, fallAsleep}});
}

BENCHMARK(throughput)
    ->ArgsProduct({{1, 3}, {1, 2}})
    ->ArgNames({"pushers", "processors"})
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(wakeUp)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "File commands",
    "Commands through the file manager, beside a plain queue: a mutex, a condition variable and three deques."};
