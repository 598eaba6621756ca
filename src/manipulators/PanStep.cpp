#include "manipulators/PanStep.h"

#include <osg/Vec3f>

#include <cmath>

namespace QuorOsgUtils {

namespace {

/// The size of the view volume's cross-section at the depth of a pan, in world units.
struct WorldWindow {
  double width;
  double height;
};

std::optional<WorldWindow> frustumWindow(const ViewState& state, double depth) {
  const std::optional<ProjectionBox> box = frustumOf(state.projection);
  if (!box) {
    return std::nullopt;
  }
  const auto inView = windowToView(state, osg::Vec3d(state.width * 0.5, state.height * 0.5, depth));
  const auto fromEye = inView ? viewToWorldDirection(state, *inView) : std::nullopt;
  if (!fromEye) {
    return std::nullopt;
  }
  const double scale = box->zNear / fromEye->length();
  return WorldWindow{std::abs(box->right - box->left) / scale, std::abs(box->top - box->bottom) / scale};
}

std::optional<WorldWindow> orthoWindow(const ViewState& state) {
  const std::optional<ProjectionBox> box = orthoOf(state.projection);
  if (!box) {
    return std::nullopt;
  }
  return WorldWindow{std::abs(box->right - box->left), std::abs(box->top - box->bottom)};
}

std::optional<WorldWindow> worldWindow(const ViewState& state, double depth) {
  const std::optional<WorldWindow> frustum = frustumWindow(state, depth);
  return frustum ? frustum : orthoWindow(state);
}

}  // namespace

std::optional<osg::Vec3d> panMovement(const ViewState& state, double depth, const osg::Vec2d& from,
                                      const osg::Vec2d& to) {
  const std::optional<WorldWindow> window = worldWindow(state, depth);
  if (!window) {
    return std::nullopt;
  }
  osg::Vec3d eye, center, up;
  state.view.getLookAt(eye, center, up, 1.0);
  osg::Vec3f side = osg::Vec3f(lookDirection(state.view)) ^ osg::Vec3f(up);
  side.normalize();
  up.normalize();
  const double dx = window->width / state.width * (to.x() - from.x());
  const double dy = window->height / state.height * (to.y() - from.y());
  return ifFinite(-(osg::Vec3d(side) * dx + up * dy));
}

}  // namespace QuorOsgUtils
