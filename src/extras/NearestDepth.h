#pragma once

#include "manipulators/DepthSearch.h"

#include <optional>

namespace QuorOsgUtils {

/// A pixel of the scene and its depth.
struct ScenePixel {
  int x;
  int y;
  float depth;
};

/// The pixel nearest to (x, y) that is not background, within `reach` pixels in each direction. Of pixels at the same
/// distance, the one nearest to the eye. Nothing if there is none.
std::optional<ScenePixel> nearestScenePixel(const DepthImage& image, int x, int y, int reach);

}  // namespace QuorOsgUtils
