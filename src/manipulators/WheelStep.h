#pragma once

#include "manipulators/WindowMatrix.h"

#include <osg/Vec3d>

#include <optional>

namespace QuorOsgUtils {

enum class WheelNotch { Up, Down };

/// How far the orbit centre moves along the ray from the eye to `target` (world units) for one notch: by `percent` of
/// the far plane's distance, measured along the view direction. Nothing if the projection is not a perspective frustum
/// or the ray is perpendicular to the view direction.
std::optional<osg::Vec3d> perspectiveWheelMovement(const osg::Matrixd& view, const osg::Matrixd& projection,
                                                   const osg::Vec3d& target, double percent, WheelNotch notch);

struct OrthographicWheelStep {
  osg::Matrixd projection;
  /// Movement of the orbit centre, in world units.
  osg::Vec3d movement;
};

/// The view's box scaled about the pointer's window position (x, y) and centred on the axis, and the movement that
/// keeps the scene in place under the pointer. Nothing if the scaled box would be empty.
std::optional<OrthographicWheelStep> orthographicScaling(const ViewState& state, double x, double y, double scale);

/// The same for one notch of `percent`.
std::optional<OrthographicWheelStep> orthographicWheelStep(const ViewState& state, double x, double y, double percent,
                                                           WheelNotch notch);

/// The field of view in degrees after one notch in station mode, nothing if the notch is ignored: three quarters for up
/// if above 0, four thirds for down if below 90.
std::optional<double> stationFieldOfView(double degrees, WheelNotch notch);

}  // namespace QuorOsgUtils
