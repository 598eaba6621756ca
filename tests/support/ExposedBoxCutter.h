#pragma once

#include <QuorOsgUtils/BoxCutterDragger.h>

#include <osg/AutoTransform>
#include <osg/BoundingBox>
#include <osg/ClipNode>
#include <osg/Geode>
#include <osg/Matrixd>

#include <gtest/gtest.h>

#include <array>

namespace QuorTests {

/// A clip box that exposes its protected members to tests. Its behaviour is unchanged.
class ExposedBoxCutter : public QuorOsgUtils::BoxCutterDragger {
 public:
  using BoxCutterDragger::BoxCutterDragger;

  using BoxCutterDragger::AxisHandle;
  using BoxCutterDragger::BACK_FACE;
  using BoxCutterDragger::BOTTOM_FACE;
  using BoxCutterDragger::Face;
  using BoxCutterDragger::FaceHandle;
  using BoxCutterDragger::FRONT_FACE;
  using BoxCutterDragger::LEFT_FACE;
  using BoxCutterDragger::RIGHT_FACE;
  using BoxCutterDragger::RingHandle;
  using BoxCutterDragger::TOP_FACE;

  using BoxCutterDragger::applyClipPlane;
  using BoxCutterDragger::computeNodePathToRoot;
  using BoxCutterDragger::handle;
  using osg::Node::setNumChildrenRequiringEventTraversal;

  using BoxCutterDragger::_axes;
  using BoxCutterDragger::_axesTransform;
  using BoxCutterDragger::_bottomOutline;
  using BoxCutterDragger::_box;
  using BoxCutterDragger::_boxCenter;
  using BoxCutterDragger::_boxColor;
  using BoxCutterDragger::_clipNode;
  using BoxCutterDragger::_clipPlanes;
  using BoxCutterDragger::_cylinderProjector;
  using BoxCutterDragger::_draggerActive;
  using BoxCutterDragger::_faces;
  using BoxCutterDragger::_handleEvents;
  using BoxCutterDragger::_highlightColor;
  using BoxCutterDragger::_intersectionMask;
  using BoxCutterDragger::_lineProjector;
  using BoxCutterDragger::_minSize;
  using BoxCutterDragger::_pointer;
  using BoxCutterDragger::_prevRotation;
  using BoxCutterDragger::_prevWorldProjPt;
  using BoxCutterDragger::_rings;
  using BoxCutterDragger::_ringsTransform;
  using BoxCutterDragger::_rotateSwitch;
  using BoxCutterDragger::_scaleSwitch;
  using BoxCutterDragger::_screenScale;
  using BoxCutterDragger::_startBox;
  using BoxCutterDragger::_startLocalToWorld;
  using BoxCutterDragger::_startProjectedPoint;
  using BoxCutterDragger::_startWorldToLocal;
  using BoxCutterDragger::_topOutline;
  using BoxCutterDragger::_transformCallback;
  using BoxCutterDragger::_translateSwitch;
  using BoxCutterDragger::_type;
  using BoxCutterDragger::_verticalEdges;
  using BoxCutterDragger::_xColor;
  using BoxCutterDragger::_xProjector;
  using BoxCutterDragger::_yColor;
  using BoxCutterDragger::_yProjector;
  using BoxCutterDragger::_zColor;
  using BoxCutterDragger::_zProjector;
};

/// The colours of a box as built: those of the X, Y and Z handles, of the outline, and of the disc behind the rings.
inline const std::array<osg::Vec4f, 3> kAxisColors = {
    {{1.0f, 0.0f, 0.0f, 1.0f}, {0.0f, 1.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 1.0f, 1.0f}}};
inline const osg::Vec4f kOutlineColor(0.9f, 0.9f, 0.9f, 1.0f);
inline const osg::Vec4f kDiscColor(0.1f, 0.1f, 0.1f, 0.9f);

/// A child of the type that is expected there; any other type fails the test.
template <typename Node>
Node& childOf(osg::Node& parent, unsigned int number) {
  osg::Group& group = *parent.asGroup();
  EXPECT_LT(number, group.getNumChildren());
  return dynamic_cast<Node&>(*group.getChild(number));
}

/// A box of 2 x 4 x 6 units whose centre is (6, 12, 23), with a clip node that has no planes.
class ExposedBoxTest : public ::testing::Test {
 protected:
  osg::ref_ptr<osg::ClipNode> _clip = new osg::ClipNode;
  osg::ref_ptr<ExposedBoxCutter> _cutter =
      new ExposedBoxCutter(osg::BoundingBoxf(5.0f, 10.0f, 20.0f, 7.0f, 14.0f, 26.0f), _clip);

  osg::AutoTransform& axesInPixels() { return childOf<osg::AutoTransform>(*_cutter->_axesTransform, 0); }
  osg::MatrixTransform& axisTransform(unsigned int number) {
    return childOf<osg::MatrixTransform>(axesInPixels(), number);
  }
  /// Holds head, pick volume and shaft.
  osg::Geode& axis(unsigned int number) { return childOf<osg::Geode>(axisTransform(number), 0); }

  osg::AutoTransform& rings() { return childOf<osg::AutoTransform>(*_cutter->_ringsTransform, 0); }
  osg::MatrixTransform& ringTransform(unsigned int number) { return childOf<osg::MatrixTransform>(rings(), number); }
  /// Holds pick tube, upper and lower pick band and the ring itself.
  osg::Geode& ring(unsigned int number) { return childOf<osg::Geode>(ringTransform(number), 0); }
  osg::Geometry& disc() {
    auto& facing = childOf<osg::AutoTransform>(*_cutter->_ringsTransform, 1);
    return childOf<osg::Geometry>(childOf<osg::Geode>(facing, 0), 0);
  }
};

inline void expectMatrixNear(const osg::Matrixd& actual, const osg::Matrixd& expected, double tolerance) {
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) {
      EXPECT_NEAR(actual(row, column), expected(row, column), tolerance) << row << ", " << column;
    }
  }
}

inline void expectOverallColor(const osg::Geometry& geometry, const osg::Vec4f& expected) {
  ASSERT_EQ(geometry.getColorBinding(), osg::Geometry::BIND_OVERALL);
  const auto& colors = dynamic_cast<const osg::Vec4Array&>(*geometry.getColorArray());
  ASSERT_EQ(colors.size(), 1U);
  EXPECT_EQ(colors[0], expected);
}

}  // namespace QuorTests
