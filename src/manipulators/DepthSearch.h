#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace QuorOsgUtils {

constexpr float kBackgroundDepth = 1.0f;
constexpr int kPickReachPixels = 32;

/// A captured depth image: row-major, bottom row first. Its first pixel is at window position (0, 0), wherever the
/// viewport (x, y, width, height) starts.
struct DepthImage {
  const std::vector<float>& depths;
  int x;
  int y;
  int width;
  int height;
};

/// Columns and rows of pixels, both ends included; empty where a first one exceeds its last.
struct PixelBox {
  std::int64_t firstColumn;
  std::int64_t lastColumn;
  std::int64_t firstRow;
  std::int64_t lastRow;
};

/// The depth number `index` of the image; nothing past its ends. Only the index counts: a position beyond the right
/// edge is the next row's beginning.
std::optional<float> depthAtIndex(const DepthImage& image, std::int64_t index);

/// The pixels within reach of (x, y) that lie in the viewport and in the image.
PixelBox searchBox(const DepthImage& image, int x, int y);

/// The depth at (x, y) where that is not background, else the first one within reach that is not, column by column from
/// the left and each column upwards; `kBackgroundDepth` where all is background. Nothing when the position is not in
/// the image or its depth is not a depth.
std::optional<float> sceneDepth(const DepthImage& image, int x, int y);

/// The depth for a pan to a pointer position, which need not be whole: the captured one there when it is scene, else
/// `fallback`.
float panDepth(const DepthImage& image, double x, double y, float fallback);

}  // namespace QuorOsgUtils
