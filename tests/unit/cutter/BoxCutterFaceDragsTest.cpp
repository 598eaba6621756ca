#include "support/BoxCutterFixture.h"

#include <osg/MatrixTransform>
#include <osgManipulator/Projector>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>

namespace QuorTests {
namespace {

// Extents have single precision.
constexpr double kFaceTolerance = 2e-5;

class BoxCutterFaceDrags : public BoxCutterFixture {
 protected:
  static constexpr std::size_t kBottomFace = 4;
  static constexpr std::size_t kTopFace = 5;

  // The pixel at a distance outwards from a face's centre, slightly to the side.
  osg::Vec2d outOf(std::size_t face, double distance) const {
    const Line line = outwards(face);
    return toWindow(line.point + line.direction * distance) + osg::Vec2d(3.0, -2.0);
  }

  // The pointer's distance along the face's outward line, in world units.
  double draggedOutwards(std::size_t face, const osg::Vec2d& from, const osg::Vec2d& to) const {
    return nearestAlong(outwards(face), sightLine(to)) - nearestAlong(outwards(face), sightLine(from));
  }

  static double grown(std::size_t face, const std::array<float, 6>& before, double outwards) {
    return before[face] + (kFaceNames[face].upper ? outwards : -outwards);
  }

  void expectOnlyChanged(std::size_t face, const std::array<float, 6>& before, double expected,
                         double tolerance = kFaceTolerance) const {
    const std::array<float, 6> now = extents();
    std::array<float, 6> unchanged = before;
    unchanged[face] = now[face];
    EXPECT_EQ(now, unchanged);
    EXPECT_NEAR(now[face], expected, tolerance);
  }

  void expectFollows(std::size_t face, double distance, double tolerance = kFaceTolerance) {
    SCOPED_TRACE(testing::Message() << kFaceNames[face].text << " by " << distance);
    const std::array<float, 6> before = extents();
    const osg::Vec2d from = toWindow(faceInWorld(face));
    const osg::Vec2d to = outOf(face, distance);
    const double dragged = draggedOutwards(face, from, to);
    EXPECT_GT(dragged * distance, 0.0);
    dragFromTo(from, to);
    expectOnlyChanged(face, before, grown(face, before, dragged), tolerance);
    expectPlanesFitBox();
  }
};

class BoxCutterFaceDragsFrom : public BoxCutterFaceDrags, public ::testing::WithParamInterface<Outlook> {
 protected:
  BoxCutterFaceDragsFrom() { take(GetParam()); }
};

TEST_P(BoxCutterFaceDragsFrom, eachFaceFollowsThePointerByTheWorldDistance) {
  for (std::size_t face = 0; face < 6; ++face) {
    expectFollows(face, 1.25);
    expectFollows(face, -0.75);
  }
}

TEST_P(BoxCutterFaceDragsFrom, aFaceDraggedPastTheOppositeOneStopsAtHalfAUnitAndComesBackExactly) {
  for (std::size_t face = 0; face < 6; ++face) {
    SCOPED_TRACE(kFaceNames[face].text);
    const std::array<float, 6> before = extents();
    const osg::Vec2d from = toWindow(faceInWorld(face));
    const osg::Vec2d beyond = outOf(face, -7.0);
    ASSERT_TRUE(push(from));
    EXPECT_TRUE(drag(beyond));
    expectOnlyChanged(face, before, before[face ^ 1U] + (kFaceNames[face].upper ? 0.5 : -0.5));
    EXPECT_EQ(std::abs(extents()[face] - extents()[face ^ 1U]), 0.5f);
    expectPlanesFitBox();
    EXPECT_TRUE(drag(from));
    EXPECT_EQ(extents(), before);
    expectPlanesFitBox();
    EXPECT_TRUE(release(from));
    EXPECT_EQ(extents(), before);
  }
}

INSTANTIATE_TEST_SUITE_P(Outlooks, BoxCutterFaceDragsFrom, outlooks(), outlookName);

TEST_F(BoxCutterFaceDrags, aSubclassMayAllowAThinnerBox) {
  _box->_minSize = 0.05f;
  const float left = extents()[kRightFace ^ 1U];
  ASSERT_TRUE(push(toWindow(faceInWorld(kRightFace))));
  EXPECT_TRUE(drag(outOf(kRightFace, -7.0)));
  EXPECT_EQ(extents()[kRightFace], left + 0.05f);
  expectPlanesFitBox();
}

TEST_F(BoxCutterFaceDrags, thePlanesFollowAtEveryMoveAndTheOffsetsDoNotAddUp) {
  const std::array<float, 6> before = extents();
  const osg::Vec2d from = toWindow(faceInWorld(kRightFace));
  ASSERT_TRUE(push(from));
  for (const double step : {20.0, 45.0, 30.0, -12.0, 60.0}) {
    const osg::Vec2d to = from + osg::Vec2d(step, 0.5 * step);
    // The line through the face's middle is the same wherever the face stands on it.
    const double dragged = draggedOutwards(kRightFace, from, to);
    EXPECT_TRUE(drag(to));
    expectOnlyChanged(kRightFace, before, before[kRightFace] + dragged);
    expectPlanesFitBox();
  }
}

TEST_F(BoxCutterFaceDrags, aFacesDragMovesItsPlaneByTheDistanceAndNoOther) {
  dragFromTo(toWindow(faceInWorld(kTopFace)), outOf(kTopFace, 0.5));
  const std::vector<osg::Plane> before = planesInClipNode();
  const osg::Vec2d from = toWindow(faceInWorld(kTopFace));
  const osg::Vec2d to = outOf(kTopFace, 1.0);
  const double dragged = draggedOutwards(kTopFace, from, to);
  dragFromTo(from, to);
  const std::vector<osg::Plane> after = planesInClipNode();
  ASSERT_EQ(before.size(), 6U);
  ASSERT_EQ(after.size(), 6U);
  constexpr std::size_t kTopPlane = 4;
  for (std::size_t i = 0; i < 6; ++i) {
    const double moved = i == kTopPlane ? dragged : 0.0;
    EXPECT_LT((after[i].asVec4() - before[i].asVec4() - osg::Vec4d(0.0, 0.0, 0.0, moved)).length(), kFaceTolerance)
        << i;
  }
}

TEST_F(BoxCutterFaceDrags, twoDragsOfOneFaceAddUp) {
  expectFollows(kRightFace, 0.8);
  expectFollows(kRightFace, 0.6);
  EXPECT_GT(extents()[kRightFace], 4.2f);
}

TEST_F(BoxCutterFaceDrags, aDragGoesOnOutsideTheWindowAndMayEndThere) {
  const std::array<float, 6> before = extents();
  const osg::Vec2d from = toWindow(faceInWorld(kRightFace));
  const osg::Vec2d outside(kWidth + 250.0, -120.0);
  const double dragged = draggedOutwards(kRightFace, from, outside);
  EXPECT_GT(dragged, 10.0);
  dragFromTo(from, outside);
  expectOnlyChanged(kRightFace, before, before[kRightFace] + dragged);
  EXPECT_FALSE(drag(from));
}

TEST_F(BoxCutterFaceDrags, belowATransformOfTheApplicationTheFacesFollowInTheWorld) {
  putBelowApplicationTransform();
  for (std::size_t face = 0; face < 6; ++face) {
    expectFollows(face, 0.75);
  }
}

TEST_F(BoxCutterFaceDrags, atTheCoordinatesOfASurveyTheFacesFollowToAMillimetre) {
  forEachProjectionInASurvey([this] {
    for (std::size_t face = 0; face < 6; ++face) {
      expectFollows(face, 0.75, 1e-3);
    }
  });
}

TEST_F(BoxCutterFaceDrags, belowAnotherCameraThePointerIsProjectedByThatCamera) {
  forEachProjectionBelowACamera([this] {
    for (std::size_t face = 0; face < 6; ++face) {
      expectFollows(face, 0.75);
    }
  });
}

// The distance is in world units, the extents in the node's own.
TEST_F(BoxCutterFaceDrags, theFacesOfAScaledNodeMoveByTheWorldDistanceInItsOwnUnits) {
  _box->setMatrix(osg::Matrixd::scale(2.0, 2.0, 2.0));
  lookAtBoxFrom(osg::Vec3d(8.0, -20.0, 9.0), 40.0);
  const std::array<float, 6> before = extents();
  const osg::Vec2d from = toWindow(faceInWorld(kRightFace));
  const osg::Vec2d to = outOf(kRightFace, 3.0);
  const double dragged = draggedOutwards(kRightFace, from, to);
  dragFromTo(from, to);
  expectOnlyChanged(kRightFace, before, before[kRightFace] + dragged);
}

TEST_F(BoxCutterFaceDrags, theTopFaceGoesByTheBottomConesAxis) {
  _box->_faces[kTopFace].orientation->setMatrix(osg::Matrixd::rotate(1.0, osg::Vec3d(1.0, 0.0, 0.0)));
  expectFollows(kTopFace, 0.9);
  _box->_faces[kBottomFace].orientation->setMatrix(osg::Matrixd());
  const float before = extents()[kTopFace];
  dragFromTo(toWindow(faceInWorld(kTopFace)), outOf(kTopFace, 0.9));
  EXPECT_LT(extents()[kTopFace], before);
}

// The projector is replaced, because a real one rounds, and then z is not exactly 0.
TEST_F(BoxCutterFaceDrags, aDragAcrossTheAxisAddsTheDistanceForTheBackFaceAndSubtractsItForTheOthers) {
  struct GivenPoint : osgManipulator::LineProjector {
    bool project(const osgManipulator::PointerInfo& /*pointer*/, osg::Vec3d& projected) const override {
      projected = point;
      return true;
    }
    osg::Vec3d point;
  };
  constexpr double kDistance = 0.75;
  const osg::ref_ptr<GivenPoint> projector = new GivenPoint;
  _box->_lineProjector = projector;
  for (std::size_t face = 0; face < 6; ++face) {
    for (const double direction : {1.0, -1.0}) {
      const std::string name = kFaceNames[face].text;
      SCOPED_TRACE(testing::Message() << name << ", direction " << direction);
      const std::array<float, 6> before = extents();
      const osg::Vec2d from = toWindow(faceInWorld(face));
      projector->point = osg::Vec3d(2.0, 0.0, 3.0);
      ASSERT_TRUE(push(from));
      const osg::Matrixd& toWorld = projector->getLocalToWorld();
      const double scale = (osg::Vec3d(1.0, 0.0, 0.0) * toWorld - osg::Vec3d() * toWorld).length();
      projector->point.x() += direction * kDistance / scale;
      EXPECT_TRUE(drag(from));
      expectOnlyChanged(face, before, before[face] + (name == "back" ? kDistance : -kDistance));
      projector->point.x() = 2.0;
      EXPECT_TRUE(drag(from));
      EXPECT_TRUE(release(from));
      EXPECT_EQ(extents(), before);
    }
  }
}

TEST_F(BoxCutterFaceDrags, onlyAMoveRequestsARedraw) {
  const osg::Vec2d from = toWindow(faceInWorld(kRightFace));
  ASSERT_TRUE(push(from));
  EXPECT_EQ(_viewer->redraws, 0);
  EXPECT_TRUE(drag(from + osg::Vec2d(5.0, 0.0)));
  EXPECT_EQ(_viewer->redraws, 1);
  EXPECT_TRUE(drag(from));
  EXPECT_EQ(_viewer->redraws, 2);
  EXPECT_TRUE(release(from));
  EXPECT_EQ(_viewer->redraws, 2);
}

// Lines of sight that run exactly along the projector's line meet it nowhere.
TEST_F(BoxCutterFaceDrags, aFaceWhoseLineIsSeenEndOnStaysAndRequestsARedraw) {
  _box->_faces[kBottomFace].orientation->setMatrix(osg::Matrixd());
  useOrthographic(32.0);
  lookAt(osg::Vec3d(0.0, 0.0, 64.0), osg::Vec3d(), osg::Vec3d(0.0, 1.0, 0.0));
  const std::array<float, 6> before = extents();
  const osg::Vec2d from = toWindow(faceInWorld(kTopFace)) + osg::Vec2d(2.0, 1.0);
  ASSERT_TRUE(push(from));
  EXPECT_TRUE(drag(from + osg::Vec2d(40.0, 30.0)));
  EXPECT_EQ(_viewer->redraws, 1);
  EXPECT_EQ(extents(), before);
  EXPECT_TRUE(release(from));
  EXPECT_EQ(extents(), before);
}

// The cone's axis is rotated by a rounded angle, so seen from above it is not quite parallel to the lines of sight, and
// a small move of the pointer is a long one along it.
TEST_F(BoxCutterFaceDrags, aFaceSeenFromStraightAheadKeepsTheBoxFiniteAndWide) {
  useOrthographic(32.0);
  lookAt(osg::Vec3d(0.0, 0.0, 64.0), osg::Vec3d(), osg::Vec3d(0.0, 1.0, 0.0));
  const osg::Vec2d from = toWindow(faceInWorld(kTopFace)) + osg::Vec2d(2.0, 1.0);
  ASSERT_TRUE(push(from));
  for (const double step : {4.0, -4.0}) {
    EXPECT_TRUE(drag(from + osg::Vec2d(step, step)));
    expectAllFinite();
    EXPECT_GE(extents()[kTopFace] - extents()[kBottomFace], 0.5f);
  }
}

TEST_F(BoxCutterFaceDrags, aMoveToNanMovesNothing) {
  const std::array<float, 6> before = extents();
  const osg::Vec2d from = toWindow(faceInWorld(kRightFace));
  ASSERT_TRUE(push(from));
  EXPECT_TRUE(drag(osg::Vec2d(std::nan(""), 10.0)));
  EXPECT_EQ(extents(), before);
  const osg::Vec2d to = outOf(kRightFace, 1.0);
  const double dragged = draggedOutwards(kRightFace, from, to);
  EXPECT_TRUE(drag(to));
  expectOnlyChanged(kRightFace, before, before[kRightFace] + dragged);
}

// A press meets one handle; where the path to it leads through several, the faces are tried axis by axis.
TEST_F(BoxCutterFaceDrags, theFirstFaceOnThePathIsGrabbed) {
  for (std::size_t first = 0; first < 6; ++first) {
    for (std::size_t later = first + 1; later < 6; ++later) {
      SCOPED_TRACE(testing::Message() << kFaceNames[first].text << " before " << kFaceNames[later].text);
      const std::array<float, 6> before = extents();
      QuorOsgUtils::BoxPointerInfo pointer;
      pointer.addIntersection({_box, _box->_faces[later].transform, _box->_faces[first].transform}, osg::Vec3d());
      pointer.setCamera(_camera);
      const osg::Vec2d from = toWindow(faceInWorld(first));
      EXPECT_TRUE(handleAt(pointer, Event::PUSH, from));
      _box->_draggerActive = true;
      EXPECT_TRUE(handleAt(pointer, Event::DRAG, outOf(first, 0.5)));
      for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(extents()[i] != before[i], i == first) << i;
      }
      _box->_draggerActive = false;
      EXPECT_FALSE(handleAt(pointer, Event::DRAG, outOf(first, 1.5)));
      EXPECT_FALSE(handleAt(pointer, Event::MOVE, outOf(first, 1.5)));
      EXPECT_TRUE(handleAt(pointer, Event::RELEASE, outOf(first, 1.5)));
    }
  }
}

}  // namespace
}  // namespace QuorTests
