#pragma once

#include <osg/Matrixd>
#include <osg/Vec3d>

namespace QuorTests {

/// A straight line; the direction has length 1.
struct Line {
  osg::Vec3d point;
  osg::Vec3d direction;
};

/// How far along `line`, from its point, it is nearest to `other`.
double nearestAlong(const Line& line, const Line& other);
/// Where a line meets the plane through a point with the given normal.
osg::Vec3d meet(const Line& line, const osg::Vec3d& point, const osg::Vec3d& normal);

/// The angle, in radians, by which a ring follows the pointer from one line of sight to another. Seen nearly along its
/// axis (the sine of the angle between them below sqrt(0.1)) a ring rotates by the angle, about its centre, between the
/// points where the lines meet its plane. Otherwise the pointer pulls on the plane that touches the ring's cylinder
/// towards the eye, or away from it for a ring grabbed at its far side, and the angle is the distance across the axis
/// in that plane over the radius. Valid for steps that stay on one side of the line of touch.
struct RingOracle {
  osg::Vec3d center;
  osg::Vec3d axis;  ///< length 1
  double radius;
  osg::Vec3d towardsEye;  ///< length 1
  bool farSide = false;

  bool isSeenAlongAxis() const;
  /// Points away from the axis towards the line of touch, length 1.
  osg::Vec3d touch() const;
  double angle(const Line& from, const Line& to) const;
};

/// A matrix that rotates about a line.
osg::Matrixd rotationAbout(const Line& line, double radians);

}  // namespace QuorTests
