#include <QuorOsgUtils/SpinLock.h>

namespace QuorOsgUtils {

SpinLock::SpinLock() : _lockWord(0) {}

SpinLock::~SpinLock() = default;

void SpinLock::lock() {
  while ((_lockWord.fetch_or(1, std::memory_order_acquire) & 1) != 0) {
  }
}

void SpinLock::unlock() {
  _lockWord.store(0, std::memory_order_release);
}

}  // namespace QuorOsgUtils
