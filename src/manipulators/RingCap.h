#pragma once

#include <osg/Vec3f>

#include <vector>

namespace QuorOsgUtils {

/// The vertices of an annulus about the z axis at height `z`, as one triangle strip: at each of 100 angles one on the
/// radius and one `width` nearer to the axis, and the first two once more at the end.
std::vector<osg::Vec3f> ringCapVertices(double radius, double width, double z);

}  // namespace QuorOsgUtils
