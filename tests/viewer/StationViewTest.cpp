#include "viewer/navigate/Framing.h"
#include "viewer/navigate/StationView.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using namespace QuorViewer;

constexpr double kAspectRatio = 16.0 / 9.0;

class StationViewTest : public testing::Test {
 protected:
  /// `count` points around a place, within `spread` in each direction.
  void addPoints(const osg::Vec3d& around, int count, float spread = 2.0f) {
    std::uniform_real_distribution<float> offset(-spread, spread);
    for (int i = 0; i < count; ++i) {
      _places.push_back(osg::Vec3f(around) + osg::Vec3f(offset(_random), offset(_random), offset(_random)));
    }
  }

  osg::Quat start(double currentAzimuthDegrees = 0.0) const {
    const Direction current{currentAzimuthDegrees, 30.0};
    return stationRotation(_station, _places, current.pitch() * current.yaw(), kAspectRatio);
  }

  /// How many of the points a view of 60 degrees shows.
  std::ptrdiff_t visible(const osg::Quat& rotation) const {
    const double upTangent = std::tan(osg::DegreesToRadians(30.0));
    return std::count_if(_places.begin(), _places.end(), [&](const osg::Vec3f& place) {
      const osg::Vec3d seen = rotation.inverse() * (osg::Vec3d(place) - _station);
      return seen.z() < 0.0 && std::abs(seen.y()) <= -seen.z() * upTangent &&
             std::abs(seen.x()) <= -seen.z() * upTangent * kAspectRatio;
    });
  }

  const osg::Vec3d _station = osg::Vec3d(100.0, -50.0, 2.0);
  std::vector<osg::Vec3f> _places;
  std::mt19937 _random = std::mt19937(11);
};

osg::Vec3d aheadOf(const osg::Quat& rotation) {
  return rotation * osg::Vec3d(0.0, 0.0, -1.0);
}

TEST_F(StationViewTest, theHeadingIsKeptIfManyPointsAreThere) {
  addPoints(_station + osg::Vec3d(0.0, 30.0, 0.0), 300);
  addPoints(_station + osg::Vec3d(0.0, -30.0, 0.0), 400);
  const osg::Vec3d ahead = aheadOf(start(10.0));
  EXPECT_NEAR(ahead.z(), 0.0, 1e-9);
  EXPECT_NEAR(std::atan2(-ahead.x(), ahead.y()), osg::DegreesToRadians(10.0), 1e-9);
}

TEST_F(StationViewTest, otherwiseItLooksWhereMostPointsAre) {
  addPoints(_station + osg::Vec3d(-30.0, 0.0, 0.0), 1000);
  addPoints(_station + osg::Vec3d(30.0, 0.0, 0.0), 50);
  const osg::Quat rotation = start(-90.0);
  EXPECT_EQ(visible(rotation), 1000);
  EXPECT_NEAR(aheadOf(rotation).z(), 0.0, 1e-9);
}

TEST_F(StationViewTest, theHorizonIsLevelFromAnyView) {
  addPoints(_station, 500, 20.0f);
  for (const double azimuth : {0.0, 77.0, -170.0}) {
    const osg::Quat rotation = start(azimuth);
    EXPECT_NEAR((rotation * osg::Vec3d(1.0, 0.0, 0.0)).z(), 0.0, 1e-9);
    EXPECT_GT((rotation * osg::Vec3d(0.0, 1.0, 0.0)).z(), 0.99);
  }
}

TEST_F(StationViewTest, pointsFarBelowAreBroughtIntoView) {
  addPoints(_station + osg::Vec3d(0.0, 30.0, -100.0), 500);
  EXPECT_GT(visible(start()), 490);
}

TEST_F(StationViewTest, fromAViewStraightDownTheTopOfTheImageGivesTheHeading) {
  addPoints(_station + osg::Vec3d(-30.0, 30.0, 0.0), 100);
  const Direction down{45.0, 90.0};
  const osg::Vec3d ahead = aheadOf(stationRotation(_station, _places, down.pitch() * down.yaw(), kAspectRatio));
  EXPECT_NEAR(std::atan2(-ahead.x(), ahead.y()), osg::DegreesToRadians(45.0), 1e-9);
}

TEST_F(StationViewTest, withoutPointsTheHeadingIsKept) {
  const osg::Vec3d ahead = aheadOf(start(60.0));
  EXPECT_NEAR(std::atan2(-ahead.x(), ahead.y()), osg::DegreesToRadians(60.0), 1e-9);
  EXPECT_NEAR(ahead.z(), 0.0, 1e-9);
}

}  // namespace
