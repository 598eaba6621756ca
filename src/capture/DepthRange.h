#pragma once

#include <cstddef>

namespace QuorOsgUtils {

/// The range of a depth image without background (depths of exactly 1).
struct DepthRange {
  /// The smallest depth below 1, or 1.
  float minimum = 1.0f;

  /// The last depth in buffer order that exceeded the running minimum, or 0 if there is none. It is not the greatest
  /// depth (fixed by the interface). It is never a NaN, nor a value that only sets the minimum.
  float maximum = 0.0f;
};

/// Finds the range of `count` depths. NaN, infinities, negative values and values above 1 are allowed.
/// Allocates nothing.
DepthRange depthRange(const float* depths, std::size_t count);

}  // namespace QuorOsgUtils
