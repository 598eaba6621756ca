#include "files/CommandQueue.h"

#include <algorithm>
#include <utility>

namespace QuorOsgUtils {

bool CommandQueue::push(FileCmd* cmd) {
  const auto priority = static_cast<std::size_t>(cmd->getPriority());
  if (priority >= _pushed.size()) return false;
  bool asleep = false;
  {
    const std::lock_guard<SpinLock> held(*_lock);
    _pushed[priority].push_back(cmd);
    _filled.store(true, std::memory_order_release);
    asleep = std::exchange(_asleep, false);
  }
  if (asleep) wake();
  return true;
}

FileCmd* CommandQueue::take() {
  if (_filled.load(std::memory_order_acquire)) fetch();
  const auto queue = std::find_if(_fetched.begin(), _fetched.end(), [](const auto& cmds) { return !cmds.empty(); });
  if (queue == _fetched.end()) return nullptr;
  FileCmd* const cmd = queue->front();
  queue->pop_front();
  return cmd;
}

bool CommandQueue::wait() {
  if (!empty()) return true;
  std::unique_lock<std::mutex> held(_mutex);
  if (fallAsleep()) _awake.wait(held, [this] { return _woken || _interrupted; });
  _woken = false;
  return !_interrupted || !empty();
}

void CommandQueue::interrupt() {
  {
    const std::lock_guard<std::mutex> held(_mutex);
    _interrupted = true;
  }
  _awake.notify_one();
}

void CommandQueue::resume() {
  const std::lock_guard<std::mutex> held(_mutex);
  _interrupted = false;
}

bool CommandQueue::empty() const {
  return !_filled.load(std::memory_order_acquire) &&
         std::all_of(_fetched.begin(), _fetched.end(), [](const auto& cmds) { return cmds.empty(); });
}

void CommandQueue::fetch() {
  const std::lock_guard<SpinLock> held(*_lock);
  for (std::size_t priority = 0; priority < _pushed.size(); ++priority) {
    std::deque<FileCmd*>& from = _pushed[priority];
    std::deque<FileCmd*>& to = _fetched[priority];
    if (to.empty()) {
      to.swap(from);
    } else {
      to.insert(to.end(), from.begin(), from.end());
      from.clear();
    }
  }
  _filled.store(false, std::memory_order_relaxed);
}

bool CommandQueue::fallAsleep() {
  const std::lock_guard<SpinLock> held(*_lock);
  _asleep = empty();
  return _asleep;
}

void CommandQueue::wake() {
  {
    const std::lock_guard<std::mutex> held(_mutex);
    _woken = true;
  }
  _awake.notify_one();
}

}  // namespace QuorOsgUtils
