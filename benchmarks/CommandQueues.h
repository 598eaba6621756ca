#pragma once

#include <QuorOsgUtils/FileCmd.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace QuorBenchmarks {

/// Counts commands that have run, and lets a thread sleep until all have.
class Countdown {
 public:
  void restart(int from) { _left.store(from, std::memory_order_relaxed); }
  void count();
  bool isDone() const { return _left.load(std::memory_order_acquire) == 0; }
  void wait();

 private:
  std::atomic<int> _left{0};
  std::mutex _mutex;
  std::condition_variable _done;
};

/// A command of the highest priority that holds its worker until it is opened.
class Gate : public QuorOsgUtils::FileCmd {
 public:
  Gate() : FileCmd("", High) {}
  void operator()(const QuorOsgUtils::FileProxy*, QuorOsgUtils::FileManager*) override;
  void close() { _isOpen = false; }
  void open();

 private:
  bool _isOpen = false;
  std::mutex _mutex;
  std::condition_variable _opened;
};

/// The first and the last processor that this process may use. The placement of the threads affects the results more
/// than the queue does, so the workers run on one processor and the pushers on one.
std::array<int, 2> processors();
void moveTo(int processor);

/// The file manager and other queues for the same commands, each with its worker.
class CommandQueues {
 public:
  struct Queue {
    std::string name;
    std::function<void(QuorOsgUtils::FileCmd*)> push;
  };

  /// All workers run on the given processor.
  explicit CommandQueues(int processorOfWorkers);
  CommandQueues(const CommandQueues&) = delete;
  CommandQueues& operator=(const CommandQueues&) = delete;
  ~CommandQueues();

  /// The file manager first.
  const std::vector<Queue>& all() const { return _all; }
  /// Counts the commands below.
  Countdown& countdown() { return _countdown; }
  /// A command; they take turns in their priorities.
  QuorOsgUtils::FileCmd* command(std::size_t i) { return _commands[i % _commands.size()].get(); }

 private:
  class Plain;
  class Concurrent;

  void _addConcurrent();
  void _moveWorkers(int processor);

  Countdown _countdown;
  std::array<std::unique_ptr<QuorOsgUtils::FileCmd>, 3> _commands;
  std::unique_ptr<QuorOsgUtils::FileCmd> _moveWorker;
  std::unique_ptr<Plain> _plain;
  std::shared_ptr<Concurrent> _concurrent;
  std::vector<Queue> _all;
};

}  // namespace QuorBenchmarks
