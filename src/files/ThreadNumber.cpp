#include "files/ThreadNumber.h"

#include <atomic>

namespace QuorOsgUtils {

std::uint32_t currentThreadNumber() {
  static std::atomic<std::uint32_t> latest{0};
  thread_local std::uint32_t number = 0;
  if (number == 0) {
    number = ++latest;
  }
  return number;
}

}  // namespace QuorOsgUtils
