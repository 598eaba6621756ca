#include "manipulators/RingCap.h"

#include <osg/Vec3d>

#include <cmath>

namespace QuorOsgUtils {

std::vector<osg::Vec3f> ringCapVertices(double radius, double width, double z) {
  constexpr int kSteps = 100;
  constexpr double kStepRadians = 0.06283186;
  std::vector<osg::Vec3f> vertices;
  vertices.reserve(2 * kSteps + 2);
  double angle = 0.0;
  for (int step = 0; step < kSteps; ++step, angle += kStepRadians) {
    const osg::Vec3d outward(std::cos(angle), std::sin(angle), 0.0);
    vertices.emplace_back(outward * radius + osg::Vec3d(0.0, 0.0, z));
    vertices.emplace_back(outward * (radius - width) + osg::Vec3d(0.0, 0.0, z));
  }
  vertices.insert(vertices.end(), {vertices[0], vertices[1]});
  return vertices;
}

}  // namespace QuorOsgUtils
