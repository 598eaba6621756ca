#include "support/ManipulatorFixture.h"
#include "support/TubeHints.h"

#include <osg/Geode>
#include <osg/Geometry>
#include <osg/MatrixTransform>
#include <osg/ShapeDrawable>

#include <array>
#include <cmath>

namespace {

using namespace QuorTests;

const osg::Vec4f kRed(1.0f, 0.0f, 0.0f, 1.0f);
const osg::Vec4f kGreen(0.0f, 1.0f, 0.0f, 1.0f);
const osg::Vec4f kBlue(0.0f, 0.0f, 1.0f, 1.0f);

class PivotMarkerTest : public ManipulatorFixture {
 protected:
  osg::AutoTransform& marker() { return *_manipulator->_pivotIndicator; }

  osg::Geode* ring(unsigned int index) {
    osg::Node* child = marker().getChild(index);
    return index == 0 ? dynamic_cast<osg::Geode*>(child) : dynamic_cast<osg::Geode*>(child->asGroup()->getChild(0));
  }

  osg::Matrixd turnOf(unsigned int index) {
    return dynamic_cast<osg::MatrixTransform&>(*marker().getChild(index)).getMatrix();
  }
};

const osg::Vec4f& overallColour(const osg::Geometry& geometry) {
  EXPECT_EQ(geometry.getColorBinding(), osg::Geometry::BIND_OVERALL);
  return (*dynamic_cast<const osg::Vec4Array*>(geometry.getColorArray()))[0];
}

TEST_F(PivotMarkerTest, keepsItsSizeOnScreenAndIsNeverHidden) {
  EXPECT_TRUE(marker().getAutoScaleToScreen());
  EXPECT_EQ(marker().getStateSet()->getMode(GL_DEPTH_TEST), osg::StateAttribute::OFF);
  EXPECT_EQ(marker().getNumChildren(), 3U);
}

TEST_F(PivotMarkerTest, carriesNoUpdateCallbackThatWouldForceContinuousDrawing) {
  EXPECT_EQ(marker().getUpdateCallback(), nullptr);
  EXPECT_EQ(marker().getNumChildrenRequiringUpdateTraversal(), 0U);
}

TEST_F(PivotMarkerTest, eachRingIsABandTwoCapsAndADiameter) {
  for (unsigned int i = 0; i < 3; ++i) {
    ASSERT_NE(ring(i), nullptr);
    EXPECT_EQ(ring(i)->getNumDrawables(), 4U);
  }
}

TEST_F(PivotMarkerTest, theBandsAreCylindersOfRadiusAHundredAndHeightThreeInTheirColours) {
  const std::array<osg::Vec4f, 3> colours{kBlue, kGreen, kRed};
  for (unsigned int i = 0; i < 3; ++i) {
    auto& band = dynamic_cast<osg::ShapeDrawable&>(*ring(i)->getDrawable(0));
    const auto& cylinder = dynamic_cast<const osg::Cylinder&>(*band.getShape());
    EXPECT_EQ(cylinder.getCenter(), osg::Vec3f());
    EXPECT_EQ(cylinder.getRadius(), 100.0f);
    EXPECT_EQ(cylinder.getHeight(), 3.0f);
    EXPECT_EQ(band.getColor(), colours[i]);
  }
}

TEST_F(PivotMarkerTest, theBandsShareHintsForABodyOfAHundredFacesWithoutEnds) {
  auto hintsOf = [this](unsigned int i) {
    return dynamic_cast<osg::ShapeDrawable&>(*ring(i)->getDrawable(0)).getTessellationHints();
  };
  const osg::TessellationHints& hints = *hintsOf(0);
  EXPECT_EQ(hintsOf(1), &hints);
  EXPECT_EQ(hintsOf(2), &hints);
  expectTubeHints(hints);
}

TEST_F(PivotMarkerTest, theCapsAreStripsOfTwoHundredAndTwoVerticesOnEachSideWithoutColours) {
  for (unsigned int i = 0; i < 3; ++i) {
    for (const unsigned int side : {1U, 2U}) {
      const osg::Geometry& cap = *ring(i)->getDrawable(side)->asGeometry();
      const auto& vertices = dynamic_cast<const osg::Vec3Array&>(*cap.getVertexArray());
      const auto& normals = dynamic_cast<const osg::Vec3Array&>(*cap.getNormalArray());
      const float z = side == 1U ? 1.5f : -1.5f;
      ASSERT_EQ(vertices.size(), 202U);
      ASSERT_EQ(normals.size(), 202U);
      EXPECT_EQ(vertices[0], osg::Vec3f(100.0f, 0.0f, z));
      EXPECT_EQ(vertices[1], osg::Vec3f(97.0f, 0.0f, z));
      EXPECT_NEAR(vertices[50].x(), 100.0 * std::cos(25.0 * 0.06283186), 1e-4);
      EXPECT_NEAR(vertices[50].y(), 100.0 * std::sin(25.0 * 0.06283186), 1e-4);
      for (const osg::Vec3f& normal : normals) {
        EXPECT_EQ(normal, osg::Vec3f(0.0f, 0.0f, -1.0f));
      }
      EXPECT_EQ(cap.getNormalBinding(), osg::Geometry::BIND_PER_VERTEX);
      EXPECT_EQ(cap.getColorArray(), nullptr);
      ASSERT_EQ(cap.getNumPrimitiveSets(), 1U);
      EXPECT_EQ(cap.getPrimitiveSet(0)->getMode(), static_cast<GLenum>(GL_TRIANGLE_STRIP));
      EXPECT_EQ(cap.getPrimitiveSet(0)->getNumIndices(), 202U);
    }
  }
}

TEST_F(PivotMarkerTest, theDiametersRunAlongXInTheirColours) {
  const std::array<osg::Vec4f, 3> colours{kGreen, kRed, kBlue};
  for (unsigned int i = 0; i < 3; ++i) {
    const osg::Geometry& line = *ring(i)->getDrawable(3)->asGeometry();
    const auto& vertices = dynamic_cast<const osg::Vec3Array&>(*line.getVertexArray());
    ASSERT_EQ(vertices.size(), 2U);
    EXPECT_EQ(vertices[0], osg::Vec3f(-100.0f, 0.0f, 0.0f));
    EXPECT_EQ(vertices[1], osg::Vec3f(100.0f, 0.0f, 0.0f));
    EXPECT_EQ(line.getPrimitiveSet(0)->getMode(), static_cast<GLenum>(GL_LINES));
    EXPECT_EQ(overallColour(line), colours[i]);
  }
}

TEST_F(PivotMarkerTest, theRingsStandAtRightAnglesToOneAnother) {
  const osg::Vec3d zAxis(0.0, 0.0, 1.0);
  // A rotation of 90° about Y takes Z to X and the one about X leaves it there; the reverse for the third ring.
  const osg::Vec3d second = osg::Matrixd::transform3x3(zAxis, turnOf(1));
  const osg::Vec3d third = osg::Matrixd::transform3x3(zAxis, turnOf(2));
  expectNear(second, osg::Vec3d(1.0, 0.0, 0.0), 1e-6);
  expectNear(third, osg::Vec3d(0.0, -1.0, 0.0), 1e-6);
}

TEST_F(PivotMarkerTest, theDiametersOfTheTurnedRingsRunDownAndSideways) {
  const osg::Vec3d xAxis(1.0, 0.0, 0.0);
  // X goes to -Z about Y and from there to Y about X; without the rotation about X it stays at -Z.
  expectNear(osg::Matrixd::transform3x3(xAxis, turnOf(1)), osg::Vec3d(0.0, 1.0, 0.0), 1e-6);
  expectNear(osg::Matrixd::transform3x3(xAxis, turnOf(2)), osg::Vec3d(0.0, 0.0, -1.0), 1e-6);
}

}  // namespace
