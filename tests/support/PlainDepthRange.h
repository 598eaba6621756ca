#pragma once

#include "capture/DepthRange.h"

#include <cstddef>

namespace QuorTests {

/// The rule of the depth range word by word, one value after the other: what every quicker way must agree with.
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
