#pragma once

#include <cstddef>

namespace QuorOsgUtils {

/// The range of a depth image, background (depths of exactly 1) left out.
struct DepthRange {
  /// The smallest depth, starting from 1.
  float minimum = 1.0f;

  /// The last depth in buffer order that was above the running minimum at its turn, or 0 when there is none. It is not
  /// the greatest depth, and neither a NaN nor a first value that merely sets the minimum ever becomes it.
  float maximum = 0.0f;
};

/// Finds the range of `count` depths in any order, NaN, infinities, negative values and values above 1 included.
/// Allocates nothing.
DepthRange depthRange(const float* depths, std::size_t count);

}  // namespace QuorOsgUtils
