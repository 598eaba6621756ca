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
  using Queues = std::array<std::deque<FileCmd*>, 3>;  // by priority

  bool empty() const;
  void fetch();
  bool fallAsleep();
  void wake();

  // The taker fetches whatever has been pushed in one go, and looks for more before each command it takes. So it rarely
  // needs the lock, or the cache lines, that the pushers write, and a command never overtakes one of a higher priority
  // that was pushed before it.
  alignas(kCacheLineBytes) Queues _fetched;  // the taker's
  alignas(kCacheLineBytes) Queues _pushed;   // under the lock
  std::atomic<bool> _filled{false};          // whether any is pushed; changed under the lock
  osg::ref_ptr<SpinLock> _lock = new SpinLock;
  // Under the lock. The first push that finds the taker asleep wakes it; all others stay clear of the mutex.
  bool _asleep = false;

  std::mutex _mutex;  // never waited for under the lock; guards what follows
  std::condition_variable _awake;
  bool _woken = false;
  bool _interrupted = false;
};

}  // namespace QuorOsgUtils
