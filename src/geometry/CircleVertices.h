#pragma once

#include <osg/Vec3f>

#include <vector>

namespace QuorOsgUtils {

/// Unit vectors from the centre of a circle about the z axis to its points, counter-clockwise from the x axis. The
/// angle is summed in single precision.
std::vector<osg::Vec3f> circleDirections(unsigned int segments);

/// The vertices of an annulus about the z axis at height `z`, as one triangle strip: at each of 100 angles one vertex
/// on the radius and one `width` nearer to the axis; the first two are repeated at the end. The angles are summed in
/// the precision of `Real`, which is float or double.
template <typename Real>
std::vector<osg::Vec3f> annulusVertices(Real radius, Real width, Real z);

}  // namespace QuorOsgUtils
