#pragma once

#include <cmath>

namespace QuorTests {

/// How many pixels the engine makes of one pixel of what it keeps at its size on the screen. It takes a pixel for
/// 0.96 pixels, and in perspective, with half the window's width and height standing beside the focal length (all in
/// pixels) in what it calls a pixel's size, it makes things smaller the wider the field of view is.
inline double handleScale(double width, double height, bool isPerspective, double halfFieldTangent) {
  constexpr double kEnginesPixel = 0.96;
  if (!isPerspective) return 1.0 / kEnginesPixel;
  const double focalLength = 0.5 * height / halfFieldTangent;
  const double halfDiagonal = 0.5 * std::hypot(width, height);
  return focalLength / std::hypot(focalLength, halfDiagonal / std::sqrt(2.0)) / kEnginesPixel;
}

}  // namespace QuorTests
