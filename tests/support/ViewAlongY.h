#pragma once

#include "manipulators/WindowMatrix.h"

namespace QuorTests {

/// A view of 400 × 200 pixels, seen from (0, -100, 0) along +Y with Z up: right is +X.
inline QuorOsgUtils::ViewState viewAlongY(const osg::Matrixd& projection) {
  return {osg::Matrixd::lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d(), osg::Vec3d(0.0, 0.0, 1.0)),
          projection,
          0.0,
          0.0,
          400.0,
          200.0};
}

}  // namespace QuorTests
