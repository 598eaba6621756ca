#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace QuorViewer {

/// A point as stored in the identifier attachment. Pixels count from the bottom left.
struct PickedPixel {
  int x = 0;
  int y = 0;
  unsigned int scan = 0;  ///< from 1
  std::uint64_t point = 0;
};

/// The captured identifiers: `width × height × 4` values, row-major, bottom row first; a pixel holds the scan's number
/// (0: background), the low and the high half of the point's index, and 1.
struct IdentifierImage {
  const std::vector<unsigned int>& values;
  int width = 0;
  int height = 0;
};

/// How far from the pointer a point may be: sparse points would otherwise be hard to hit.
constexpr int kPickRadiusPixels = 6;

/// The pixel nearest to (x, y) that shows a point, within the pick radius; positions outside the image are skipped.
std::optional<PickedPixel> pickNearest(const IdentifierImage& image, int x, int y,
                                       int radiusPixels = kPickRadiusPixels);

}  // namespace QuorViewer
