#include "support/BoxCutterFixture.h"

#include <osg/MatrixTransform>

#include <gtest/gtest.h>

#include <vector>

namespace QuorTests {
namespace {

// What an application may do or omit without harm.
class BoxCutterMishaps : public BoxCutterFixture {
 protected:
  struct Mode {
    Cutter::CutterType type;
    osg::Vec2d at;
  };

  // Each mode with a press position on its handle.
  std::vector<Mode> modes() {
    return {{Cutter::CUTTER_SCALE, toWindow(faceInWorld(kRightFace))},
            {Cutter::CUTTER_TRANSLATE, toWindow(shaftInWorld(0))},
            {Cutter::CUTTER_ROTATE, toWindow(ringInWorld(ringOracle(0), 0.4))}};
  }

  void begin(const Mode& mode) {
    _box->setMatrix(osg::Matrixd());
    showOnly(mode.type, 0);
    ASSERT_TRUE(push(mode.at));
  }

  void expectDragGoesOnAndEnds(const Mode& mode) {
    const std::vector<osg::Vec3d> before = cornersInWorld();
    EXPECT_TRUE(send(*makeEvent(Event::DRAG, 0, kLeft, mode.at + osg::Vec2d(12.0, 9.0))));
    EXPECT_NE(cornersInWorld(), before);
    expectAllFinite();
    EXPECT_TRUE(send(*makeEvent(Event::RELEASE, kLeft, 0, mode.at)));
    expectIdle();
  }
};

TEST_F(BoxCutterMishaps, aBoxRemovedFromTheSceneDuringADragFollowsUntilTheRelease) {
  for (const Mode& mode : modes()) {
    SCOPED_TRACE(mode.type);
    begin(mode);
    _scene->removeChild(_box);
    ASSERT_EQ(_box->getNumParents(), 0U);
    expectDragGoesOnAndEnds(mode);
    EXPECT_FALSE(send(*makeEvent(Event::PUSH, kLeft, kLeft, mode.at)));
    _scene->addChild(_box);
  }
}

TEST_F(BoxCutterMishaps, aDragContinuesAfterItsParentsAreDestroyed) {
  for (const Mode& mode : modes()) {
    SCOPED_TRACE(mode.type);
    _scene->removeChild(_box);
    osg::ref_ptr<osg::MatrixTransform> parent = new osg::MatrixTransform;
    osg::ref_ptr<osg::Group> grandparent = new osg::Group;
    parent->addChild(_box);
    grandparent->addChild(parent);
    _scene->addChild(grandparent);
    begin(mode);
    _scene->removeChild(grandparent);
    grandparent = nullptr;
    parent = nullptr;
    expectDragGoesOnAndEnds(mode);
    _scene->addChild(_box);
  }
}

TEST_F(BoxCutterMishaps, aHandleTakenOutOfTheBoxDuringItsDragDoesNoHarm) {
  for (const Mode& mode : modes()) {
    begin(mode);
    _box->setType(mode.type, 0);
    expectDragGoesOnAndEnds(mode);
  }
}

TEST_F(BoxCutterMishaps, aBoxWithoutAParentIgnoresPresses) {
  const std::vector<Mode> all = modes();
  _scene->removeChild(_box);
  for (const Mode& mode : all) {
    showOnly(mode.type, 0);
    EXPECT_FALSE(push(mode.at));
    EXPECT_FALSE(drag(mode.at));
    EXPECT_FALSE(release(mode.at));
  }
}

TEST_F(BoxCutterMishaps, noHandleAcceptsAPointerWithoutHits) {
  for (const int type : {0, 1, 2, 3}) {
    _box->setType(static_cast<Cutter::CutterType>(type), kAllAxes);
    _box->_draggerActive = true;
    QuorOsgUtils::BoxPointerInfo pointer;
    for (const Event::EventType event : {Event::PUSH, Event::DRAG, Event::RELEASE}) {
      EXPECT_FALSE(handleAt(pointer, event, osg::Vec2d(400.0, 300.0)));
    }
  }
}

TEST_F(BoxCutterMishaps, withoutAClipNodeEveryHandleStillWorks) {
  const std::vector<Mode> all = modes();
  _scene->removeChild(_box);
  _box = new ExposedBoxCutter(osg::BoundingBoxf(-1.0f, -2.0f, -0.5f, 3.0f, 4.0f, 5.0f), nullptr);
  _scene->addChild(_box);
  for (const Mode& mode : all) {
    begin(mode);
    expectDragGoesOnAndEnds(mode);
  }
  EXPECT_TRUE(_box->getAllClipPlane().empty());
}

TEST_F(BoxCutterMishaps, withoutAViewportADragEndsAndTheBoxStaysFiniteAndUsable) {
  for (const Mode& mode : modes()) {
    _box->setMatrix(osg::Matrixd());
    showOnly(mode.type, 0);
    settleHandles();
    viewCamera().setViewport(nullptr);
    EXPECT_TRUE(send(*makeEvent(Event::PUSH, kLeft, kLeft, mode.at)));
    EXPECT_TRUE(send(*makeEvent(Event::DRAG, 0, kLeft, mode.at + osg::Vec2d(9.0, 9.0))));
    EXPECT_TRUE(send(*makeEvent(Event::RELEASE, kLeft, 0, mode.at)));
    expectAllFinite();
    expectIdle();
    EXPECT_EQ(_box->_pointer._pixelSize, 1.0);
    viewCamera().setViewport(0, 0, kWidth, kHeight);
    begin(mode);
    expectDragGoesOnAndEnds(mode);
  }
}

TEST_F(BoxCutterMishaps, withoutAViewportTheScreenScaleStays) {
  _box->_screenScale = 77.0;
  viewCamera().setViewport(nullptr);
  EXPECT_FALSE(send(*makeEvent(Event::MOVE, 0, 0, osg::Vec2d())));
  EXPECT_EQ(_box->_screenScale, 77.0);
}

// The camera's matrices are taken at the press; with singular ones a drag leaves all numbers finite.
TEST_F(BoxCutterMishaps, aCameraWithoutAnInverseLeavesTheBoxFinite) {
  const osg::Matrixd nothing(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
  for (const Mode& mode : modes()) {
    SCOPED_TRACE(mode.type);
    osg::NodePath path = {_box, _box->_faces[kRightFace].transform, _box->_axes[0].transform,
                          _box->_rings[0].transform};
    _box->setType(mode.type, kAllAxes);
    osg::ref_ptr<osg::Camera> broken = new osg::Camera;
    broken->setViewport(0, 0, kWidth, kHeight);
    for (const bool isView : {false, true}) {
      broken->setProjectionMatrix(isView ? osg::Matrixd() : nothing);
      broken->setViewMatrix(isView ? nothing : osg::Matrixd());
      QuorOsgUtils::BoxPointerInfo pointer;
      pointer.addIntersection(path, osg::Vec3d(1.1, 0.0, 0.0));
      pointer.setCamera(broken);
      EXPECT_TRUE(handleAt(pointer, Event::PUSH, mode.at));
      _box->_draggerActive = true;
      EXPECT_TRUE(handleAt(pointer, Event::DRAG, mode.at + osg::Vec2d(9.0, 5.0)));
      EXPECT_TRUE(handleAt(pointer, Event::RELEASE, mode.at));
      expectAllFinite();
    }
  }
}

// Seen through a projection of zeros, a pick hits what is around the origin in the scene's own units.
TEST_F(BoxCutterMishaps, aPressThroughAProjectionOfZerosLeavesTheBoxFinite) {
  const osg::Matrixd nothing(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
  for (const Mode& mode : modes()) {
    showOnly(mode.type, 0);
    settleHandles();
    const osg::Matrixd projection = viewCamera().getProjectionMatrix();
    viewCamera().setProjectionMatrix(nothing);
    for (int x = 0; x <= kWidth; x += 20) {
      send(*makeEvent(Event::PUSH, kLeft, kLeft, osg::Vec2d(x, 310.0)));
      send(*makeEvent(Event::DRAG, 0, kLeft, osg::Vec2d(x + 9.0, 330.0)));
      send(*makeEvent(Event::RELEASE, kLeft, 0, osg::Vec2d(x, 310.0)));
      expectAllFinite();
    }
    viewCamera().setProjectionMatrix(projection);
  }
}

TEST_F(BoxCutterMishaps, aPressWithoutACameraIsLeftToOthers) {
  const osg::ref_ptr<Event> event = makeEvent(Event::PUSH, kLeft, kLeft, cone());
  settleHandles();
  osg::ref_ptr<Event> bare = new Event(*event);
  bare->setPointerDataList(osgGA::GUIEventAdapter::PointerDataList());
  EXPECT_FALSE(send(*bare));
  expectIdle();
}

}  // namespace
}  // namespace QuorTests
