#include "cutter/DragLineProjector.h"

namespace QuorOsgUtils {
namespace {

osg::Vec3d directionOf(const osg::Vec3d& from, const osg::Vec3d& to) {
  osg::Vec3d direction = to - from;
  direction.normalize();
  return direction;
}

}  // namespace

// The point start + s u of the line for which the distance to near + t v is least: both derivatives of its square are
// 0. With w = start - near, u u s - u v t = -u w and u v s - v v t = -v w.
bool DragLineProjector::project(const osgManipulator::PointerInfo& pointer, osg::Vec3d& point) const {
  if (!_line->valid()) {
    return false;
  }
  const osg::Vec3d start = getLineStart() * getLocalToWorld();
  const osg::Vec3d along = directionOf(start, getLineEnd() * getLocalToWorld());
  osg::Vec3d nearPoint, farPoint;
  pointer.getNearFarPoints(nearPoint, farPoint);
  const osg::Vec3d sight = directionOf(nearPoint, farPoint);
  const osg::Vec3d between = start - nearPoint;
  const double cosine = along * sight;
  const double determinant = (along * along) * (sight * sight) - cosine * cosine;
  if (determinant == 0.0) {
    return false;
  }
  const double distance = (cosine * (sight * between) - (sight * sight) * (along * between)) / determinant;
  point = (start + along * distance) * getWorldToLocal();
  return true;
}

}  // namespace QuorOsgUtils
