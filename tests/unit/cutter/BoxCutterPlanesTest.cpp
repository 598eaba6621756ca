#include "support/ExposedBoxCutter.h"

#include <osg/Quat>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

namespace {

using namespace QuorTests;

/// A box of 2 x 4 x 6 units with a corner at the origin.
class BoxCutterPlanesTest : public ::testing::Test {
 protected:
  static osg::ref_ptr<ExposedBoxCutter> makeCutter(const osg::ref_ptr<osg::ClipNode>& clip) {
    return new ExposedBoxCutter(osg::BoundingBoxf(0.0f, 0.0f, 0.0f, 2.0f, 4.0f, 6.0f), clip);
  }

  /// Adds the application's own planes to the clip node, numbered from 10, which clip everything.
  void addOwnPlanes(unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
      _own.emplace_back(new osg::ClipPlane(10 + i, osg::Vec4d(0.0, 0.0, 0.0, -1.0)));
      _clip->addClipPlane(_own.back());
    }
  }

  osg::ref_ptr<osg::ClipNode> _clip = new osg::ClipNode;
  osg::ref_ptr<ExposedBoxCutter> _cutter = makeCutter(_clip);
  std::vector<osg::ref_ptr<osg::ClipPlane>> _own;
};

// Front, right, back, left, top, bottom of the box as built.
const std::array<osg::Vec4d, 6> kPlanes = {{{0.0, 1.0, 0.0, 0.0},
                                            {-1.0, 0.0, 0.0, 2.0},
                                            {0.0, -1.0, 0.0, 4.0},
                                            {1.0, 0.0, 0.0, 0.0},
                                            {0.0, 0.0, -1.0, 6.0},
                                            {0.0, 0.0, 1.0, 0.0}}};

void expectPlanes(const std::vector<osg::Plane>& actual, const osg::Vec3d& movedBy = osg::Vec3d()) {
  ASSERT_EQ(actual.size(), kPlanes.size());
  for (std::size_t i = 0; i < kPlanes.size(); ++i) {
    const osg::Vec3d normal(kPlanes[i].x(), kPlanes[i].y(), kPlanes[i].z());
    EXPECT_EQ(actual[i].getNormal(), normal) << i;
    EXPECT_EQ(actual[i][3], kPlanes[i].w() - normal * movedBy) << i;
  }
}

TEST_F(BoxCutterPlanesTest, buildingABoxCutsNothing) {
  EXPECT_EQ(_clip->getNumClipPlanes(), 0U);
  EXPECT_TRUE(_cutter->getAllClipPlane().empty());
  expectPlanes(_cutter->getCurrentClipPlanes());
}

TEST_F(BoxCutterPlanesTest, currentPlanesAreInTheFrameOfTheParent) {
  osg::ref_ptr<osg::MatrixTransform> parent = new osg::MatrixTransform(osg::Matrixd::translate(100.0, 0.0, 0.0));
  parent->addChild(_cutter);
  _cutter->setMatrix(osg::Matrixd::translate(10.0, 20.0, 30.0));
  expectPlanes(_cutter->getCurrentClipPlanes(), osg::Vec3d(10.0, 20.0, 30.0));
}

TEST_F(BoxCutterPlanesTest, currentPlanesFollowTheBoxAndAllPlanesAreThoseOfTheLastCut) {
  _cutter->applyClipPlane();
  expectPlanes(_cutter->getAllClipPlane());
  _cutter->setMatrix(osg::Matrixd::translate(1.0, 0.0, 0.0));
  expectPlanes(_cutter->getAllClipPlane());
  expectPlanes(_cutter->getCurrentClipPlanes(), osg::Vec3d(1.0, 0.0, 0.0));
  _cutter->applyClipPlane();
  expectPlanes(_cutter->getAllClipPlane(), osg::Vec3d(1.0, 0.0, 0.0));
}

TEST_F(BoxCutterPlanesTest, currentPlanesAreNotStored) {
  _cutter->applyClipPlane();
  std::vector<osg::Plane> planes = _cutter->getAllClipPlane();
  planes.clear();
  _cutter->_box.set(0.0f, 0.0f, 0.0f, 3.0f, 4.0f, 6.0f);
  EXPECT_EQ(_cutter->getCurrentClipPlanes()[1][3], 3.0);
  expectPlanes(_cutter->getAllClipPlane());
}

TEST_F(BoxCutterPlanesTest, theFirstCutAddsSixPlanesNumberedFromZero) {
  _cutter->applyClipPlane();
  ASSERT_EQ(_clip->getNumClipPlanes(), 6U);
  for (unsigned int i = 0; i < 6; ++i) {
    EXPECT_EQ(_clip->getClipPlane(i)->getClipPlaneNum(), i);
    EXPECT_EQ(_clip->getClipPlane(i)->getClipPlane(), kPlanes[i]);
  }
}

TEST_F(BoxCutterPlanesTest, aSecondCutKeepsTheObjectsOfTheFirst) {
  _cutter->applyClipPlane();
  const osg::ClipNode::ClipPlaneList objects = _clip->getClipPlaneList();
  _cutter->setMatrix(osg::Matrixd::translate(0.0, 0.0, 5.0));
  _cutter->applyClipPlane();
  EXPECT_EQ(_clip->getClipPlaneList(), objects);
  EXPECT_EQ(objects[4]->getClipPlane(), osg::Vec4d(0.0, 0.0, -1.0, 11.0));
  EXPECT_EQ(objects[5]->getClipPlane(), osg::Vec4d(0.0, 0.0, 1.0, -5.0));
}

TEST_F(BoxCutterPlanesTest, sixPlanesOfTheApplicationAreEditedInPlaceAndKeepTheirObjectsAndNumbers) {
  addOwnPlanes(6);
  _cutter->applyClipPlane();
  ASSERT_EQ(_clip->getNumClipPlanes(), 6U);
  for (unsigned int i = 0; i < 6; ++i) {
    EXPECT_EQ(_clip->getClipPlane(i), _own[i].get());
    EXPECT_EQ(_own[i]->getClipPlaneNum(), 10 + i);
    EXPECT_EQ(_own[i]->getClipPlane(), kPlanes[i]);
  }
}

TEST_F(BoxCutterPlanesTest, ofThreePlanesOfTheApplicationTheSecondStaysBesideTheSixNewOnes) {
  addOwnPlanes(3);
  _cutter->applyClipPlane();
  ASSERT_EQ(_clip->getNumClipPlanes(), 7U);
  EXPECT_EQ(_clip->getClipPlane(0), _own[1].get());
  EXPECT_EQ(_own[1]->getClipPlaneNum(), 11U);
  EXPECT_EQ(_own[1]->getClipPlane(), osg::Vec4d(0.0, 0.0, 0.0, -1.0));
  for (unsigned int i = 0; i < 6; ++i) {
    EXPECT_EQ(_clip->getClipPlane(1 + i)->getClipPlaneNum(), i);
    EXPECT_EQ(_clip->getClipPlane(1 + i)->getClipPlane(), kPlanes[i]);
  }
}

TEST_F(BoxCutterPlanesTest, ofAnyNumberOfPlanesButSixEveryOtherOneStays) {
  for (const unsigned int count : {1U, 2U, 4U, 5U, 7U, 8U, 9U}) {
    _clip = new osg::ClipNode;
    _own.clear();
    addOwnPlanes(count);
    makeCutter(_clip)->applyClipPlane();
    ASSERT_EQ(_clip->getNumClipPlanes(), count / 2 + 6) << count;
    for (unsigned int i = 0; i < count / 2; ++i) {
      EXPECT_EQ(_clip->getClipPlane(i), _own[2 * i + 1].get()) << count;
    }
  }
}

TEST_F(BoxCutterPlanesTest, aCutWithoutAClipNodeDoesNothing) {
  const osg::ref_ptr<ExposedBoxCutter> cutter = makeCutter(nullptr);
  cutter->applyClipPlane();
  EXPECT_TRUE(cutter->getAllClipPlane().empty());
  expectPlanes(cutter->getCurrentClipPlanes());
}

TEST_F(BoxCutterPlanesTest, aCutLeavesNullEntriesOfTheListAlone) {
  addOwnPlanes(6);
  _clip->getClipPlaneList()[2] = nullptr;
  _cutter->applyClipPlane();
  ASSERT_EQ(_clip->getNumClipPlanes(), 6U);
  EXPECT_EQ(_clip->getClipPlane(2), nullptr);
  EXPECT_EQ(_own[1]->getClipPlane(), kPlanes[1]);
  EXPECT_EQ(_own[3]->getClipPlane(), kPlanes[3]);
}

TEST_F(BoxCutterPlanesTest, theClipNodeKeepsTheLastPlanesWhenTheBoxIsGone) {
  osg::observer_ptr<ExposedBoxCutter> observer(_cutter);
  _cutter->applyClipPlane();
  _cutter = nullptr;
  ASSERT_FALSE(observer.valid());
  ASSERT_EQ(_clip->getNumClipPlanes(), 6U);
  for (unsigned int i = 0; i < 6; ++i) {
    EXPECT_EQ(_clip->getClipPlane(i)->getClipPlane(), kPlanes[i]);
  }
}

TEST_F(BoxCutterPlanesTest, theBoxKeepsTheClipNode) {
  osg::observer_ptr<osg::ClipNode> observer(_clip);
  _clip = nullptr;
  ASSERT_TRUE(observer.valid());
  _cutter->applyClipPlane();
  EXPECT_EQ(observer->getNumClipPlanes(), 6U);
  _cutter = nullptr;
  EXPECT_FALSE(observer.valid());
}

TEST_F(BoxCutterPlanesTest, everyPointIsInABoxWithoutAClipNode) {
  const osg::ref_ptr<ExposedBoxCutter> cutter = makeCutter(nullptr);
  EXPECT_TRUE(cutter->pointInBox(1.0, 1.0, 1.0));
  EXPECT_TRUE(cutter->pointInBox(-1e9, 1e9, 0.0));
}

TEST_F(BoxCutterPlanesTest, everyPointIsInABoxThatHasNotCutYet) {
  EXPECT_TRUE(_cutter->pointInBox(1.0, 1.0, 1.0));
  EXPECT_TRUE(_cutter->pointInBox(-1e9, 1e9, 0.0));
}

TEST_F(BoxCutterPlanesTest, aPointIsOutsideAsSoonAsItIsBehindOnePlane) {
  _cutter->applyClipPlane();
  const osg::Vec3d middle(1.0, 2.0, 3.0);
  EXPECT_TRUE(_cutter->pointInBox(middle.x(), middle.y(), middle.z()));
  const osg::Vec3d size(2.0, 4.0, 6.0);
  for (int axis = 0; axis < 3; ++axis) {
    for (const double beyond : {-1e-9, size[axis] + 1e-9}) {
      osg::Vec3d point = middle;
      point[axis] = beyond;
      EXPECT_FALSE(_cutter->pointInBox(point.x(), point.y(), point.z())) << axis << " at " << beyond;
    }
  }
}

TEST_F(BoxCutterPlanesTest, aPointOnAFaceOrACornerIsInside) {
  _cutter->applyClipPlane();
  EXPECT_TRUE(_cutter->pointInBox(0.0, 2.0, 3.0));
  EXPECT_TRUE(_cutter->pointInBox(2.0, 2.0, 3.0));
  EXPECT_TRUE(_cutter->pointInBox(0.0, 0.0, 0.0));
  EXPECT_TRUE(_cutter->pointInBox(2.0, 4.0, 6.0));
}

TEST_F(BoxCutterPlanesTest, pointInBoxUsesTheClipNodesPlanesAndNotTheCurrentBox) {
  _cutter->applyClipPlane();
  _cutter->_box.set(100.0f, 100.0f, 100.0f, 200.0f, 200.0f, 200.0f);
  _cutter->setMatrix(osg::Matrixd::translate(50.0, 0.0, 0.0));
  EXPECT_TRUE(_cutter->pointInBox(1.0, 2.0, 3.0));
  EXPECT_FALSE(_cutter->pointInBox(151.0, 150.0, 150.0));
  _clip->getClipPlane(1)->setClipPlane(osg::Vec4d(-1.0, 0.0, 0.0, 0.5));
  EXPECT_FALSE(_cutter->pointInBox(1.0, 2.0, 3.0));
}

TEST_F(BoxCutterPlanesTest, planesOfTheApplicationCountToo) {
  _clip->addClipPlane(new osg::ClipPlane(0, osg::Vec4d(0.0, 2.0, 0.0, -8.0)));
  EXPECT_TRUE(_cutter->pointInBox(1e6, 4.0, -1e6));
  EXPECT_FALSE(_cutter->pointInBox(1e6, 3.999, -1e6));
}

TEST_F(BoxCutterPlanesTest, nullEntriesOfTheClipNodesListAreSkipped) {
  _cutter->applyClipPlane();
  _clip->getClipPlaneList()[1] = nullptr;
  EXPECT_TRUE(_cutter->pointInBox(1e6, 2.0, 3.0));
  EXPECT_FALSE(_cutter->pointInBox(-1.0, 2.0, 3.0));
  _clip->setClipPlaneList(osg::ClipNode::ClipPlaneList(3));
  EXPECT_TRUE(_cutter->pointInBox(-1e6, 1e6, 1e6));
}

TEST_F(BoxCutterPlanesTest, pointsAMillimetreApartAreDistinguishedNearTenMillion) {
  osg::ref_ptr<ExposedBoxCutter> cutter =
      new ExposedBoxCutter(osg::BoundingBoxf(1e7f, 1e7f, 0.0f, 10000064.0f, 10000064.0f, 64.0f), _clip);
  cutter->applyClipPlane();
  EXPECT_TRUE(cutter->pointInBox(10000000.001, 10000063.999, 32.0));
  EXPECT_FALSE(cutter->pointInBox(9999999.999, 10000032.0, 32.0));
  EXPECT_FALSE(cutter->pointInBox(10000032.0, 10000064.001, 32.0));
}

/// Boxes of all sizes, rotated, moved and optionally scaled.
class RandomBoxTest : public ::testing::Test {
 protected:
  static constexpr int kTrials = 3000;

  double number(double low, double high) { return std::uniform_real_distribution<double>(low, high)(_random); }
  osg::Vec3d vector(double reach) { return {number(-reach, reach), number(-reach, reach), number(-reach, reach)}; }

  osg::BoundingBoxf box() {
    const osg::Vec3f low(vector(1000.0));
    return {low, low + osg::Vec3f(osg::Vec3d(number(0.5, 200.0), number(0.5, 200.0), number(0.5, 200.0)))};
  }

  /// A rotation followed by a translation, one in four to coordinates near ten million.
  osg::Matrixd motion(int trial) {
    const osg::Quat turn(number(-3.1, 3.1), vector(1.0) + osg::Vec3d(0.0, 0.0, 1.5));
    return osg::Matrixd::rotate(turn) * osg::Matrixd::translate(vector(trial % 4 == 0 ? 1e7 : 1000.0));
  }

  std::mt19937 _random{7};
  osg::ref_ptr<ExposedBoxCutter> _cutter =
      new ExposedBoxCutter(osg::BoundingBoxf(0.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f), new osg::ClipNode);
};

// Depth of a point inside the box, in the box's local frame; negative outside.
double depthInBox(const osg::BoundingBoxf& box, const osg::Vec3d& point) {
  double depth = 1e30;
  for (int axis = 0; axis < 3; ++axis) {
    depth = std::min(
        {depth, point[axis] - static_cast<double>(box._min[axis]), static_cast<double>(box._max[axis]) - point[axis]});
  }
  return depth;
}

TEST_F(RandomBoxTest, pointInBoxAgreesWithThePointsPositionInTheBoxsOwnFrame) {
  constexpr double kRounding = 1e-5;
  int inside = 0;
  int outside = 0;
  for (int trial = 0; trial < kTrials; ++trial) {
    const osg::BoundingBoxf bounds = box();
    _cutter->_box = bounds;
    const osg::Matrixd scale = osg::Matrixd::scale(number(0.5, 2.0), number(0.5, 2.0), number(0.5, 2.0));
    const osg::Matrixd matrix = trial % 3 == 0 ? scale * motion(trial) : motion(trial);
    _cutter->setMatrix(matrix);
    _cutter->applyClipPlane();
    for (int i = 0; i < 8; ++i) {
      osg::Vec3d local = bounds.center();
      for (int axis = 0; axis < 3; ++axis) {
        local[axis] += number(-0.65, 0.65) * (bounds._max - bounds._min)[axis];
      }
      const double depth = depthInBox(bounds, local);
      if (std::abs(depth) < kRounding) {
        continue;
      }
      ++(depth > 0.0 ? inside : outside);
      const osg::Vec3d point = local * matrix;
      EXPECT_EQ(_cutter->pointInBox(point.x(), point.y(), point.z()), depth > 0.0) << trial << ", depth " << depth;
    }
  }
  EXPECT_GT(inside, kTrials);
  EXPECT_GT(outside, kTrials);
}

TEST_F(RandomBoxTest, planesAreOfUnitLengthAndTheBoxsCentreIsInFrontOfEach) {
  for (int trial = 0; trial < kTrials; ++trial) {
    const osg::BoundingBoxf bounds = box();
    _cutter->_box = bounds;
    const osg::Matrixd scale = osg::Matrixd::scale(number(0.5, 2.0), number(0.5, 2.0), number(0.5, 2.0));
    _cutter->setMatrix(scale * motion(trial));
    const osg::Vec3d center = osg::Vec3d(bounds.center()) * _cutter->getMatrix();
    for (const osg::Plane& plane : _cutter->getCurrentClipPlanes()) {
      EXPECT_NEAR(plane.getNormal().length(), 1.0, 1e-12) << trial;
      EXPECT_GT(plane.getNormal() * center + plane[3], 0.1) << trial;
    }
  }
}

TEST_F(RandomBoxTest, aTurnAndAMoveKeepTheDistancesOfOppositePlanes) {
  for (int trial = 0; trial < kTrials; ++trial) {
    const osg::BoundingBoxf bounds = box();
    _cutter->_box = bounds;
    _cutter->setMatrix(motion(trial));
    const std::vector<osg::Plane> planes = _cutter->getCurrentClipPlanes();
    const osg::Vec3f size = bounds._max - bounds._min;
    const osg::Vec3d origin = osg::Vec3d(bounds.center()) * _cutter->getMatrix();
    const auto width = [&](std::size_t one, std::size_t other) {
      EXPECT_NEAR((planes[one].getNormal() + planes[other].getNormal()).length(), 0.0, 1e-7) << trial;
      return planes[one].distance(origin) + planes[other].distance(origin);
    };
    EXPECT_NEAR(width(3, 1), size.x(), 1e-4) << trial;
    EXPECT_NEAR(width(0, 2), size.y(), 1e-4) << trial;
    EXPECT_NEAR(width(5, 4), size.z(), 1e-4) << trial;
  }
}

}  // namespace
