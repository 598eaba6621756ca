#pragma once

#include "make_scan/Town.h"

namespace QuorViewer {

/// How a place appears to a camera and to a laser.
struct Appearance {
  osg::Vec3d colour;    ///< red, green, blue, 0 to 1, in daylight
  double reflectance;   ///< fraction of the laser's light that is reflected, 0 to 1
  double nearInfrared;  ///< 0 to 1
};

/// Patterns of walls, roofs and ground, and the shading of a surface that faces away from the sun.
Appearance appearance(const Town& town, const Hit& hit);

}  // namespace QuorViewer
