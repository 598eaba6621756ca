#pragma once

#include "files/CommandList.h"

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/SpinLock.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace QuorOsgUtils {

/// Access to the queued commands: any thread pushes, one thread at a time takes and waits. Commands still queued at the
/// end are not deleted.
class CommandQueue {
 public:
  /// `lock` guards `pushed`. Both outlive the queue.
  CommandQueue(CommandLists& pushed, SpinLock& lock) : _pushed(pushed), _lock(lock) {}

  /// Ignores a priority that has no list (fixed by the interface). If it throws std::bad_alloc, the command is not
  /// queued.
  void push(FileCmd* cmd);

  /// The first command of the highest priority, null when none is queued. Allocates nothing.
  [[nodiscard]] FileCmd* take();

  /// Sleeps until a command may be queued (true), until `finish` was called and none is queued (false), or until
  /// `abandon` was called (false).
  [[nodiscard]] bool wait();
  void finish();
  void abandon();
  /// Withdraws `finish` and `abandon`.
  void resume();

 private:
  enum class Stop { Never, WhenEmpty, Now };
  void _stopWhen(Stop stop);

  bool _append(FileCmd* cmd, std::size_t priority, CommandList::Blocks& fresh);
  void _fetch(std::size_t priority);
  void _fallIdle();
  void _wake();

  static constexpr std::size_t kCacheLineBytes = 64;

  // When a taken list is empty, it is swapped with the pushed list of that priority. So the lock is held for one append
  // or one swap, however many commands are queued, and taking rarely touches the cache lines that pushers write.
  alignas(kCacheLineBytes) CommandLists _taken;
  alignas(kCacheLineBytes) CommandLists& _pushed;
  SpinLock& _lock;
  // Written under `_lock`: bit p is set while the pushed list of priority p has commands.
  std::atomic<std::uint32_t> _filled{0};
  // Written under `_lock`: nothing was found to take since the last append. The next append clears it and wakes the
  // waiting thread; no other append uses the mutex.
  std::atomic<bool> _idle{true};

  std::mutex _mutex;
  std::condition_variable _awake;
  std::atomic<Stop> _stop{Stop::Never};  // written under `_mutex`
};

}  // namespace QuorOsgUtils
