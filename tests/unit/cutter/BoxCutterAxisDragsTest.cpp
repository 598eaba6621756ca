#include "support/BoxCutterFixture.h"

#include <osg/MatrixTransform>

#include <gtest/gtest.h>

#include <cmath>

namespace QuorTests {
namespace {

constexpr double kAxisTolerance = 1e-6;

class BoxCutterAxisDrags : public BoxCutterFixture {
 protected:
  BoxCutterAxisDrags() { _box->setType(Cutter::CUTTER_TRANSLATE, kAllAxes); }

  // The pixel at a distance along an axis from the press position on its shaft, slightly to the side.
  osg::Vec2d along(std::size_t axis, double distance) const {
    return toWindow(shaftInWorld(axis) + axisInWorld(axis) * distance) + osg::Vec2d(-3.0, 2.0);
  }

  // The motion of the box in the world for a drag of its axis.
  osg::Vec3d dragged(std::size_t axis, const osg::Vec2d& from, const osg::Vec2d& to) const {
    const Line line{centerInWorld(), axisInWorld(axis)};
    return line.direction * (nearestAlong(line, sightLine(to)) - nearestAlong(line, sightLine(from)));
  }

  void expectFollows(std::size_t axis, double distance, double tolerance = kAxisTolerance) {
    SCOPED_TRACE(testing::Message() << "axis " << axis << " by " << distance);
    showOnly(Cutter::CUTTER_TRANSLATE, axis);
    const std::array<float, 6> extentsBefore = extents();
    const std::vector<osg::Vec3d> before = cornersInWorld();
    const osg::Vec2d from = toWindow(shaftInWorld(axis));
    const osg::Vec2d to = along(axis, distance);
    const osg::Vec3d motion = dragged(axis, from, to);
    EXPECT_GT(motion * axisInWorld(axis) * distance, 0.0);
    dragFromTo(from, to);
    expectCornersMoved(before, osg::Matrixd::translate(motion), tolerance);
    expectPlanesFitBox();
    EXPECT_EQ(extents(), extentsBefore);
  }
};

class BoxCutterAxisDragsFrom : public BoxCutterAxisDrags, public ::testing::WithParamInterface<Outlook> {
 protected:
  BoxCutterAxisDragsFrom() { take(GetParam()); }
};

TEST_P(BoxCutterAxisDragsFrom, theBoxFollowsThePointerAlongEachAxis) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    expectFollows(axis, 2.0);
    expectFollows(axis, -1.25);
  }
}

TEST_P(BoxCutterAxisDragsFrom, aDragOutAndBackReturnsToTheStart) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    SCOPED_TRACE(axis);
    showOnly(Cutter::CUTTER_TRANSLATE, axis);
    const std::vector<osg::Vec3d> before = cornersInWorld();
    const osg::Vec2d from = toWindow(shaftInWorld(axis));
    ASSERT_TRUE(push(from));
    for (const double distance : {1.0, 3.0, -2.0}) {
      EXPECT_TRUE(drag(along(axis, distance)));
    }
    EXPECT_TRUE(drag(from));
    expectCornersMoved(before, osg::Matrixd(), 1e-9);
    EXPECT_TRUE(release(from));
    expectCornersMoved(before, osg::Matrixd(), 1e-9);
  }
}

INSTANTIATE_TEST_SUITE_P(Outlooks, BoxCutterAxisDragsFrom, outlooks(), outlookName);

TEST_F(BoxCutterAxisDrags, thePlanesMoveByExactlyTheDraggedDistanceAtEveryMove) {
  expectFollows(0, 0.5);
  const std::vector<osg::Plane> before = planesInClipNode();
  ASSERT_EQ(before.size(), 6U);
  const osg::Vec2d from = toWindow(shaftInWorld(0));
  const std::vector<osg::Vec2d> places = {along(0, 0.4), along(0, 2.0), along(0, -1.0)};
  std::vector<osg::Vec3d> motions;
  motions.reserve(places.size());
  for (const osg::Vec2d& place : places) {
    motions.push_back(dragged(0, from, place));
  }
  ASSERT_TRUE(push(from));
  for (std::size_t move = 0; move < places.size(); ++move) {
    EXPECT_TRUE(drag(places[move]));
    const std::vector<osg::Plane> now = planesInClipNode();
    ASSERT_EQ(now.size(), 6U);
    for (std::size_t i = 0; i < 6; ++i) {
      const osg::Vec3d normal(before[i][0], before[i][1], before[i][2]);
      const osg::Vec4d moved(0.0, 0.0, 0.0, -(normal * motions[move]));
      EXPECT_LT((now[i].asVec4() - before[i].asVec4() - moved).length(), kAxisTolerance);
    }
  }
}

TEST_F(BoxCutterAxisDrags, theArrowsHeadCanBeGrabbedToo) {
  constexpr double kMiddleOfTheHead = 1.02;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const std::vector<osg::Vec3d> before = cornersInWorld();
    const osg::Vec2d from = toWindow(shaftInWorld(axis, kMiddleOfTheHead));
    const osg::Vec2d to = along(axis, 4.0);
    const osg::Vec3d motion = dragged(axis, from, to);
    dragFromTo(from, to);
    expectCornersMoved(before, osg::Matrixd::translate(motion), kAxisTolerance);
  }
}

TEST_F(BoxCutterAxisDrags, twoDragsAddUp) {
  expectFollows(1, 1.5);
  expectFollows(1, 1.0);
  expectFollows(2, 1.0);
}

TEST_F(BoxCutterAxisDrags, aDragGoesOnOutsideTheWindowAndMayEndThere) {
  const std::vector<osg::Vec3d> before = cornersInWorld();
  const osg::Vec2d from = toWindow(shaftInWorld(0));
  const osg::Vec2d outside(-300.0, kHeight + 200.0);
  const osg::Vec3d motion = dragged(0, from, outside);
  dragFromTo(from, outside);
  expectCornersMoved(before, osg::Matrixd::translate(motion), 1e-5);
  EXPECT_FALSE(drag(from));
  expectCornersMoved(before, osg::Matrixd::translate(motion), 1e-5);
}

TEST_F(BoxCutterAxisDrags, belowATransformOfTheApplicationTheBoxFollowsInTheWorld) {
  putBelowApplicationTransform();
  for (std::size_t axis = 0; axis < 3; ++axis) {
    expectFollows(axis, 1.75);
  }
}

TEST_F(BoxCutterAxisDrags, atTheCoordinatesOfASurveyTheBoxFollowsToAMillimetre) {
  forEachProjectionInASurvey([this] {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      expectFollows(axis, 1.75, 1e-3);
    }
  });
}

TEST_F(BoxCutterAxisDrags, belowAnotherCameraThePointerIsProjectedByThatCamera) {
  forEachProjectionBelowACamera([this] {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      expectFollows(axis, 1.75);
    }
  });
}

TEST_F(BoxCutterAxisDrags, theLineIsThickerWhileDraggedAndAllEventsButTheReleaseRequestARedraw) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    showOnly(Cutter::CUTTER_TRANSLATE, axis);
    const osg::Vec2d from = toWindow(shaftInWorld(axis));
    _viewer->redraws = 0;
    EXPECT_EQ(axisLineWidth(axis), 4.0f);
    ASSERT_TRUE(push(from));
    EXPECT_EQ(axisLineWidth(axis), 8.0f);
    EXPECT_EQ(_viewer->redraws, 1);
    EXPECT_TRUE(drag(from + osg::Vec2d(5.0, 0.0)));
    EXPECT_EQ(axisLineWidth(axis), 8.0f);
    EXPECT_EQ(_viewer->redraws, 2);
    for (std::size_t other = 0; other < 3; ++other) {
      if (other != axis) {
        EXPECT_EQ(axisLineWidth(other), 4.0f);
      }
    }
    EXPECT_TRUE(release(from));
    EXPECT_EQ(axisLineWidth(axis), 4.0f);
    EXPECT_EQ(_viewer->redraws, 2);
  }
}

// Seen end on, the lines of sight run along the axis and never meet it.
TEST_F(BoxCutterAxisDrags, aPressThatCannotBeProjectedIsHandledButStartsNoDrag) {
  showOnly(Cutter::CUTTER_TRANSLATE, 2);
  useOrthographic(32.0);
  lookAt(osg::Vec3d(0.0, 0.0, 64.0), osg::Vec3d(), osg::Vec3d(0.0, 1.0, 0.0));
  const osg::Matrixd before = osg::Matrixd::translate(1.0, 2.0, 3.0);
  _box->setMatrix(before);
  const osg::Vec2d from = toWindow(centerInWorld()) + osg::Vec2d(3.0, 1.0);
  EXPECT_TRUE(push(from));
  EXPECT_TRUE(_box->_draggerActive);
  EXPECT_EQ(axisLineWidth(2), 4.0f);
  EXPECT_TRUE(drag(from + osg::Vec2d(30.0, 20.0)));
  EXPECT_EQ(_viewer->redraws, 0);
  EXPECT_EQ(_box->getMatrix(), before);
  EXPECT_EQ(planesInClipNode().size(), 0U);
  EXPECT_TRUE(release(from));
  EXPECT_EQ(_box->getMatrix(), before);
}

// A START would have stored this matrix as the start of the moves.
TEST_F(BoxCutterAxisDrags, aPressThatCannotBeProjectedSendsNoStart) {
  expectFollows(2, 1.0);
  const osg::Matrixd elsewhere = osg::Matrixd::translate(100.0, 0.0, 0.0);
  _box->setMatrix(elsewhere);
  useOrthographic(32.0);
  lookAt(osg::Vec3d(100.0, 0.0, 64.0), osg::Vec3d(100.0, 0.0, 0.0), osg::Vec3d(0.0, 1.0, 0.0));
  const osg::Vec2d from = toWindow(centerInWorld()) + osg::Vec2d(3.0, 1.0);
  ASSERT_TRUE(push(from));
  osg::ref_ptr<osgManipulator::TranslateInLineCommand> command =
      new osgManipulator::TranslateInLineCommand(osg::Vec3d(), osg::Vec3d(0.0, 0.0, 1.0));
  command->setStage(osgManipulator::MotionCommand::MOVE);
  command->accept(*_box->_transformCallback);
  EXPECT_LT(_box->getMatrix().getTrans().x(), 50.0);
}

TEST_F(BoxCutterAxisDrags, aMoveToNanMovesNothing) {
  ASSERT_TRUE(push(toWindow(shaftInWorld(0))));
  const int redraws = _viewer->redraws;
  EXPECT_TRUE(drag(osg::Vec2d(10.0, std::nan(""))));
  EXPECT_EQ(_viewer->redraws, redraws);
  EXPECT_EQ(_box->getMatrix(), osg::Matrixd());
}

TEST_F(BoxCutterAxisDrags, theFirstAxisOnThePathIsGrabbed) {
  for (std::size_t first = 0; first < 3; ++first) {
    for (std::size_t later = first + 1; later < 3; ++later) {
      QuorOsgUtils::BoxPointerInfo pointer;
      pointer.addIntersection({_box, _box->_axes[later].transform, _box->_axes[first].transform}, osg::Vec3d());
      pointer.setCamera(_camera);
      EXPECT_TRUE(handleAt(pointer, Event::PUSH, osg::Vec2d(420.0, 310.0)));
      for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(axisLineWidth(i), i == first ? 8.0f : 4.0f);
      }
      EXPECT_FALSE(handleAt(pointer, Event::MOVE, osg::Vec2d(420.0, 310.0)));
      EXPECT_TRUE(handleAt(pointer, Event::RELEASE, osg::Vec2d(420.0, 310.0)));
      EXPECT_EQ(axisLineWidth(first), 4.0f);
    }
  }
}

TEST_F(BoxCutterAxisDrags, aHandleOfAnotherModeOnThePathIsIgnored) {
  QuorOsgUtils::BoxPointerInfo pointer;
  pointer.addIntersection({_box, _box->_rings[0].transform, _box->_faces[0].transform}, osg::Vec3d());
  pointer.setCamera(_camera);
  EXPECT_FALSE(handleAt(pointer, Event::PUSH, osg::Vec2d(420.0, 310.0)));
}

}  // namespace
}  // namespace QuorTests
