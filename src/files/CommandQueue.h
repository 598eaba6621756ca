#pragma once

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/SpinLock.h>

#include <osg/ref_ptr>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

namespace QuorOsgUtils {

/// Commands waiting for their turn: three queues, the first of which that is not empty goes first. Any thread pushes,
/// one takes and waits. Commands still queued at the end are not deleted.
class CommandQueue {
 public:
  /// False for a priority that has no queue.
  bool push(FileCmd* cmd);

  /// The command that is next, null when there is none.
  FileCmd* take();

  /// Sleeps until a command is queued (true), or until `interrupt` was called and none is (false). May wake for
  /// nothing, which is as if a command had been queued and taken.
  bool wait();
  void interrupt();
  /// Takes an interruption back.
  void resume();

 private:
  static constexpr std::size_t kCacheLineBytes = 64;

  /// The commands of one priority. The taker fetches all that have been pushed at a time, and only once it has none
  /// left of them, so that it rarely needs the lock, or the cache lines, that the pushers write.
  struct Queue {
    bool empty() const { return fetched.empty() && !filled.load(std::memory_order_relaxed); }

    alignas(kCacheLineBytes) std::deque<FileCmd*> fetched;  // the taker's
    alignas(kCacheLineBytes) std::deque<FileCmd*> pushed;   // under the lock
    std::atomic<bool> filled{false};                        // whether any is pushed; changed under the lock
  };

  bool empty() const;
  void fetch(Queue& queue);
  bool fallAsleep();
  void wake();

  std::array<Queue, 3> _queues;  // by priority
  osg::ref_ptr<SpinLock> _lock = new SpinLock;
  // Under the lock. The first push that finds the taker asleep wakes it; all others stay clear of the mutex.
  bool _asleep = false;

  std::mutex _mutex;  // never waited for under the lock; guards what follows
  std::condition_variable _awake;
  bool _woken = false;
  bool _interrupted = false;
};

}  // namespace QuorOsgUtils
