#pragma once

#include "manipulators/WindowMatrix.h"

#include <osg/BoundingBox>
#include <osg/Vec2d>
#include <osg/Vec3d>

#include <optional>

namespace QuorOsgUtils {

/// The ray through a window position: from the eye, or in an orthographic view from the plane of the eye. `direction`
/// is a unit vector. World axes.
struct PointerRay {
  osg::Vec3d origin;
  osg::Vec3d direction;
};

/// Nothing if the matrices cannot be inverted.
std::optional<PointerRay> pointerRay(const ViewState& state, const osg::Vec2d& position);

/// The point in view axes that is drawn at a window position, `ahead` world units in front of the eye's plane.
std::optional<osg::Vec3d> viewPointAhead(const ViewState& state, const osg::Vec2d& position, double ahead);

/// How far a world point is in front of the eye's plane; negative behind it.
double distanceAhead(const ViewState& state, const osg::Vec3d& world);

/// Whether a world point is drawn inside the viewport and in front of the eye.
bool isOnScreen(const ViewState& state, const osg::Vec3d& world);

/// The middle of the part of a ray in front of its origin that lies in a box; nothing if it misses the box.
std::optional<osg::Vec3d> middleInside(const PointerRay& ray, const osg::BoundingBoxd& box);

}  // namespace QuorOsgUtils
