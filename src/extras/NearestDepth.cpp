#include "extras/NearestDepth.h"

#include <tuple>

namespace QuorOsgUtils {

namespace {

bool isScene(float depth) {
  return depth >= 0.0f && depth < kBackgroundDepth;
}

}  // namespace

std::optional<ScenePixel> nearestScenePixel(const DepthImage& image, int x, int y, int reach) {
  const PixelBox box = searchBox(image, x, y, reach);
  std::optional<ScenePixel> nearest;
  std::int64_t nearestSquare = 0;
  for (std::int64_t row = box.firstRow; row <= box.lastRow; ++row) {
    for (std::int64_t column = box.firstColumn; column <= box.lastColumn; ++column) {
      const float depth = image.depths[static_cast<std::size_t>(image.width * row + column)];
      const std::int64_t square = (column - x) * (column - x) + (row - y) * (row - y);
      if (isScene(depth) && (!nearest || std::tie(square, depth) < std::tie(nearestSquare, nearest->depth))) {
        nearest = ScenePixel{static_cast<int>(column), static_cast<int>(row), depth};
        nearestSquare = square;
      }
    }
  }
  return nearest;
}

}  // namespace QuorOsgUtils
