#include "manipulators/WheelStep.h"

#include <cmath>

namespace QuorOsgUtils {

namespace {

/// Below this, a ray is perpendicular to the view direction except for rounding, and a step along it would be
/// unbounded.
constexpr double kSmallestCosine = 1e-12;

osg::Matrixd scaledOrtho(const osg::Matrixd& projection, double scale) {
  const std::optional<ProjectionBox> box = orthoOf(projection);
  if (!box) {
    return projection;
  }
  const double width = (box->right - box->left) * scale;
  const double height = (box->top - box->bottom) * scale;
  return osg::Matrixd::ortho(-0.5 * width, 0.5 * width, -0.5 * height, 0.5 * height, box->zNear, box->zFar);
}

}  // namespace

std::optional<osg::Vec3d> perspectiveWheelMovement(const osg::Matrixd& view, const osg::Matrixd& projection,
                                                   const osg::Vec3d& target, double percent, WheelNotch notch) {
  const std::optional<ProjectionBox> box = frustumOf(projection);
  if (!box) {
    return std::nullopt;
  }
  osg::Vec3d eye, center, up;
  view.getLookAt(eye, center, up, 1.0);
  osg::Vec3d ray = target - eye;
  ray.normalize();
  const double along = ray * lookDirection(view);
  if (!(std::abs(along) > kSmallestCosine)) {
    return std::nullopt;
  }
  const double step = std::abs(box->zFar) * percent / 100.0;
  return ifFinite(ray * ((notch == WheelNotch::Up ? step : -step) / along));
}

std::optional<OrthographicWheelStep> orthographicWheelStep(const ViewState& state, double x, double y, double percent,
                                                           WheelNotch notch) {
  const double scale = notch == WheelNotch::Up ? 1.0 - percent / 100.0 : percent / 100.0 + 1.0;
  return orthographicScaling(state, x, y, scale);
}

std::optional<OrthographicWheelStep> orthographicScaling(const ViewState& state, double x, double y, double scale) {
  ViewState scaled = state;
  scaled.projection = scaledOrtho(state.projection, scale);
  const std::optional<osg::Vec3d> before = windowToView(state, osg::Vec3d(x, y, 0.0));
  const std::optional<osg::Vec3d> after = windowToView(scaled, osg::Vec3d(x, y, 0.0));
  if (!before || !after) {
    return std::nullopt;
  }
  const std::optional<osg::Vec3d> movement = viewToWorldDirection(state, *before - *after);
  if (!movement) {
    return std::nullopt;
  }
  return OrthographicWheelStep{scaled.projection, *movement};
}

std::optional<double> stationFieldOfView(double degrees, WheelNotch notch) {
  if (notch == WheelNotch::Up && degrees > 0.0) {
    return degrees * 3.0 * 0.25;
  }
  if (notch == WheelNotch::Down && degrees < 90.0) {
    return degrees * 4.0 / 3.0;
  }
  return std::nullopt;
}

}  // namespace QuorOsgUtils
