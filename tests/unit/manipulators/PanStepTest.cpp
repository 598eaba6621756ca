#include "manipulators/PanStep.h"
#include "support/ViewAlongY.h"

#include <gtest/gtest.h>

namespace {

using QuorOsgUtils::panMovement;
using QuorOsgUtils::ViewState;
using QuorTests::viewAlongY;

void expectMovement(const ViewState& state, double depth, const osg::Vec3d& expected) {
  const auto movement = panMovement(state, depth, osg::Vec2d(100.0, 50.0), osg::Vec2d(140.0, 70.0));
  ASSERT_TRUE(movement);
  // The side vector has single precision: seven digits.
  EXPECT_NEAR((*movement - expected).length(), 0.0, 1e-6 * expected.length());
}

TEST(PanStepTest, anOrthographicPanMovesByTheBoxPerPixelAgainstThePointer) {
  const ViewState state = viewAlongY(osg::Matrixd::ortho(-20.0, 20.0, -10.0, 10.0, 1.0, 1000.0));
  expectMovement(state, 0.3, osg::Vec3d(-4.0, 0.0, -2.0));
}

TEST(PanStepTest, anOrthographicPanReadsABoxThatIsUpsideDown) {
  const ViewState state = viewAlongY(osg::Matrixd::ortho(20.0, -20.0, 10.0, -10.0, 1.0, 1000.0));
  expectMovement(state, 0.3, osg::Vec3d(-4.0, 0.0, -2.0));
}

TEST(PanStepTest, aPerspectivePanMovesByTheWindowAtItsDepth) {
  const ViewState state = viewAlongY(osg::Matrixd::frustum(-1.0, 1.0, -0.5, 0.5, 1.0, 1000.0));
  const double depthOfFifty = 1000.0 / 999.0 * (1.0 - 1.0 / 50.0);
  expectMovement(state, depthOfFifty, osg::Vec3d(-10.0, 0.0, -5.0));
}

TEST(PanStepTest, aPerspectivePanAtDepthZeroMovesByTheNearPlanesWindow) {
  const ViewState state = viewAlongY(osg::Matrixd::frustum(-1.0, 1.0, -0.5, 0.5, 1.0, 1000.0));
  expectMovement(state, 0.0, osg::Vec3d(-0.2, 0.0, -0.1));
}

TEST(PanStepTest, aProjectionThatIsNeitherYieldsNoMovement) {
  const ViewState state = viewAlongY(osg::Matrixd::scale(0.0, 0.0, 0.0) * osg::Matrixd(1, 0, 0, 1, 0, 1, 0, 1,  //
                                                                                       0, 0, 1, 1, 0, 0, 0, 0));
  EXPECT_FALSE(panMovement(state, 0.5, osg::Vec2d(), osg::Vec2d(1.0, 1.0)));
}

TEST(PanStepTest, aViewportWithoutASizeYieldsNoMovement) {
  for (const osg::Matrixd& projection : {osg::Matrixd::ortho(-20.0, 20.0, -10.0, 10.0, 1.0, 1000.0),
                                         osg::Matrixd::frustum(-1.0, 1.0, -0.5, 0.5, 1.0, 1000.0)}) {
    ViewState state = viewAlongY(projection);
    state.width = state.height = 0.0;
    EXPECT_FALSE(panMovement(state, 0.5, osg::Vec2d(), osg::Vec2d(1.0, 1.0)));
  }
}

}  // namespace
