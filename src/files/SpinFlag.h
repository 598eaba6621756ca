#pragma once

#include <atomic>
#include <cstdint>

namespace QuorOsgUtils {

/// A busy-wait lock of one word, for sections of a few instructions. Not re-entrant. Works with std::lock_guard.
class SpinFlag {
 public:
  void lock() {
    while ((_word.fetch_or(1u, std::memory_order_acquire) & 1u) != 0) {
    }
  }
  void unlock() { _word.store(0u, std::memory_order_release); }

 private:
  std::atomic<std::uint32_t> _word{0};
};

}  // namespace QuorOsgUtils
