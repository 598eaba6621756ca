#pragma once

#include <algorithm>
#include <chrono>

namespace QuorOsgUtils {

/// When a time from now is over: at once if it is negative, and in 100 years if it is longer, which no clock's counter
/// of nanoseconds overflows.
inline std::chrono::steady_clock::time_point deadlineAfter(std::chrono::milliseconds limit) {
  constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365 * 100);
  return std::chrono::steady_clock::now() + std::clamp(limit, std::chrono::milliseconds(0), kLongest);
}

}  // namespace QuorOsgUtils
