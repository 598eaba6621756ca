#pragma once

#include <QuorOsgUtils/PreciseNavigation.h>

#include <osg/Quat>
#include <osg/Vec3d>
#include <osg/Vec3f>

#include <vector>

namespace QuorViewer {

/// The vertical field of view in degrees with which a station starts.
constexpr double kStationFieldDegrees = QuorOsgUtils::PreciseNavigation::kStationFieldDegrees;

/// The rotation with which a station starts: the horizon is level, and points are in view. The heading of `current`
/// is kept if many of the points are in that direction; otherwise it is the heading with the most points. The view is
/// horizontal, unless nearly all points in it would be too high or too low. `places` is a sample of the points,
/// `aspectRatio` the width of the image divided by its height.
osg::Quat stationRotation(const osg::Vec3d& station, const std::vector<osg::Vec3f>& places, const osg::Quat& current,
                          double aspectRatio);

}  // namespace QuorViewer
