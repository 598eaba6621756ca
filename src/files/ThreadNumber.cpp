#include "files/ThreadNumber.h"

#include <atomic>

namespace QuorOsgUtils {

std::uint32_t currentThreadNumber() {
  static std::atomic<std::uint32_t> latest{0};
  thread_local const std::uint32_t number = ++latest;
  return number;
}

}  // namespace QuorOsgUtils
