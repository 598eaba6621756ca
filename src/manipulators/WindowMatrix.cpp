#include "manipulators/WindowMatrix.h"

#include <cmath>
#include <limits>

namespace QuorOsgUtils {

namespace {

std::optional<osg::Matrixd> inverseView(const ViewState& state) {
  osg::Matrixd inverse;
  return inverse.invert(state.view) ? std::optional<osg::Matrixd>(inverse) : std::nullopt;
}

}  // namespace

std::optional<ProjectionBox> frustumOf(const osg::Matrixd& projection) {
  ProjectionBox box;
  if (!projection.getFrustum(box.left, box.right, box.bottom, box.top, box.zNear, box.zFar)) {
    return std::nullopt;
  }
  return box;
}

std::optional<ProjectionBox> orthoOf(const osg::Matrixd& projection) {
  ProjectionBox box;
  if (!projection.getOrtho(box.left, box.right, box.bottom, box.top, box.zNear, box.zFar)) {
    return std::nullopt;
  }
  return box;
}

osg::Matrixd windowMatrix(const ViewState& state) {
  return osg::Matrixd::translate(1.0, 1.0, 1.0) * osg::Matrixd::scale(state.width * 0.5, state.height * 0.5, 0.5) *
         osg::Matrixd::translate(state.x, state.y, 0.0);
}

std::optional<osg::Vec3d> windowToView(const ViewState& state, const osg::Vec3d& window) {
  osg::Matrixd inverse;
  if (!inverse.invert(state.projection * windowMatrix(state))) {
    return std::nullopt;
  }
  return ifFinite(window * inverse);
}

std::optional<osg::Vec3d> windowToWorld(const ViewState& state, const osg::Vec3d& window) {
  const std::optional<osg::Vec3d> inView = windowToView(state, window);
  const std::optional<osg::Matrixd> inverse = inverseView(state);
  if (!inView || !inverse) {
    return std::nullopt;
  }
  return ifFinite(*inView * *inverse);
}

std::optional<osg::Vec3d> viewToWorldDirection(const ViewState& state, const osg::Vec3d& direction) {
  const std::optional<osg::Matrixd> inverse = inverseView(state);
  if (!inverse) {
    return std::nullopt;
  }
  return ifFinite(osg::Matrixd::transform3x3(direction, *inverse));
}

osg::Vec3d lookDirection(const osg::Matrixd& view) {
  osg::Vec3d direction = osg::Matrixd::transform3x3(view, osg::Vec3d(0.0, 0.0, -1.0));
  direction.normalize();
  return direction;
}

int wholePixel(double position) {
  constexpr double kLimit = 2147483647.0;
  const bool isPixel = position > -kLimit && position < kLimit;
  return isPixel ? static_cast<int>(position) : std::numeric_limits<int>::min();
}

std::optional<osg::Vec3d> ifFinite(const osg::Vec3d& vector) {
  const bool isNumber = std::isfinite(vector.x()) && std::isfinite(vector.y()) && std::isfinite(vector.z());
  return isNumber ? std::optional<osg::Vec3d>(vector) : std::nullopt;
}

}  // namespace QuorOsgUtils
