#pragma once

#include "capture/DepthRange.h"

#include <cstddef>

namespace QuorTests {

/// The rule of the depth range taken literally, one value after the other: every faster version must agree with it.
inline QuorOsgUtils::DepthRange plainDepthRange(const float* depths, std::size_t count) {
  float minimum = 1.0f;
  float maximum = 0.0f;
  for (std::size_t i = 0; i < count; ++i) {
    const float depth = depths[i];
    if (depth == 1.0f) {
      continue;
    }
    if (minimum > depth) {
      minimum = depth;
    }
    if (depth > minimum) {
      maximum = depth;
    }
  }
  return {minimum, maximum};
}

}  // namespace QuorTests
