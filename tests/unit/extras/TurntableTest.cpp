#include "extras/Turntable.h"
#include "support/Near.h"

#include <osg/Math>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

using namespace QuorOsgUtils;
using QuorTests::expectNear;

const osg::Vec3d kAhead(0.0, 0.0, -1.0);
const osg::Vec3d kXAxis(1.0, 0.0, 0.0);
const osg::Vec3d kYAxis(0.0, 1.0, 0.0);
const osg::Vec3d kZAxis(0.0, 0.0, 1.0);

/// Level: along +Y.
const osg::Quat kFront(osg::PI / 2.0, kXAxis);

osg::Quat turned(const osg::Quat& rotation, double right, double up) {
  return turntable(rotation, osg::Vec2d(right, up));
}

TEST(TurntableTest, aTurnToTheRightLooksFurtherToTheRightAndStaysLevel) {
  const osg::Quat right = turned(kFront, osg::PI / 2.0, 0.0);
  expectNear(right * kAhead, kXAxis);
  expectNear(right * kYAxis, kZAxis);
}

TEST(TurntableTest, aTurnUpLooksHigherByTheSameAngle) {
  expectNear(turned(kFront, 0.0, 0.3) * kAhead, osg::Vec3d(0.0, std::cos(0.3), std::sin(0.3)));
}

TEST(TurntableTest, thePitchStopsAtStraightUpAndStraightDown) {
  expectNear(turned(kFront, 0.0, 2.0) * kAhead, kZAxis);
  expectNear(turned(kFront, 0.0, -2.0) * kAhead, -kZAxis);
  expectNear(turned(turned(kFront, 0.4, -2.0), 0.0, osg::PI / 2.0) * kAhead,
             osg::Vec3d(std::sin(0.4), std::cos(0.4), 0.0), 1e-7);
}

TEST(TurntableTest, manyTurnsKeepTheHorizonLevel) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> angle(-0.5, 0.5);
  osg::Quat rotation = kFront;
  for (int step = 0; step < 5000; ++step) {
    rotation = turned(rotation, angle(random), angle(random));
  }
  EXPECT_NEAR((rotation * kXAxis).z(), 0.0, 1e-9);
  EXPECT_TRUE(isLevel(rotation));
}

TEST(TurntableTest, aFreeTurnIsAboutTheAxesOfTheView) {
  const osg::Quat tilted = osg::Quat(0.5, kZAxis) * kFront;
  const osg::Quat after = tilted * freeTurn(tilted, osg::Vec2d(0.2, 0.0));
  expectNear(after * kYAxis, tilted * kYAxis);
  expectNear(after * kAhead, tilted * (kAhead * std::cos(0.2) + kXAxis * std::sin(0.2)));
  EXPECT_FALSE(isLevel(tilted));
  EXPECT_EQ(freeTurn(tilted, osg::Vec2d()), osg::Quat());
}

TEST(TurntableTest, halfWayBetweenLevelViewsIsLevelAndOnTheShortWay) {
  const osg::Quat from = kFront * osg::Quat(3.0, kZAxis);
  const osg::Quat to = osg::Quat(osg::PI / 4.0, kXAxis) * osg::Quat(-3.0, kZAxis);
  const osg::Quat half = rotationBetween(from, to, 0.5);
  EXPECT_TRUE(isLevel(half));
  // Both are 0.14 radians from straight back, on different sides.
  const double elevation = -osg::PI / 8.0;
  expectNear(half * kAhead, osg::Vec3d(0.0, -std::cos(elevation), std::sin(elevation)), 1e-7);
}

TEST(TurntableTest, theEndsOfATransitionAreItsRotations) {
  const osg::Quat tilted = osg::Quat(0.5, kZAxis) * kFront;
  for (const osg::Quat& other : {kFront, osg::Quat(), tilted}) {
    expectNear(rotationBetween(tilted, other, 0.0) * kAhead, tilted * kAhead, 1e-7);
    expectNear(rotationBetween(tilted, other, 1.0) * kAhead, other * kAhead, 1e-7);
    expectNear(rotationBetween(tilted, other, 1.0) * kYAxis, other * kYAxis, 1e-7);
  }
}

}  // namespace
