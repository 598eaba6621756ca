#include "benchmarks/CommandQueues.h"

#include <QuorOsgUtils/FileManager.h>

#include <pthread.h>
#include <sched.h>

#include <deque>
#include <thread>

#if defined(QUOR_PEER_TBB_TBB)
#  include <oneapi/tbb/concurrent_queue.h>
#endif

namespace QuorBenchmarks {

using QuorOsgUtils::FileCmd;
using QuorOsgUtils::FileManager;
using QuorOsgUtils::FileProxy;

namespace {

class Counting : public FileCmd {
 public:
  Counting(Priority priority, Countdown& countdown)
      : FileCmd("/scans/town/block 17.las", priority), _countdown(countdown) {}
  void operator()(const FileProxy*, FileManager*) override { _countdown.count(); }

 private:
  Countdown& _countdown;
};

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

std::array<int, 2> findProcessors() {
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

}  // namespace

void Countdown::count() {
  if (_left.fetch_sub(1, std::memory_order_acq_rel) != 1) {
    return;
  }
  const std::lock_guard<std::mutex> held(_mutex);
  _done.notify_one();
}

void Countdown::wait() {
  std::unique_lock<std::mutex> held(_mutex);
  _done.wait(held, [this] { return isDone(); });
}

void Gate::operator()(const FileProxy*, FileManager*) {
  std::unique_lock<std::mutex> held(_mutex);
  _opened.wait(held, [this] { return _isOpen; });
}

void Gate::open() {
  const std::lock_guard<std::mutex> held(_mutex);
  _isOpen = true;
  _opened.notify_one();
}

// Found once, because moving a thread changes what the system tells it.
std::array<int, 2> processors() {
  static const std::array<int, 2> kFound = findProcessors();
  return kFound;
}

void moveTo(int processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(processor, &set);
  ::pthread_setaffinity_np(::pthread_self(), sizeof(set), &set);
}

/// A mutex, a condition variable and a deque for each priority.
class CommandQueues::Plain {
 public:
  Plain() : _worker([this] { _work(); }) {}
  Plain(const Plain&) = delete;
  Plain& operator=(const Plain&) = delete;
  ~Plain() {
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
  void _work() {
    while (FileCmd* const cmd = _take()) {
      (*cmd)(nullptr, nullptr);
    }
  }

  FileCmd* _take() {
    std::unique_lock<std::mutex> held(_mutex);
    std::deque<FileCmd*>* queue = nullptr;
    _awake.wait(held, [&] { return (queue = _firstFilled()) != nullptr || _stopped; });
    if (queue == nullptr) {
      return nullptr;
    }
    FileCmd* const cmd = queue->front();
    queue->pop_front();
    return cmd;
  }

  std::deque<FileCmd*>* _firstFilled() {
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

#if defined(QUOR_PEER_TBB_TBB)
/// A concurrent queue of oneTBB for each priority. They cannot make a thread sleep, so a condition variable does that.
class CommandQueues::Concurrent {
 public:
  Concurrent() : _worker([this] { _work(); }) {}
  Concurrent(const Concurrent&) = delete;
  Concurrent& operator=(const Concurrent&) = delete;
  ~Concurrent() {
    _stopped = true;
    _wake();
    _worker.join();
  }

  void push(FileCmd* cmd) {
    _queues[static_cast<std::size_t>(cmd->getPriority())].push(cmd);
    if (_queued.fetch_add(1, std::memory_order_acq_rel) == 0) {
      _wake();
    }
  }

 private:
  void _wake() {
    { const std::lock_guard<std::mutex> held(_mutex); }
    _awake.notify_one();
  }

  bool _hasWork() const { return _queued.load(std::memory_order_acquire) > 0; }

  void _work() {
    while (!_stopped) {
      if (_hasWork()) {
        (*_take())(nullptr, nullptr);
        continue;
      }
      std::unique_lock<std::mutex> held(_mutex);
      _awake.wait(held, [this] { return _hasWork() || _stopped; });
    }
  }

  // Commands are counted after they have been pushed, so there is one.
  FileCmd* _take() {
    FileCmd* cmd = nullptr;
    for (std::size_t priority = 0; !_queues[priority].try_pop(cmd);) {
      priority = (priority + 1) % _queues.size();
    }
    _queued.fetch_sub(1, std::memory_order_acq_rel);
    return cmd;
  }

  std::array<tbb::concurrent_queue<FileCmd*>, 3> _queues;
  std::atomic<int> _queued{0};
  std::mutex _mutex;
  std::condition_variable _awake;
  std::atomic<bool> _stopped{false};
  std::thread _worker;
};

void CommandQueues::_addConcurrent() {
  _concurrent = std::make_shared<Concurrent>();
  _all.push_back({"oneTBB", [this](FileCmd* cmd) { _concurrent->push(cmd); }});
}
#else
void CommandQueues::_addConcurrent() {}
#endif

CommandQueues::CommandQueues(int processorOfWorkers) : _plain(std::make_unique<Plain>()) {
  constexpr std::array<FileCmd::Priority, 3> kPriorities = {FileCmd::High, FileCmd::Normal, FileCmd::Low};
  for (std::size_t i = 0; i < kPriorities.size(); ++i) {
    _commands[i] = std::make_unique<Counting>(kPriorities[i], _countdown);
  }
  FileManager* const manager = FileManager::getInstance();
  manager->startWorker();
  _all = {{"FileManager", [manager](FileCmd* cmd) { manager->push(cmd); }},
          {"mutex and deques", [this](FileCmd* cmd) { _plain->push(cmd); }}};
  _addConcurrent();
  _moveWorkers(processorOfWorkers);
}

CommandQueues::~CommandQueues() {
  FileManager::getInstance()->stopWorker();
}

void CommandQueues::_moveWorkers(int processor) {
  _moveWorker = std::make_unique<MoveWorker>(processor, _countdown);
  for (const Queue& queue : _all) {
    _countdown.restart(1);
    queue.push(_moveWorker.get());
    _countdown.wait();
  }
}

}  // namespace QuorBenchmarks
