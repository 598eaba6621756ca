#include "support/BoxCutterFixture.h"

#include <osg/MatrixTransform>

#include <gtest/gtest.h>

#include <cmath>

namespace QuorTests {
namespace {

class BoxCutterRingDrags : public BoxCutterFixture {
 protected:
  BoxCutterRingDrags() { _box->setType(Cutter::CUTTER_ROTATE, kAllAxes); }

  // In world units, at the corners of the box.
  static double tolerance(const RingOracle& ring, std::size_t steps) {
    return 1e-6 * ring.radius * static_cast<double>(steps);
  }

  // Presses the ring and moves along it through the positions, given as angles from its point of touch. They all stay
  // on one side of that point.
  void expectTurns(std::size_t axis, const std::vector<double>& places, bool farSide = false, double slack = 0.0) {
    SCOPED_TRACE(testing::Message() << "axis " << axis << " from " << places.front() << " to " << places.back());
    showOnly(Cutter::CUTTER_ROTATE, axis);
    RingOracle ring = ringOracle(axis);
    ring.farSide = farSide;
    const std::array<float, 6> extentsBefore = extents();
    const std::vector<osg::Vec3d> before = cornersInWorld();
    osg::Vec2d at = toWindow(ringInWorld(ring, places.front()));
    ASSERT_TRUE(push(at));
    double turned = 0.0;
    for (std::size_t i = 1; i < places.size(); ++i) {
      const osg::Vec2d next = toWindow(ringInWorld(ring, places[i])) + osg::Vec2d(1.0, 1.0);
      turned += ring.angle(sightLine(at), sightLine(next));
      at = next;
      EXPECT_TRUE(drag(at));
      expectCornersMoved(before, rotationAbout({ring.center, ring.axis}, turned), tolerance(ring, i) + slack);
      expectPlanesFitBox();
    }
    EXPECT_GT(turned * (places.back() - places.front()), 0.0);
    EXPECT_TRUE(release(at));
    expectCornersMoved(before, rotationAbout({ring.center, ring.axis}, turned), tolerance(ring, places.size()) + slack);
    EXPECT_EQ(extents(), extentsBefore);
  }
};

class BoxCutterRingDragsFrom : public BoxCutterRingDrags, public ::testing::WithParamInterface<Outlook> {
 protected:
  BoxCutterRingDragsFrom() { take(GetParam()); }
};

TEST_P(BoxCutterRingDragsFrom, theBoxTurnsAboutEachAxisWithThePointer) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    expectTurns(axis, {0.3, 0.5, 0.65, 0.9});
    expectTurns(axis, {0.8, 0.55, 0.35});
    expectTurns(axis, {-0.35, -0.6, -0.85});
    expectTurns(axis, {-0.9, -0.4});
  }
}

TEST_P(BoxCutterRingDragsFrom, aDragOutAndBackReturnsToTheStart) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    SCOPED_TRACE(axis);
    showOnly(Cutter::CUTTER_ROTATE, axis);
    const RingOracle ring = ringOracle(axis);
    const std::vector<osg::Vec3d> before = cornersInWorld();
    const osg::Vec2d from = toWindow(ringInWorld(ring, 0.4));
    ASSERT_TRUE(push(from));
    for (const double place : {0.6, 0.9, 0.5}) {
      EXPECT_TRUE(drag(toWindow(ringInWorld(ring, place))));
    }
    EXPECT_TRUE(drag(from));
    expectCornersMoved(before, osg::Matrixd(), tolerance(ring, 4));
    EXPECT_TRUE(release(from));
  }
}

INSTANTIATE_TEST_SUITE_P(Outlooks, BoxCutterRingDragsFrom, outlooks(), outlookName);

TEST_F(BoxCutterRingDrags, seenAlongItsAxisARingTurnsByTheAnglesBetweenThePlacesOfThePointer) {
  for (const bool isPerspective : {true, false}) {
    if (!isPerspective) {
      useOrthographic();
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
      lookAtBoxFrom(axisInWorld(axis) * 20.0 + osg::Vec3d(3.0, 3.5, 2.5));
      ASSERT_TRUE(ringOracle(axis).isSeenAlongAxis());
      expectTurns(axis, {0.2, 0.9, 1.8, 2.9, 4.0});
      expectTurns(axis, {2.5, 1.0, -0.5});
    }
  }
}

TEST_F(BoxCutterRingDrags, seenFromTheSideARingIsPulledAcrossItsAxis) {
  for (const bool isPerspective : {true, false}) {
    if (!isPerspective) {
      useOrthographic();
    }
    lookAtBoxFrom(osg::Vec3d(8.0, -20.0, 3.0));
    ASSERT_FALSE(ringOracle(2).isSeenAlongAxis());
    expectTurns(2, {0.1, 0.5, 1.0});
    expectTurns(2, {-0.9, -0.1});
  }
}

TEST_F(BoxCutterRingDrags, aRingTakenAtItsFarSideIsPulledTheOtherWayRound) {
  useOrthographic();
  lookAtBoxFrom(osg::Vec3d(8.0, -20.0, 17.0));
  ASSERT_FALSE(ringOracle(2).isSeenAlongAxis());
  expectTurns(2, {1.2, 1.3, 1.4}, true);
  expectTurns(2, {-1.2, -1.35, -1.25}, true);
}

// If one step crosses the line of touch, OSG treats all of it as a pull towards the farther end.
TEST_F(BoxCutterRingDrags, aDragAcrossTheTangentLineIsOffByAtMostTwoSteps) {
  showOnly(Cutter::CUTTER_ROTATE, 2);
  const RingOracle ring = ringOracle(2);
  const std::vector<osg::Vec3d> before = cornersInWorld();
  const osg::Vec2d from = toWindow(ringInWorld(ring, -0.5));
  const osg::Vec2d to = toWindow(ringInWorld(ring, 0.5));
  constexpr int kSteps = 100;
  ASSERT_TRUE(push(from));
  for (int i = 1; i <= kSteps; ++i) {
    EXPECT_TRUE(drag(from + (to - from) * (static_cast<double>(i) / kSteps)));
  }
  const double turned = ring.angle(sightLine(from), sightLine(to));
  expectCornersMoved(before, rotationAbout({ring.center, ring.axis}, turned), ring.radius * 2.5 * turned / kSteps);
}

TEST_F(BoxCutterRingDrags, twoTurnsAddUp) {
  expectTurns(2, {0.3, 0.6, 0.9});
  expectTurns(2, {0.3, 0.6, 0.9});
  expectTurns(0, {-0.3, -0.8});
}

TEST_F(BoxCutterRingDrags, withAllRingsShownEachCanBeGrabbed) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const RingOracle ring = ringOracle(axis);
    EXPECT_TRUE(push(toWindow(ringInWorld(ring, 0.35))));
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(ringLineWidth(i), i == axis ? 8.0f : 5.0f);
    }
    EXPECT_TRUE(release(osg::Vec2d()));
  }
}

TEST_F(BoxCutterRingDrags, aDragGoesOnOutsideTheWindowAndMayEndThere) {
  showOnly(Cutter::CUTTER_ROTATE, 2);
  const RingOracle ring = ringOracle(2);
  const std::vector<osg::Vec3d> before = cornersInWorld();
  const osg::Vec2d from = toWindow(ringInWorld(ring, 0.3));
  const osg::Vec2d outside(kWidth + 100.0, 200.0);
  const double turned = ring.angle(sightLine(from), sightLine(outside));
  dragFromTo(from, outside);
  expectCornersMoved(before, rotationAbout({ring.center, ring.axis}, turned), tolerance(ring, 1));
  EXPECT_FALSE(drag(from));
}

TEST_F(BoxCutterRingDrags, belowATransformOfTheApplicationTheBoxRotatesInTheWorld) {
  putBelowApplicationTransform();
  for (std::size_t axis = 0; axis < 3; ++axis) {
    expectTurns(axis, {0.3, 0.55, 0.8});
  }
}

TEST_F(BoxCutterRingDrags, atTheCoordinatesOfASurveyTheBoxTurnsToAMillimetre) {
  forEachProjectionInASurvey([this] {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      expectTurns(axis, {0.3, 0.55, 0.8}, false, 1e-3);
    }
  });
}

TEST_F(BoxCutterRingDrags, belowAnotherCameraThePointerIsProjectedByThatCamera) {
  forEachProjectionBelowACamera([this] {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      expectTurns(axis, {0.3, 0.55, 0.8});
    }
  });
}

TEST_F(BoxCutterRingDrags, theLineIsThickerWhileDraggedAndAllEventsButTheReleaseRequestARedraw) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    showOnly(Cutter::CUTTER_ROTATE, axis);
    const osg::Vec2d from = toWindow(ringInWorld(ringOracle(axis), 0.4));
    _viewer->redraws = 0;
    EXPECT_EQ(ringLineWidth(axis), 5.0f);
    ASSERT_TRUE(push(from));
    EXPECT_EQ(ringLineWidth(axis), 8.0f);
    EXPECT_EQ(_viewer->redraws, 1);
    EXPECT_TRUE(drag(from + osg::Vec2d(2.0, 0.0)));
    EXPECT_EQ(ringLineWidth(axis), 8.0f);
    EXPECT_EQ(_viewer->redraws, 2);
    EXPECT_TRUE(release(from));
    EXPECT_EQ(ringLineWidth(axis), 5.0f);
    EXPECT_EQ(_viewer->redraws, 2);
  }
}

// The disc is between the eye and the far half of the rings, and only the nearest hit counts.
TEST_F(BoxCutterRingDrags, theDiscAndTheRingPartsBehindItIgnorePresses) {
  showOnly(Cutter::CUTTER_ROTATE, 2);
  RingOracle ring = ringOracle(2);
  ring.farSide = true;
  EXPECT_FALSE(push(toWindow(centerInWorld())));
  EXPECT_FALSE(push(toWindow(ringInWorld(ring, 0.1))));
  EXPECT_FALSE(_box->_draggerActive);
}

TEST_F(BoxCutterRingDrags, aMoveToNanRotatesNothing) {
  showOnly(Cutter::CUTTER_ROTATE, 2);
  ASSERT_TRUE(push(toWindow(ringInWorld(ringOracle(2), 0.4))));
  const int redraws = _viewer->redraws;
  EXPECT_TRUE(drag(osg::Vec2d(std::nan(""), 10.0)));
  EXPECT_EQ(_viewer->redraws, redraws);
  EXPECT_EQ(_box->getMatrix(), osg::Matrixd());
}

// OSG divides by one plus the ring's centre along the direction to the eye, which is zero from this side.
TEST_F(BoxCutterRingDrags, aPressThatCannotBeProjectedIsHandledButStartsNoDrag) {
  const osg::Vec3d direction(0.0, -1.0, 0.0);
  ASSERT_EQ(centerInWorld() * direction, -1.0);
  lookAtBoxFrom(direction);
  showOnly(Cutter::CUTTER_ROTATE, 2);
  const osg::Vec2d from = toWindow(ringInWorld(ringOracle(2), 0.3));
  EXPECT_TRUE(push(from));
  EXPECT_TRUE(_box->_draggerActive);
  EXPECT_EQ(ringLineWidth(2), 5.0f);
  EXPECT_TRUE(drag(from + osg::Vec2d(30.0, 0.0)));
  EXPECT_EQ(_viewer->redraws, 0);
  EXPECT_EQ(_box->getMatrix(), osg::Matrixd());
  EXPECT_EQ(planesInClipNode().size(), 0U);
  EXPECT_TRUE(release(from));
  expectIdle();
  EXPECT_EQ(_box->getMatrix(), osg::Matrixd());
}

// A START would have stored this matrix as the start of the moves.
TEST_F(BoxCutterRingDrags, aPressThatCannotBeProjectedSendsNoStart) {
  expectTurns(2, {0.3, 0.5});
  const osg::Matrixd elsewhere = osg::Matrixd::translate(100.0, 0.0, 0.0);
  _box->setMatrix(elsewhere);
  lookAtBoxFrom(osg::Vec3d(0.0, -1.0, 0.0));
  ASSERT_TRUE(push(toWindow(ringInWorld(ringOracle(2), 0.3))));
  ASSERT_EQ(ringLineWidth(2), 5.0f);
  osg::ref_ptr<osgManipulator::Rotate3DCommand> command = new osgManipulator::Rotate3DCommand;
  command->setStage(osgManipulator::MotionCommand::MOVE);
  command->accept(*_box->_transformCallback);
  EXPECT_LT(_box->getMatrix().getTrans().x(), 50.0);
}

TEST_F(BoxCutterRingDrags, theFirstRingOnThePathIsGrabbed) {
  for (std::size_t first = 0; first < 3; ++first) {
    for (std::size_t later = first + 1; later < 3; ++later) {
      QuorOsgUtils::BoxPointerInfo pointer;
      pointer.addIntersection({_box, _box->_rings[later].transform, _box->_rings[first].transform},
                              osg::Vec3d(1.1, 0.0, 0.0));
      pointer.setCamera(_camera);
      EXPECT_TRUE(handleAt(pointer, Event::PUSH, osg::Vec2d(420.0, 310.0)));
      for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(ringLineWidth(i), i == first ? 8.0f : 5.0f);
      }
      EXPECT_FALSE(handleAt(pointer, Event::MOVE, osg::Vec2d(420.0, 310.0)));
      EXPECT_TRUE(handleAt(pointer, Event::RELEASE, osg::Vec2d(420.0, 310.0)));
      EXPECT_EQ(ringLineWidth(first), 5.0f);
    }
  }
}

}  // namespace
}  // namespace QuorTests
