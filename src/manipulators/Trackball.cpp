#include "manipulators/Trackball.h"

#include <osg/Matrixd>

#include <algorithm>
#include <cmath>

namespace QuorOsgUtils {

ViewAxes viewAxes(const osg::Quat& rotation) {
  const osg::Matrixd matrix(rotation);
  return {matrix.preMult(osg::Vec3d(1.0, 0.0, 0.0)), matrix.preMult(osg::Vec3d(0.0, 1.0, 0.0)),
          matrix.preMult(osg::Vec3d(0.0, 0.0, -1.0))};
}

AxisAngle trackballRotation(const osg::Vec3d& p1, const osg::Vec3d& p2, double trackballSize) {
  osg::Vec3d axis = p2 ^ p1;
  axis.normalize();
  const float way = static_cast<float>((p2 - p1).length() / (2.0 * trackballSize));
  return {axis, std::asin(std::clamp(way, -1.0f, 1.0f))};
}

osg::Quat limitedPitch(const osg::Quat& pitch, double angleBefore, float yBefore, float yNow) {
  constexpr double kStraightUpRadians = 3.141592653589793;
  double angle = 0.0;
  osg::Vec3d axis;
  pitch.getRotate(angle, axis);
  if (yBefore > yNow && angle > angleBefore) {
    return {0.0, axis};
  }
  if (yNow > yBefore && angle > kStraightUpRadians) {
    return {kStraightUpRadians, axis};
  }
  return pitch;
}

}  // namespace QuorOsgUtils
