#include "files/CommandQueue.h"

namespace QuorOsgUtils {

void CommandQueue::push(FileCmd* cmd) {
  const auto priority = static_cast<std::size_t>(cmd->getPriority());
  if (priority >= _pushed.size()) {
    return;
  }
  CommandList::Blocks none;
  if (_append(cmd, priority, none)) {
    return;
  }
  CommandList::Blocks fresh(1);
  _append(cmd, priority, fresh);
}

inline bool CommandQueue::_append(FileCmd* cmd, std::size_t priority, CommandList::Blocks& fresh) {
  bool wasIdle = false;
  {
    const std::lock_guard<SpinLock> held(_lock);
    if (!_pushed[priority].append(cmd, fresh)) {
      return false;
    }
    _filled.store(_filled.load(std::memory_order_relaxed) | 1U << priority, std::memory_order_release);
    wasIdle = _idle.load(std::memory_order_relaxed);
    if (wasIdle) {
      _idle.store(false, std::memory_order_release);
    }
  }
  if (wasIdle) {
    _wake();
  }
  return true;
}

// The bit of a list was set when its first command was pushed. Commands of a higher priority that were pushed earlier
// are therefore visible in the same read.
FileCmd* CommandQueue::take() {
  const std::uint32_t filled = _filled.load(std::memory_order_acquire);
  for (std::size_t priority = 0; priority < _taken.size(); ++priority) {
    CommandList& cmds = _taken[priority];
    if (cmds.empty() && (filled >> priority & 1U) != 0) {
      _fetch(priority);
    }
    if (!cmds.empty()) {
      return cmds.removeFront();
    }
  }
  _fallIdle();
  return nullptr;
}

void CommandQueue::_fetch(std::size_t priority) {
  const std::lock_guard<SpinLock> held(_lock);
  _taken[priority].swap(_pushed[priority]);
  _filled.store(_filled.load(std::memory_order_relaxed) & ~(1U << priority), std::memory_order_relaxed);
}

void CommandQueue::_fallIdle() {
  const std::lock_guard<SpinLock> held(_lock);
  _idle.store(_filled.load(std::memory_order_relaxed) == 0, std::memory_order_relaxed);
}

// The waiting thread reads `_idle` under the mutex: it either sees the change, or is already asleep and gets the
// notification.
void CommandQueue::_wake() {
  { const std::lock_guard<std::mutex> held(_mutex); }
  _awake.notify_one();
}

bool CommandQueue::wait() {
  if (_stop.load(std::memory_order_acquire) == Stop::Now) {
    return false;
  }
  if (!_idle.load(std::memory_order_acquire)) {
    return true;
  }
  std::unique_lock<std::mutex> held(_mutex);
  _awake.wait(held, [this] { return !_idle || _stop != Stop::Never; });
  return _stop != Stop::Now && !_idle;
}

void CommandQueue::finish() {
  _stopWhen(Stop::WhenEmpty);
}

void CommandQueue::abandon() {
  _stopWhen(Stop::Now);
}

void CommandQueue::resume() {
  _stopWhen(Stop::Never);
}

void CommandQueue::_stopWhen(Stop stop) {
  {
    const std::lock_guard<std::mutex> held(_mutex);
    _stop = stop;
  }
  _awake.notify_one();
}

}  // namespace QuorOsgUtils
