#pragma once

#include <cmath>

namespace QuorTests {

/// The factor by which OSG scales a pixel of objects that keep their screen size. OSG counts a pixel as 0.96 pixels. In
/// perspective, what it calls a pixel's size includes half the window's width and height beside the focal length (all
/// in pixels), so objects get smaller as the field of view gets wider.
inline double handleScale(double width, double height, bool isPerspective, double halfFieldTangent) {
  constexpr double kEnginesPixel = 0.96;
  if (!isPerspective) {
    return 1.0 / kEnginesPixel;
  }
  const double focalLength = 0.5 * height / halfFieldTangent;
  const double halfDiagonal = 0.5 * std::hypot(width, height);
  return focalLength / std::hypot(focalLength, halfDiagonal / std::sqrt(2.0)) / kEnginesPixel;
}

}  // namespace QuorTests
