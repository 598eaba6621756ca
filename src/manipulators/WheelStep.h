#pragma once

#include "manipulators/WindowMatrix.h"

#include <osg/Vec3d>

#include <optional>

namespace QuorOsgUtils {

enum class WheelNotch { Up, Down };

/// How far the orbit centre moves along the ray from the eye to `target` (world units) for one notch: by `percent` of
/// the far plane's distance, measured along the view's direction. Nothing when the projection is not a perspective
/// frustum or the ray is at right angles to the view.
std::optional<osg::Vec3d> perspectiveWheelMovement(const osg::Matrixd& view, const osg::Matrixd& projection,
                                                   const osg::Vec3d& target, double percent, WheelNotch notch);

struct OrthographicWheelStep {
  osg::Matrixd projection;
  /// Of the orbit centre, in world units.
  osg::Vec3d movement;
};

/// One notch about the pointer's window position (x, y): the view's box scaled by `percent` and centred on the axis,
/// and the movement that keeps what is under the pointer in its place. Nothing when the scaled box would be empty.
std::optional<OrthographicWheelStep> orthographicWheelStep(const ViewState& state, double x, double y, double percent,
                                                           WheelNotch notch);

/// The field of view in degrees after one notch in station mode, nothing where the notch is refused: three quarters of
/// what is above 0, four thirds of what is below 90.
std::optional<double> stationFieldOfView(double degrees, WheelNotch notch);

/// The distance in world units from which a sphere fills a field of view in degrees.
double framingDistance(double radius, double fieldOfViewDegrees);

/// The same where no camera tells a field of view.
double framingDistance(double radius);

}  // namespace QuorOsgUtils
