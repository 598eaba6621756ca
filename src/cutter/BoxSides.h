#pragma once

#include <osg/BoundingBox>
#include <osg/Matrixd>
#include <osg/Plane>

#include <array>
#include <cstddef>

namespace QuorOsgUtils {

/// One side of an axis-aligned box. Sides are numbered axis by axis, the lower one first.
struct BoxSide {
  explicit constexpr BoxSide(std::size_t number) : axis(static_cast<int>(number / 2)), upper(number % 2 == 1) {}

  int axis;
  bool upper;
};

/// Moves a side of `box` to its position in `startBox` plus `delta`, but no nearer than `minSize` to the opposite side.
void moveSide(osg::BoundingBoxf& box, const osg::BoundingBoxf& startBox, BoxSide side, float delta, float minSize);

/// The six planes of a box transformed by `matrix`: low y, high x, high y, low x, high z, low z. Normals are unit
/// vectors that point inwards, or zero if the corners span no plane.
std::array<osg::Plane, 6> clipPlanesOf(const osg::BoundingBoxf& box, const osg::Matrixd& matrix);

}  // namespace QuorOsgUtils
