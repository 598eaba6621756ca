#pragma once

#include "manipulators/DepthSearch.h"
#include "manipulators/WindowMatrix.h"

#include <osg/Vec2d>
#include <osg/Vec3d>

#include <optional>

namespace QuorOsgUtils {

/// The world point that a frame shows at a window position. If that is background: the one at the centre of the nearest
/// pixel of the scene within `reach` pixels. Nothing if there is none.
std::optional<osg::Vec3d> scenePointNear(const DepthImage& image, const ViewState& state, const osg::Vec2d& position,
                                         int reach);

/// Where a world point is drawn.
osg::Vec2d windowPosition(const ViewState& state, const osg::Vec3d& world);

}  // namespace QuorOsgUtils
