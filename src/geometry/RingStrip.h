#pragma once

#include <osg/Vec3f>

#include <vector>

namespace QuorOsgUtils {

/// The vertices of an annulus about the z axis at height `z`, as one triangle strip: at each of 100 angles one on the
/// radius and one `width` nearer to the axis, and the first two once more at the end. The angles add up in the
/// precision of `Real`, which is float or double.
template <typename Real>
std::vector<osg::Vec3f> ringStripVertices(Real radius, Real width, Real z);

}  // namespace QuorOsgUtils
