#pragma once

#include <osg/Vec3d>

namespace QuorViewer {

/// Positions are drawn in single precision, relative to the local origin. This is the distance between neighbouring
/// values of the largest component of `position`: the steps in which positions there are drawn.
double drawnStepAt(const osg::Vec3d& position);

}  // namespace QuorViewer
