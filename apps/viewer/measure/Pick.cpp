#include "viewer/measure/Pick.h"

#include <algorithm>

namespace QuorViewer {
namespace {

PickedPixel decode(const IdentifierImage& image, int x, int y) {
  const std::size_t pixel =
      (static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) + static_cast<std::size_t>(x)) * 4;
  const std::uint64_t high = image.values[pixel + 2];
  return {x, y, image.values[pixel], (high << 32U) | image.values[pixel + 1]};
}

bool holdsItsPixels(const IdentifierImage& image) {
  return image.width > 0 && image.height > 0 &&
         image.values.size() >= static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height) * 4;
}

}  // namespace

std::optional<PickedPixel> pickNearest(const IdentifierImage& image, int x, int y, int radiusPixels) {
  std::optional<PickedPixel> nearest;
  if (!holdsItsPixels(image)) {
    return nearest;
  }
  int nearestSquare = radiusPixels * radiusPixels + 1;
  for (int row = std::max(y - radiusPixels, 0); row <= std::min(y + radiusPixels, image.height - 1); ++row) {
    for (int column = std::max(x - radiusPixels, 0); column <= std::min(x + radiusPixels, image.width - 1); ++column) {
      const int square = (column - x) * (column - x) + (row - y) * (row - y);
      const PickedPixel candidate = square < nearestSquare ? decode(image, column, row) : PickedPixel{};
      if (candidate.scan != 0) {
        nearest = candidate;
        nearestSquare = square;
      }
    }
  }
  return nearest;
}

}  // namespace QuorViewer
