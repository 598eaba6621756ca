#include "support/ExposedBoxCutter.h"

#include <utility>

namespace {

using namespace QuorTests;
using Cutter = QuorOsgUtils::BoxCutterDragger;

/// A box with every field changed from its default, and what a copy of it must show.
class BoxCutterCopyTest : public ExposedBoxTest {
 protected:
  BoxCutterCopyTest() {
    _cutter->setMatrix(osg::Matrixd::translate(1.0, 2.0, 3.0));
    _cutter->setType(Cutter::CUTTER_TRANSLATE, 2);
    _cutter->setHandleEvents(true);
    _cutter->applyClipPlane();
    _cutter->_draggerActive = true;
    _cutter->_minSize = 0.25f;
    _cutter->_startBox.set(1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f);
    _cutter->_highlightColor.set(0.1f, 0.2f, 0.3f, 0.4f);
    _cutter->setBoxColor(osg::Vec4f(0.2f, 0.2f, 0.2f, 1.0f));
    _cutter->setXColor(osg::Vec4f(0.3f, 0.3f, 0.3f, 1.0f));
    _cutter->setYColor(osg::Vec4f(0.4f, 0.4f, 0.4f, 1.0f));
    _cutter->setZColor(osg::Vec4f(0.5f, 0.5f, 0.5f, 1.0f));
    _cutter->_startProjectedPoint.set(1.0, 0.0, 0.0);
    _cutter->_prevWorldProjPt.set(0.0, 1.0, 0.0);
    _cutter->_prevRotation.set(1.0, 0.0, 0.0, 0.0);
    _cutter->_startLocalToWorld.makeTranslate(1.0, 1.0, 1.0);
    _cutter->_startWorldToLocal.makeTranslate(-1.0, -1.0, -1.0);
    _cutter->_intersectionMask = 0xffU;
    _cutter->_pointer._pixelSize = 0.125;
    _cutter->_pointer.addIntersection({_cutter.get()}, osg::Vec3d(1.0, 1.0, 1.0));
    _cutter->_screenScale = 200.0;
  }

  void expectSharedNodes(const ExposedBoxCutter& copy) const {
    const ExposedBoxCutter& source = *_cutter;
    ASSERT_EQ(copy.getNumChildren(), 5U);
    ASSERT_EQ(source.getNumChildren(), 5U);
    for (unsigned int i = 0; i < 5; ++i) {
      EXPECT_EQ(copy.getChild(i), source.getChild(i)) << i;
    }
    EXPECT_EQ(copy._topOutline, source._topOutline);
    EXPECT_EQ(copy._bottomOutline, source._bottomOutline);
    EXPECT_EQ(copy._verticalEdges, source._verticalEdges);
    EXPECT_EQ(copy._scaleSwitch, source._scaleSwitch);
    EXPECT_EQ(copy._boxCenter, source._boxCenter);
    EXPECT_EQ(copy._translateSwitch, source._translateSwitch);
    EXPECT_EQ(copy._axesTransform, source._axesTransform);
    EXPECT_EQ(copy._rotateSwitch, source._rotateSwitch);
    EXPECT_EQ(copy._ringsTransform, source._ringsTransform);
  }

  void expectSharedHandlesAndTools(const ExposedBoxCutter& copy) const {
    const ExposedBoxCutter& source = *_cutter;
    for (std::size_t i = 0; i < 6; ++i) {
      EXPECT_EQ(copy._faces[i].transform, source._faces[i].transform);
      EXPECT_EQ(copy._faces[i].orientation, source._faces[i].orientation);
      EXPECT_EQ(copy._faces[i].cone, source._faces[i].cone);
    }
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(copy._axes[i].transform, source._axes[i].transform);
      EXPECT_EQ(copy._axes[i].head, source._axes[i].head);
      EXPECT_EQ(copy._axes[i].shaft, source._axes[i].shaft);
      EXPECT_EQ(copy._rings[i].transform, source._rings[i].transform);
      EXPECT_EQ(copy._rings[i].ring, source._rings[i].ring);
    }
    EXPECT_EQ(copy._xProjector, source._xProjector);
    EXPECT_EQ(copy._yProjector, source._yProjector);
    EXPECT_EQ(copy._zProjector, source._zProjector);
    EXPECT_EQ(copy._lineProjector, source._lineProjector);
    EXPECT_EQ(copy._cylinderProjector, source._cylinderProjector);
    EXPECT_EQ(copy._transformCallback, source._transformCallback);
    EXPECT_EQ(copy._clipNode, source._clipNode);
  }

  void expectValues(const ExposedBoxCutter& copy) const {
    EXPECT_EQ(copy.getMatrix(), osg::Matrixd::translate(1.0, 2.0, 3.0));
    EXPECT_TRUE(copy._draggerActive);
    EXPECT_TRUE(copy._handleEvents);
    EXPECT_EQ(copy._type, Cutter::CUTTER_TRANSLATE);
    EXPECT_EQ(copy._minSize, 0.25f);
    EXPECT_EQ(copy._box, osg::BoundingBoxf(5.0f, 10.0f, 20.0f, 7.0f, 14.0f, 26.0f));
    EXPECT_EQ(copy._startBox, osg::BoundingBoxf(1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f));
    EXPECT_EQ(copy._highlightColor, osg::Vec4f(0.1f, 0.2f, 0.3f, 0.4f));
    EXPECT_EQ(copy._boxColor, osg::Vec4f(0.2f, 0.2f, 0.2f, 1.0f));
    EXPECT_EQ(copy._xColor, osg::Vec4f(0.3f, 0.3f, 0.3f, 1.0f));
    EXPECT_EQ(copy._yColor, osg::Vec4f(0.4f, 0.4f, 0.4f, 1.0f));
    EXPECT_EQ(copy._zColor, osg::Vec4f(0.5f, 0.5f, 0.5f, 1.0f));
    EXPECT_EQ(copy._startProjectedPoint, osg::Vec3d(1.0, 0.0, 0.0));
    EXPECT_EQ(copy._prevWorldProjPt, osg::Vec3d(0.0, 1.0, 0.0));
    EXPECT_EQ(copy._prevRotation, osg::Quat(1.0, 0.0, 0.0, 0.0));
    EXPECT_EQ(copy._startLocalToWorld, osg::Matrixd::translate(1.0, 1.0, 1.0));
    EXPECT_EQ(copy._startWorldToLocal, osg::Matrixd::translate(-1.0, -1.0, -1.0));
    EXPECT_EQ(copy._intersectionMask, 0xffU);
    EXPECT_EQ(copy._pointer._pixelSize, 0.125);
    ASSERT_EQ(copy._pointer._hitList.size(), 1U);
    EXPECT_EQ(&*copy._pointer._hitIter, &copy._pointer._hitList.front());
    EXPECT_EQ(copy._clipPlanes.size(), 6U);
    EXPECT_EQ(copy._screenScale, 200.0);
  }
};

TEST_F(BoxCutterCopyTest, aCopyHasTheSameChildrenAndHandlesAndEveryValue) {
  const osg::ref_ptr<ExposedBoxCutter> copy = new ExposedBoxCutter(*_cutter);
  expectSharedNodes(*copy);
  expectSharedHandlesAndTools(*copy);
  expectValues(*copy);
  EXPECT_EQ(copy->getAllClipPlane(), _cutter->getAllClipPlane());
  EXPECT_EQ(copy->getStateSet(), _cutter->getStateSet());
}

TEST_F(BoxCutterCopyTest, aCopyHasABoxAndAMatrixOfItsOwn) {
  const osg::ref_ptr<ExposedBoxCutter> copy = new ExposedBoxCutter(*_cutter);
  copy->_box.set(0.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f);
  copy->setMatrix(osg::Matrixd());
  expectValues(*_cutter);
}

TEST_F(BoxCutterCopyTest, motionsOfACopyMoveItsSource) {
  const osg::ref_ptr<ExposedBoxCutter> copy = new ExposedBoxCutter(*_cutter);
  EXPECT_EQ(copy->_transformCallback->getTransform(), _cutter.get());
}

TEST_F(BoxCutterCopyTest, movingTakesTheFieldsOverAndLeavesASourceThatStillWorks) {
  const osg::ref_ptr<ExposedBoxCutter> moved = new ExposedBoxCutter(std::move(*_cutter));
  expectValues(*moved);
  expectSharedNodes(*moved);
  EXPECT_NE(moved->_clipNode, nullptr);
  EXPECT_NE(moved->_transformCallback, nullptr);
  _cutter->setType(Cutter::CUTTER_ROTATE, 7);
  _cutter->setXColor(osg::Vec4f(1.0f, 1.0f, 1.0f, 1.0f));
  _cutter->applyClipPlane();
  EXPECT_EQ(_cutter->getAllClipPlane().size(), 6U);
}

}  // namespace
