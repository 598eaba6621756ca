#pragma once

#include <osg/Vec3f>

#include <vector>

namespace QuorOsgUtils {

/// Unit vectors from the centre of a circle about the z axis to its points, counter-clockwise from the x axis. The
/// angle is summed in single precision.
std::vector<osg::Vec3f> circleDirections(unsigned int segments);

}  // namespace QuorOsgUtils
