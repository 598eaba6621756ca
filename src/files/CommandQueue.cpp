#include "files/CommandQueue.h"

#include <algorithm>

namespace QuorOsgUtils {

bool CommandQueue::push(FileCmd* cmd) {
  const auto queue = static_cast<std::size_t>(cmd->getPriority());
  if (queue >= _queues.size()) return false;
  {
    const std::lock_guard<SpinLock> held(*_lock);
    _queues[queue].push_back(cmd);
    ++_count;
  }
  if (_sleeping) wake();
  return true;
}

FileCmd* CommandQueue::take() {
  const std::lock_guard<SpinLock> held(*_lock);
  const auto queue = std::find_if(_queues.begin(), _queues.end(),
                                  [](const std::deque<FileCmd*>& waiting) { return !waiting.empty(); });
  if (queue == _queues.end()) return nullptr;
  FileCmd* const cmd = queue->front();
  queue->pop_front();
  --_count;
  return cmd;
}

bool CommandQueue::wait() {
  if (_count != 0) return true;
  std::unique_lock<std::mutex> held(_mutex);
  _sleeping = true;
  _awake.wait(held, [this] { return _count != 0 || _interrupted; });
  _sleeping = false;
  return _count != 0;
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

// The mutex is free only while the taker sleeps or is awake for good, so the call cannot fall into the gap between its
// last look and its sleep.
void CommandQueue::wake() {
  { const std::lock_guard<std::mutex> held(_mutex); }
  _awake.notify_one();
}

}  // namespace QuorOsgUtils
