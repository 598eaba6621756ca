#include "manipulators/DepthSearch.h"

#include <algorithm>
#include <cmath>

namespace QuorOsgUtils {

namespace {

std::int64_t pixelCount(const DepthImage& image) {
  const std::int64_t pixels = std::int64_t{image.width} * image.height;
  return image.width > 0 && image.height > 0 ? std::min(pixels, static_cast<std::int64_t>(image.depths.size())) : 0;
}

float firstSceneDepth(const DepthImage& image, const PixelBox& box) {
  for (std::int64_t column = box.firstColumn; column <= box.lastColumn; ++column) {
    for (std::int64_t row = box.firstRow; row <= box.lastRow; ++row) {
      const float depth = image.depths[static_cast<std::size_t>(image.width * row + column)];
      if (depth != kBackgroundDepth) {
        return depth;
      }
    }
  }
  return kBackgroundDepth;
}

}  // namespace

std::optional<float> depthAtIndex(const DepthImage& image, std::int64_t index) {
  if (index < 0 || index >= pixelCount(image)) {
    return std::nullopt;
  }
  return image.depths[static_cast<std::size_t>(index)];
}

PixelBox searchBox(const DepthImage& image, int x, int y, int reach) {
  const std::int64_t left = image.x;
  const std::int64_t bottom = image.y;
  // Only complete rows in the vector: a capture may be resizing it.
  const std::int64_t rows = image.width > 0 ? pixelCount(image) / image.width : 0;
  return {std::max({std::int64_t{x} - reach, left, std::int64_t{0}}),
          std::min({std::int64_t{x} + reach, left + image.width - 1, std::int64_t{image.width} - 1}),
          std::max({std::int64_t{y} - reach, bottom, std::int64_t{0}}),
          std::min({std::int64_t{y} + reach, bottom + image.height - 1, rows - 1})};
}

std::optional<float> sceneDepth(const DepthImage& image, int x, int y) {
  const std::optional<float> depth = depthAtIndex(image, std::int64_t{image.width} * y + x);
  if (!depth || !(*depth >= 0.0f && *depth <= 1.0f)) {
    return std::nullopt;
  }
  return *depth != kBackgroundDepth ? *depth : firstSceneDepth(image, searchBox(image, x, y));
}

float panDepth(const DepthImage& image, double x, double y, float fallback) {
  const double position = std::trunc(image.width * y + x);
  // Converting a double out of range is undefined; NaN compares false.
  if (!(position >= 0.0 && position < static_cast<double>(pixelCount(image)))) {
    return fallback;
  }
  const float depth = depthAtIndex(image, static_cast<std::int64_t>(position)).value_or(fallback);
  return depth > 0.0f && depth < kBackgroundDepth ? depth : fallback;
}

}  // namespace QuorOsgUtils
