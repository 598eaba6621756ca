#include "cutter/Circle.h"

#include <cmath>

namespace QuorOsgUtils {

std::vector<osg::Vec3f> circleDirections(unsigned int segments) {
  constexpr double kFullTurnRadians = 6.283185307179586;
  const auto step = static_cast<float>(kFullTurnRadians / static_cast<double>(static_cast<float>(segments)));
  std::vector<osg::Vec3f> directions;
  directions.reserve(segments);
  float angle = 0.0f;
  for (unsigned int i = 0; i < segments; ++i, angle += step) {
    directions.emplace_back(std::cos(angle), std::sin(angle), 0.0f);
  }
  return directions;
}

}  // namespace QuorOsgUtils
