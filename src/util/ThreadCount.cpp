#include <QuorOsgUtils/ThreadCount.h>

namespace QuorOsgUtils {

ThreadCount* ThreadCount::getInstance() {
  static ThreadCount instance;
  return &instance;
}

ThreadCount::ThreadCount() : _count(0), _stop(false), _ok(false) {}

void ThreadCount::ref() {
  _count.fetch_add(1);
}

void ThreadCount::unref() {
  _count.fetch_sub(1);
}

int ThreadCount::value() {
  return _count.load(std::memory_order_acquire);
}

void ThreadCount::stop() {
  _stop.store(true, std::memory_order_release);
}

bool ThreadCount::isStop() {
  return _stop.load(std::memory_order_acquire);
}

void ThreadCount::ok() {
  _ok.store(true, std::memory_order_release);
}

bool ThreadCount::isOK() {
  return _ok.load(std::memory_order_acquire);
}

}  // namespace QuorOsgUtils
