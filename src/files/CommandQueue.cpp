#include "files/CommandQueue.h"

#include <algorithm>
#include <utility>

namespace QuorOsgUtils {

bool CommandQueue::push(FileCmd* cmd) {
  const auto priority = static_cast<std::size_t>(cmd->getPriority());
  if (priority >= _queues.size()) return false;
  bool asleep = false;
  {
    const std::lock_guard<SpinLock> held(*_lock);
    _queues[priority].pushed.push_back(cmd);
    _queues[priority].filled.store(true, std::memory_order_relaxed);
    asleep = std::exchange(_asleep, false);
  }
  if (asleep) wake();
  return true;
}

FileCmd* CommandQueue::take() {
  for (Queue& queue : _queues) {
    if (queue.empty()) continue;
    if (queue.fetched.empty()) fetch(queue);
    FileCmd* const cmd = queue.fetched.front();
    queue.fetched.pop_front();
    return cmd;
  }
  return nullptr;
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
  return std::all_of(_queues.begin(), _queues.end(), [](const Queue& queue) { return queue.empty(); });
}

void CommandQueue::fetch(Queue& queue) {
  const std::lock_guard<SpinLock> held(*_lock);
  queue.fetched.swap(queue.pushed);
  queue.filled.store(false, std::memory_order_relaxed);
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
