#include "manipulators/FramingDistance.h"

#include <algorithm>
#include <cmath>

namespace QuorOsgUtils {

namespace {

constexpr double kSmallestRadius = 1e-6;

}  // namespace

double framingDistance(double radius, double fieldOfViewDegrees) {
  // The truncated π is fixed by the interface.
  constexpr double kRadiansPerDegree = 3.1415926 / 180.0;
  return std::max(radius, kSmallestRadius) / std::sin(fieldOfViewDegrees * 0.5 * kRadiansPerDegree);
}

double framingDistance(double radius) {
  return std::max(radius, kSmallestRadius) * 3.5;
}

}  // namespace QuorOsgUtils
