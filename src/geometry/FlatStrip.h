#pragma once

#include <osg/Geometry>
#include <osg/Vec3f>
#include <osg/ref_ptr>

#include <vector>

namespace QuorOsgUtils {

/// Vertices of a flat triangle strip as a drawable without colours. All normals are (0, 0, -1).
osg::ref_ptr<osg::Geometry> createFlatStrip(const std::vector<osg::Vec3f>& vertices);

}  // namespace QuorOsgUtils
