#pragma once

#include <osg/Vec3d>

#include <gtest/gtest.h>

namespace QuorTests {

/// Expects that two points are at most `tolerance` apart.
inline void expectNear(const osg::Vec3d& actual, const osg::Vec3d& expected, double tolerance = 1e-9) {
  EXPECT_LE((actual - expected).length(), tolerance)
      << actual.x() << ' ' << actual.y() << ' ' << actual.z() << " instead of " << expected.x() << ' ' << expected.y()
      << ' ' << expected.z();
}

}  // namespace QuorTests
