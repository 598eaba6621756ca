#pragma once

#include "make_scan/Town.h"

namespace QuorViewer {

/// What a camera and a laser see of a place.
struct Appearance {
  osg::Vec3d colour;    ///< red, green, blue, 0 to 1, in daylight
  double reflectance;   ///< share of the laser's light that comes back, 0 to 1
  double nearInfrared;  ///< 0 to 1
};

/// Patterns of walls, roofs and ground, and the shade of a surface that is turned from the sun.
Appearance appearance(const Town& town, const Hit& hit);

}  // namespace QuorViewer
