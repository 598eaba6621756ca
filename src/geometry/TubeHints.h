#pragma once

#include <osg/Shape>
#include <osg/ref_ptr>

namespace QuorOsgUtils {

/// How to draw a cylinder as a tube of a hundred faces: its wall alone, seen from outside, with normals.
osg::ref_ptr<osg::TessellationHints> createTubeHints();

}  // namespace QuorOsgUtils
