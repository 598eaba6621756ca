#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace QuorOsgUtils {

constexpr float kBackgroundDepth = 1.0f;
constexpr int kPickReachPixels = 32;

/// A captured depth image: row-major, bottom row first. Its first pixel is at window position (0, 0), regardless of
/// where the viewport (x, y, width, height) starts.
struct DepthImage {
  const std::vector<float>& depths;
  int x;
  int y;
  int width;
  int height;
};

/// Columns and rows of pixels, both ends included; empty if a first one exceeds its last.
struct PixelBox {
  std::int64_t firstColumn;
  std::int64_t lastColumn;
  std::int64_t firstRow;
  std::int64_t lastRow;
};

/// The depth at `index`; nothing outside the image. Positions beyond the right edge continue in the next row.
std::optional<float> depthAtIndex(const DepthImage& image, std::int64_t index);

/// The pixels within `reach` of (x, y) that lie in the viewport and in the image.
PixelBox searchBox(const DepthImage& image, int x, int y, int reach = kPickReachPixels);

/// The depth at (x, y) if that is not background. Otherwise the first within reach that is not, column by column from
/// the left, each column upwards; `kBackgroundDepth` if all are background. Nothing if the position is outside the
/// image or its value is not in 0 to 1.
std::optional<float> sceneDepth(const DepthImage& image, int x, int y);

/// The depth for a pan to a pointer position, which may be fractional: the captured depth if it is not background,
/// otherwise `fallback`.
float panDepth(const DepthImage& image, double x, double y, float fallback);

}  // namespace QuorOsgUtils
