#pragma once

#include <osg/BoundingBox>
#include <osg/Quat>
#include <osg/Vec3d>

namespace QuorOsgUtils {

/// Whether all components are finite.
bool isFinite(const osg::Vec3d& vector);

/// Whether a `ClipBoxControl` accepts a box: values are finite, sides are not too short, and the rotation is one.
bool isPossibleBox(const osg::BoundingBoxd& box, const osg::Quat& rotation);

}  // namespace QuorOsgUtils
