#pragma once

#include "viewer/render/CubeProjection.h"

#include <cmath>

namespace QuorTests {

constexpr double kViewHeightPixels = 1000.0;
constexpr double kAngleOfViewDegrees = 40.0;
constexpr double kAspectRatio = 1.5;

inline double halfAngleTangent() {
  return std::tan(0.5 * kAngleOfViewDegrees * 3.14159265358979323846 / 180.0);
}

/// A camera that looks from `eye` to `target`, both relative to `origin`, with +Z upwards in the image.
inline QuorViewer::CubeCamera perspectiveCamera(const osg::Vec3d& eye, const osg::Vec3d& target, double zNear = 0.1,
                                                double zFar = 1e5) {
  return {osg::Matrixd::lookAt(eye, target, {0.0, 0.0, 1.0}),
          osg::Matrixd::perspective(kAngleOfViewDegrees, kAspectRatio, zNear, zFar),
          kViewHeightPixels,
          {}};
}

/// `height`: of the view, in world units.
inline QuorViewer::CubeCamera orthographicCamera(const osg::Vec3d& eye, const osg::Vec3d& target, double height,
                                                 double zNear = 0.1, double zFar = 1e5) {
  const double up = 0.5 * height;
  const double right = up * kAspectRatio;
  return {osg::Matrixd::lookAt(eye, target, {0.0, 0.0, 1.0}),
          osg::Matrixd::ortho(-right, right, -up, up, zNear, zFar),
          kViewHeightPixels,
          {}};
}

}  // namespace QuorTests
