#pragma once

#include <osg/Shape>

#include <gtest/gtest.h>

namespace QuorTests {

/// The hints of a tube: 100 faces, only the wall, front faces only, with normals.
inline void expectTubeHints(const osg::TessellationHints& hints) {
  EXPECT_EQ(hints.getDetailRatio(), 1.0f);
  EXPECT_EQ(hints.getTargetNumFaces(), 100U);
  EXPECT_TRUE(hints.getCreateFrontFace());
  EXPECT_FALSE(hints.getCreateBackFace());
  EXPECT_TRUE(hints.getCreateNormals());
  EXPECT_FALSE(hints.getCreateTextureCoords());
  EXPECT_TRUE(hints.getCreateBody());
  EXPECT_FALSE(hints.getCreateTop());
  EXPECT_FALSE(hints.getCreateBottom());
}

}  // namespace QuorTests
