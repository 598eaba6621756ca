#include "cutter/BoxSides.h"

#include <osg/Vec3d>

#include <algorithm>
#include <array>

namespace QuorOsgUtils {

void moveSide(osg::BoundingBoxf& box, const osg::BoundingBoxf& startBox, BoxSide side, float delta, float minSize) {
  if (side.upper) {
    box._max[side.axis] = std::max(startBox._max[side.axis] + delta, box._min[side.axis] + minSize);
  } else {
    box._min[side.axis] = std::min(startBox._min[side.axis] + delta, box._max[side.axis] - minSize);
  }
}

std::array<osg::Plane, 6> clipPlanesOf(const osg::BoundingBoxf& box, const osg::Matrixd& matrix) {
  // Three corners of each face, ordered so that (Q - P) x (R - P) points inwards. Bits 0, 1 and 2 of a corner's number
  // are set if it is on the upper side in x, y and z.
  struct Corners {
    unsigned int p, q, r;
  };
  static constexpr std::array<Corners, 6> kFaces = {{{4, 5, 1}, {5, 7, 3}, {7, 6, 2}, {6, 4, 0}, {5, 6, 7}, {2, 1, 3}}};
  const auto corner = [&](unsigned int number) { return osg::Vec3d(box.corner(number)) * matrix; };

  std::array<osg::Plane, 6> planes;
  for (std::size_t i = 0; i < planes.size(); ++i) {
    const osg::Vec3d p = corner(kFaces[i].p);
    osg::Vec3d normal = (corner(kFaces[i].q) - p) ^ (corner(kFaces[i].r) - p);
    normal.normalize();
    planes[i] = osg::Plane(normal, -(normal * p));
  }
  return planes;
}

}  // namespace QuorOsgUtils
