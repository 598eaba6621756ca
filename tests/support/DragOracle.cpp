#include "support/DragOracle.h"

#include <cmath>

namespace QuorTests {

double nearestAlong(const Line& line, const Line& other) {
  // The segment between the two nearest points is perpendicular to both lines.
  const osg::Vec3d between = other.point - line.point;
  const double cosine = line.direction * other.direction;
  return (between * line.direction - cosine * (between * other.direction)) / (1.0 - cosine * cosine);
}

osg::Vec3d meet(const Line& line, const osg::Vec3d& point, const osg::Vec3d& normal) {
  return line.point + line.direction * (((point - line.point) * normal) / (line.direction * normal));
}

osg::Matrixd rotationAbout(const Line& line, double radians) {
  return osg::Matrixd::translate(-line.point) * osg::Matrixd::rotate(radians, line.direction) *
         osg::Matrixd::translate(line.point);
}

bool RingOracle::isSeenAlongAxis() const {
  return (axis ^ towardsEye).length2() < 0.1;
}

osg::Vec3d RingOracle::touch() const {
  osg::Vec3d across = towardsEye - axis * (axis * towardsEye);
  across.normalize();
  return farSide ? -across : across;
}

double RingOracle::angle(const Line& from, const Line& to) const {
  if (isSeenAlongAxis()) {
    const osg::Vec3d first = meet(from, center, axis) - center;
    const osg::Vec3d second = meet(to, center, axis) - center;
    return std::atan2((first ^ second) * axis, first * second);
  }
  const osg::Vec3d normal = touch();
  const osg::Vec3d onPlane = center + normal * radius;
  return (meet(to, onPlane, normal) - meet(from, onPlane, normal)) * (axis ^ normal) / radius;
}

}  // namespace QuorTests
