#pragma once

#include <osg/AutoTransform>
#include <osg/Geometry>
#include <osg/ref_ptr>

namespace QuorOsgUtils {

/// The marker at the pivot: three rings at right angles, with a constant size on screen and never hidden by the scene.
osg::ref_ptr<osg::AutoTransform> createPivotMarker();

/// Removes the marker from every group that holds it.
void hidePivotMarker(osg::Node& marker);

/// One flat side of a ring: an annulus about the z axis at height `z`.
osg::ref_ptr<osg::Geometry> createRingCapGeometry(double radius, double width, double z);

}  // namespace QuorOsgUtils
