#include "geometry/RingStrip.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using QuorOsgUtils::ringStripVertices;

TEST(RingStripTest, hasTwoVerticesAtEachOfAHundredAnglesAndRepeatsTheFirstTwo) {
  const std::vector<osg::Vec3f> vertices = ringStripVertices(100.0, 3.0, 1.5);
  ASSERT_EQ(vertices.size(), 202u);
  EXPECT_EQ(vertices[0], osg::Vec3f(100.0f, 0.0f, 1.5f));
  EXPECT_EQ(vertices[1], osg::Vec3f(97.0f, 0.0f, 1.5f));
  EXPECT_EQ(vertices[200], vertices[0]);
  EXPECT_EQ(vertices[201], vertices[1]);
}

TEST(RingStripTest, alternatesBetweenTheOuterAndTheInnerRadius) {
  const std::vector<osg::Vec3f> vertices = ringStripVertices(100.0, 3.0, -1.5);
  for (std::size_t i = 0; i < 100; ++i) {
    const double angle = 0.06283186 * static_cast<double>(i);
    const osg::Vec3f outer(static_cast<float>(100.0 * std::cos(angle)), static_cast<float>(100.0 * std::sin(angle)),
                           -1.5f);
    const osg::Vec3f inner(static_cast<float>(97.0 * std::cos(angle)), static_cast<float>(97.0 * std::sin(angle)),
                           -1.5f);
    EXPECT_NEAR((vertices[2 * i] - outer).length(), 0.0f, 2e-5f) << i;
    EXPECT_NEAR((vertices[2 * i + 1] - inner).length(), 0.0f, 2e-5f) << i;
  }
}

TEST(RingStripTest, addsTheAnglesUpInThePrecisionOfItsNumbers) {
  const std::vector<osg::Vec3f> vertices = ringStripVertices(1.1f, 0.05f, 0.03f);
  float angle = 0.0f;
  for (std::size_t i = 0; i < 100; ++i, angle += 0.06283186f) {
    EXPECT_EQ(vertices[2 * i], osg::Vec3f(1.1f * std::cos(angle), 1.1f * std::sin(angle), 0.03f)) << i;
    const float inner = 1.1f - 0.05f;
    EXPECT_EQ(vertices[2 * i + 1], osg::Vec3f(inner * std::cos(angle), inner * std::sin(angle), 0.03f)) << i;
  }
  EXPECT_NE(vertices, ringStripVertices(1.1, 0.05, 0.03)) << "the two precisions cannot be told apart here";
}

}  // namespace
