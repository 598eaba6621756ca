#pragma once

#include <osg/Geometry>
#include <osg/Shape>
#include <osg/ref_ptr>

namespace QuorOsgUtils {

/// An annulus about the z axis at height `z`, `width` wide inwards from `radius`, as a triangle strip without colours.
/// All normals are (0, 0, -1). The angles are summed in the precision of `Real`, which is float or double.
template <typename Real>
osg::ref_ptr<osg::Geometry> createAnnulus(Real radius, Real width, Real z);

/// Hints to draw a cylinder as a tube of 100 faces: only the wall, front faces only, with normals.
osg::ref_ptr<osg::TessellationHints> createTubeHints();

}  // namespace QuorOsgUtils
