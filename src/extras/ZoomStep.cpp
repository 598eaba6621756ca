#include "extras/ZoomStep.h"

#include <cmath>

namespace QuorOsgUtils {

namespace {

/// A coordinate along the way, in which each notch is a step of k. `ratio` is distance / least: the coordinate is
/// linear up to 1, and logarithmic beyond.
double toSteps(double ratio) {
  const double magnitude = std::abs(ratio);
  return magnitude <= 1.0 ? ratio : std::copysign(1.0 + std::log(magnitude), ratio);
}

double fromSteps(double steps) {
  const double magnitude = std::abs(steps);
  return magnitude <= 1.0 ? steps : std::copysign(std::exp(magnitude - 1.0), steps);
}

double stepOf(double share) {
  return -std::log1p(-share);
}

}  // namespace

double approached(double distance, double notches, const ZoomPace& pace) {
  return pace.least * fromSteps(toSteps(distance / pace.least) - stepOf(pace.share) * notches);
}

double orthographicZoomScale(double notches, double share) {
  return std::exp(-stepOf(share) * notches);
}

osg::Vec3d keptWithin(const osg::Vec3d& from, const osg::Vec3d& to, const osg::Vec3d& centre, double radius) {
  const osg::Vec3d start = from - centre;
  const double reached = (to - centre).length();
  if (reached <= radius || reached <= start.length()) {
    return to;
  }
  if (start.length() >= radius) {
    return from;
  }
  // |start + t way|² = radius², with 0 < t < 1.
  const osg::Vec3d way = to - from;
  const double a = way.length2();
  const double halfB = start * way;
  const double c = start.length2() - radius * radius;
  const double t = (std::sqrt(halfB * halfB - a * c) - halfB) / a;
  return from + way * t;
}

}  // namespace QuorOsgUtils
