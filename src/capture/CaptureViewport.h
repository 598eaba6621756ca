#pragma once

#include <cstddef>
#include <optional>

namespace QuorOsgUtils {

/// A viewport in whole pixels whose images can be read: neither side is negative, and an image of four values per pixel
/// has fewer than 2^31 values.
struct CaptureViewport {
  int x;
  int y;
  int width;
  int height;

  std::size_t pixelCount() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }
};

constexpr std::size_t kChannelCount = 4;

/// Truncates a viewport towards zero. Nothing if one of its numbers does not fit an int or its images are too large.
std::optional<CaptureViewport> captureViewport(double x, double y, double width, double height);

}  // namespace QuorOsgUtils
