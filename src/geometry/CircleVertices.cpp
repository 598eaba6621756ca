#include "geometry/CircleVertices.h"

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

template <typename Real>
std::vector<osg::Vec3f> annulusVertices(Real radius, Real width, Real z) {
  constexpr int kSteps = 100;
  constexpr auto kStepRadians = static_cast<Real>(0.06283186);  // about 2 pi / 100; fixed by the interface
  std::vector<osg::Vec3f> vertices;
  vertices.reserve(2 * kSteps + 2);
  const auto append = [&](Real distance, Real angle) {
    vertices.emplace_back(static_cast<float>(distance * std::cos(angle)),
                          static_cast<float>(distance * std::sin(angle)), static_cast<float>(z));
  };
  Real angle = 0;
  for (int step = 0; step < kSteps; ++step, angle += kStepRadians) {
    append(radius, angle);
    append(radius - width, angle);
  }
  vertices.insert(vertices.end(), {vertices[0], vertices[1]});
  return vertices;
}

template std::vector<osg::Vec3f> annulusVertices(float radius, float width, float z);
template std::vector<osg::Vec3f> annulusVertices(double radius, double width, double z);

}  // namespace QuorOsgUtils
