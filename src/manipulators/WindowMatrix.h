#pragma once

#include <osg/Matrixd>
#include <osg/Vec3d>

#include <optional>

namespace QuorOsgUtils {

/// The state that a frame was rendered with: world to view, view to clip space, and the viewport in pixels.
struct ViewState {
  osg::Matrixd view;
  osg::Matrixd projection;
  double x = 0.0;
  double y = 0.0;
  double width = 0.0;
  double height = 0.0;
};

/// The bounds of a view volume; for a frustum, the sides at the near plane.
struct ProjectionBox {
  double left = 0.0;
  double right = 0.0;
  double bottom = 0.0;
  double top = 0.0;
  double zNear = 0.0;
  double zFar = 0.0;
};

/// Each returns nothing for the other kind of projection.
std::optional<ProjectionBox> frustumOf(const osg::Matrixd& projection);
std::optional<ProjectionBox> orthoOf(const osg::Matrixd& projection);

/// Clip space to window positions in pixels with depths from 0 to 1.
osg::Matrixd windowMatrix(const ViewState& state);

/// The point in view axes at a window position and depth; nothing if the matrices cannot be inverted.
std::optional<osg::Vec3d> windowToView(const ViewState& state, const osg::Vec3d& window);

/// The same in world units. Window to view and view to world are inverted separately: in the inverse of their product a
/// georeferenced origin (1e7 and more) would cost the digits of the near plane's size.
std::optional<osg::Vec3d> windowToWorld(const ViewState& state, const osg::Vec3d& window);

/// View axes to world axes, for directions: what `windowToView` yields, without the eye's position.
std::optional<osg::Vec3d> viewToWorldDirection(const ViewState& state, const osg::Vec3d& direction);

/// The unit vector that a view looks along, in world axes: the look-at point at distance 1 minus the eye, but without
/// the loss of precision of that difference far from the origin.
osg::Vec3d lookDirection(const osg::Matrixd& view);

/// Truncates towards zero. Values out of range and NaN become a position outside every image.
int wholePixel(double position);

/// The vector, or nothing when a component is infinite or not a number.
std::optional<osg::Vec3d> ifFinite(const osg::Vec3d& vector);

}  // namespace QuorOsgUtils
