#pragma once

#include "scan/CoordinateSystem.h"

#include <osg/BoundingBox>

#include <string>
#include <vector>

namespace QuorViewer {

/// Where a scan lies in the world, as far as is known.
struct ScanPlace {
  osg::BoundingBoxd bounds;  ///< invalid: unknown
  CoordinateSystem system;
};

/// "412 km", "1.2 km", "350 m", "0.03 m"; in "units" if the size of a unit is unknown (0).
std::string lengthText(double units, double metresPerUnit);

/// The free distance between two boxes; 0 if they touch or overlap.
double gapBetween(const osg::BoundingBoxd& a, const osg::BoundingBoxd& b);

/// "has coordinate system EPSG:28992, but the open scans have EPSG:2056: they may not fit together". Each system
/// of the others is named once. Empty if any of the others has the same system, or an unknown one.
std::string systemMisfit(const ScanPlace& scan, const std::vector<ScanPlace>& others);

/// "is 412 km away from the open scans (to the north-east)". Empty unless the scan is far away from all others: the gap
/// is more than 100 times the larger of the two extents (or 100 units for tiny scans), or more than 100 km. A unit of
/// unknown size counts as a metre. North is +Y, east is +X.
std::string distanceMisfit(const ScanPlace& scan, const std::vector<ScanPlace>& others);

}  // namespace QuorViewer
