#pragma once

#include "manipulators/WindowMatrix.h"

#include <osg/Vec2d>
#include <osg/Vec3d>

#include <optional>

namespace QuorOsgUtils {

/// How far the orbit centre moves for the scene to follow the pointer `from` → `to` (window pixels) at `depth` (0 to
/// 1), in world units. Nothing if it cannot be computed from the projection and the viewport.
std::optional<osg::Vec3d> panMovement(const ViewState& state, double depth, const osg::Vec2d& from,
                                      const osg::Vec2d& to);

}  // namespace QuorOsgUtils
