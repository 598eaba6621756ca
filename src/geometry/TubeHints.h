#pragma once

#include <osg/Shape>
#include <osg/ref_ptr>

namespace QuorOsgUtils {

/// Hints to draw a cylinder as a tube of 100 faces: only the wall, front faces only, with normals.
osg::ref_ptr<osg::TessellationHints> createTubeHints();

}  // namespace QuorOsgUtils
