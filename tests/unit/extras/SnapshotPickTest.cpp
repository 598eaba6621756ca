#include <QuorOsgUtils/SnapshotPick.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <random>

namespace {

using namespace QuorOsgUtils;

constexpr int kWidth = 40;
constexpr int kHeight = 30;
constexpr double kNear = 1.0;
constexpr double kFar = 1000.0;
constexpr double kFieldDegrees = 60.0;

/// The depth buffer's value for a distance ahead of the eye.
float depthOf(double distance) {
  return static_cast<float>(kFar * (distance - kNear) / (distance * (kFar - kNear)));
}

/// A frame seen along +Y from the origin, filled pixel by pixel.
class SnapshotPickTest : public testing::Test {
 protected:
  SnapshotPickTest() { start({0, 0, kWidth, kHeight}); }

  void start(const PixelRectangle& viewport) {
    _frame = new FrameSnapshot;
    _frame->viewport = _frame->region = viewport;
    _frame->viewMatrix.makeLookAt(osg::Vec3d(), osg::Vec3d(0.0, 1.0, 0.0), osg::Vec3d(0.0, 0.0, 1.0));
    _frame->projectionMatrix.makePerspective(kFieldDegrees, static_cast<double>(viewport.width) / viewport.height,
                                             kNear, kFar);
    _frame->depths.assign(_frame->pixelCount(), 1.0f);
    for (auto* values : {&_frame->itemFloats, &_frame->pcFloats}) {
      values->assign(_frame->pixelCount() * 4, 0.0f);
    }
    _frame->itemIDs.assign(_frame->pixelCount() * 4, 0);
    _frame->pcInts.assign(_frame->pixelCount() * 4, 0);
  }

  void put(int x, int y, unsigned int identifier, double distance = 100.0) {
    const std::size_t pixel = *_frame->pixelAt(x, y);
    _frame->itemIDs[pixel * 4] = identifier;
    _frame->itemIDs[pixel * 4 + 1] = identifier * 2;
    _frame->pcInts[pixel * 4 + 3] = -static_cast<int>(identifier);
    _frame->itemFloats[pixel * 4 + 2] = static_cast<float>(identifier) + 0.25f;
    _frame->pcFloats[pixel * 4 + 1] = static_cast<float>(identifier) + 0.75f;
    _frame->depths[pixel] = depthOf(distance);
  }

  /// A dense surface: every pixel from one column to another, at distances by pixel.
  template <typename DistanceAt>
  void putSurface(unsigned int identifier, int firstColumn, int lastColumn, DistanceAt distanceAt) {
    for (int y = 0; y < kHeight; ++y) {
      for (int x = firstColumn; x <= lastColumn; ++x) {
        put(x, y, identifier, distanceAt(x, y));
      }
    }
  }

  /// The identifier of the pick; 0 for none.
  unsigned int pick(int x, int y, int radius = 6, const PickRule& rule = {}) const {
    const std::optional<SnapshotPick> found = nearest(*_frame, x, y, radius, rule);
    return found ? found->itemID[0] : 0;
  }

  osg::ref_ptr<FrameSnapshot> _frame;
};

TEST_F(SnapshotPickTest, nothingIsPickedFromTheBackground) {
  EXPECT_FALSE(nearest(*_frame, 20, 15, 6));
  EXPECT_FALSE(worldAt(*_frame, 20, 15));
}

TEST_F(SnapshotPickTest, aPickHasTheValuesOfItsPixel) {
  put(20, 15, 7, 50.0);
  const std::optional<SnapshotPick> found = nearest(*_frame, 20, 15, 6);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->x, 20);
  EXPECT_EQ(found->y, 15);
  EXPECT_EQ(found->depth, depthOf(50.0));
  EXPECT_EQ(found->itemID, (std::array<unsigned int, 4>{7, 14, 0, 0}));
  EXPECT_EQ(found->itemFloat, (std::array<float, 4>{0.0f, 0.0f, 7.25f, 0.0f}));
  EXPECT_EQ(found->pcFloat, (std::array<float, 4>{0.0f, 7.75f, 0.0f, 0.0f}));
  EXPECT_EQ(found->pcInt, (std::array<int, 4>{0, 0, 0, -7}));
}

TEST_F(SnapshotPickTest, theWorldPointIsAtTheCentreOfThePixel) {
  put(33, 4, 1, 80.0);
  // At a distance of 80 the view is 160 tan 30° high, on 30 rows.
  const double unitsPerPixel = 2.0 * 80.0 * std::tan(osg::DegreesToRadians(kFieldDegrees / 2.0)) / kHeight;
  const osg::Vec3d expected((33.5 - 20.0) * unitsPerPixel, 80.0, (4.5 - 15.0) * unitsPerPixel);
  ASSERT_TRUE(worldAt(*_frame, 33, 4));
  EXPECT_LT((*worldAt(*_frame, 33, 4) - expected).length(), 0.01);
  EXPECT_EQ(*nearest(*_frame, 33, 4, 0)->world, *worldAt(*_frame, 33, 4));
}

TEST_F(SnapshotPickTest, positionsAreThoseOfTheWindowAlsoInAViewportAwayFromTheOrigin) {
  put(33, 4, 1, 80.0);
  const osg::Vec3d expected = *worldAt(*_frame, 33, 4);
  start({100, 200, kWidth, kHeight});
  put(133, 204, 1, 80.0);
  EXPECT_LT((*worldAt(*_frame, 133, 204) - expected).length(), 1e-9);
  EXPECT_FALSE(worldAt(*_frame, 33, 4));
  EXPECT_EQ(pick(131, 203), 1U);
  EXPECT_EQ(pick(33, 4), 0U);
}

TEST_F(SnapshotPickTest, aRegionOfTheViewportHasTheSameWorldPoints) {
  put(33, 4, 1, 80.0);
  const osg::Vec3d expected = *worldAt(*_frame, 33, 4);
  const osg::ref_ptr<FrameSnapshot> whole = _frame;
  start({0, 0, 5, 3});
  _frame->projectionMatrix = whole->projectionMatrix;
  _frame->viewport = whole->viewport;
  _frame->region = {30, 3, 5, 3};
  put(33, 4, 1, 80.0);
  EXPECT_LT((*worldAt(*_frame, 33, 4) - expected).length(), 1e-9);
}

TEST_F(SnapshotPickTest, farFromTheOriginTheWorldPointKeepsItsDigits) {
  put(33, 4, 1, 80.0);
  const osg::Vec3d here = *worldAt(*_frame, 33, 4);
  const osg::Vec3d distant(4.0e5, 5.0e6, 300.0);
  _frame->viewMatrix.makeLookAt(distant, distant + osg::Vec3d(0.0, 1.0, 0.0), osg::Vec3d(0.0, 0.0, 1.0));
  EXPECT_LT((*worldAt(*_frame, 33, 4) - distant - here).length(), 1e-6);
}

TEST_F(SnapshotPickTest, thePixelUnderThePointerIsPicked) {
  put(20, 15, 1);
  put(21, 15, 2);
  EXPECT_EQ(pick(20, 15), 1U);
}

TEST_F(SnapshotPickTest, inAHoleTheNearestPixelIsPicked) {
  put(17, 12, 1);  // 4.24 pixels away
  put(20, 19, 2);  // 4 pixels away
  put(25, 15, 3);  // 5 pixels away
  EXPECT_EQ(pick(20, 15), 2U);
}

TEST_F(SnapshotPickTest, theRadiusIsThatOfACircle) {
  put(26, 15, 1);
  EXPECT_EQ(pick(20, 15), 1U);
  EXPECT_EQ(pick(19, 15), 0U);
  EXPECT_EQ(pick(19, 15, 7), 1U);
  put(26, 21, 2);
  EXPECT_EQ(pick(20, 21), 2U);
  EXPECT_EQ(pick(21, 26, 6), 0U);
}

TEST_F(SnapshotPickTest, positionsAtAndBeyondTheEdgesStayInsideTheFrame) {
  put(0, 0, 5);
  put(kWidth - 1, kHeight - 1, 6);
  EXPECT_EQ(pick(-3, -3), 5U);
  EXPECT_EQ(pick(kWidth + 2, kHeight + 2), 6U);
  EXPECT_EQ(pick(-1000, 100000), 0U);
  EXPECT_EQ(pick(std::numeric_limits<int>::min(), std::numeric_limits<int>::max()), 0U);
}

TEST_F(SnapshotPickTest, aFrameWithoutPixelsHoldsNothing) {
  start({0, 0, 0, 0});
  EXPECT_EQ(pick(0, 0), 0U);
  EXPECT_FALSE(worldAt(*_frame, 0, 0));
  const osg::ref_ptr<FrameSnapshot> fresh = new FrameSnapshot;
  EXPECT_FALSE(nearest(*fresh, 5, 5, 6));
}

/// A sparse cloud, every fifth pixel at a distance of 20, in front of a dense wall at 100.
class SparseCloudTest : public SnapshotPickTest {
 protected:
  SparseCloudTest() {
    putSurface(1, 0, kWidth - 1, [](int, int) { return 100.0; });
    for (int y = 2; y < kHeight; y += 5) {
      for (int x = 2; x < kWidth; x += 5) {
        put(x, y, 2, 20.0);
      }
    }
  }
};

TEST_F(SparseCloudTest, theWallSeenThroughTheHolesIsNotPicked) {
  for (int y = 5; y < kHeight - 5; ++y) {
    for (int x = 5; x < kWidth - 5; ++x) {
      ASSERT_EQ(pick(x, y), 2U) << x << " " << y;
    }
  }
}

TEST_F(SparseCloudTest, theNearestPointOfTheCloudIsPicked) {
  const std::optional<SnapshotPick> found = nearest(*_frame, 18, 13, 6);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->x, 17);
  EXPECT_EQ(found->y, 12);
}

TEST_F(SparseCloudTest, withoutARadiusThePixelItselfIsPicked) {
  EXPECT_EQ(pick(18, 13, 0), 1U);
}

TEST_F(SparseCloudTest, withAnInfiniteShareDepthsDoNotMatter) {
  PickRule rule;
  rule.muchNearerShare = std::numeric_limits<double>::infinity();
  EXPECT_EQ(pick(18, 13, 6, rule), 1U);
}

TEST_F(SparseCloudTest, ofThreeLayersTheForemostIsPicked) {
  put(20, 15, 3, 4.0);
  EXPECT_EQ(pick(18, 13), 3U);
  EXPECT_EQ(pick(8, 13), 2U) << "too far from the foremost";
}

TEST_F(SparseCloudTest, inAnOrthographicViewTheSameRuleHolds) {
  _frame->projectionMatrix.makeOrtho(-40.0, 40.0, -30.0, 30.0, kNear, kFar);
  for (float& depth : _frame->depths) {
    const double distance = depth == depthOf(20.0) ? 20.0 : 100.0;
    depth = static_cast<float>((distance - kNear) / (kFar - kNear));
  }
  EXPECT_EQ(pick(18, 13), 2U);
  EXPECT_NEAR(nearest(*_frame, 18, 13, 6)->world->y(), 20.0, 1e-3);
}

/// A dense, steep surface: from 20 units on the left to 200 on the right.
TEST_F(SnapshotPickTest, onADenseSteepSurfaceThePixelUnderThePointerIsPicked) {
  putSurface(1, 0, kWidth - 1, [](int x, int) { return 20.0 + 180.0 * x / kWidth; });
  for (int x = 7; x < kWidth - 7; ++x) {
    const std::optional<SnapshotPick> found = nearest(*_frame, x, 15, 6);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->x, x);
    EXPECT_EQ(found->y, 15);
  }
}

/// A horizontal ground below an eye that looks ahead, tilted about the line of sight, in a view of 1080 rows.
class GroundTest : public testing::Test {
 protected:
  static constexpr int kColumns = 60, kRows = 1080;
  static constexpr double kFarPlane = 5000.0;

  void startPerspective(double eyeHeight, double fieldDegrees) {
    start();
    _frame->projectionMatrix.makePerspective(fieldDegrees, static_cast<double>(kColumns) / kRows, 0.1, kFarPlane);
    const double perPixel = 2.0 * std::tan(osg::DegreesToRadians(fieldDegrees / 2.0)) / kRows;
    _distanceAt = [=](double across, double up) { return -eyeHeight / ((up + _tilt * across) * perPixel); };
  }

  /// An almost vertical wall: each pixel is `step` farther than the one below it.
  void startOrthographic(double step) {
    start();
    _frame->projectionMatrix.makeOrtho(-1.0, 1.0, -18.0, 18.0, 0.1, kFarPlane);
    _distanceAt = [=](double across, double up) { return 2500.0 + step * (up + _tilt * across); };
  }

  void start() {
    _frame = new FrameSnapshot;
    _frame->viewport = _frame->region = {0, 0, kColumns, kRows};
    _frame->viewMatrix.makeLookAt(osg::Vec3d(), osg::Vec3d(0.0, 1.0, 0.0), osg::Vec3d(0.0, 0.0, 1.0));
    _frame->depths.assign(_frame->pixelCount(), 1.0f);
    _frame->itemIDs.assign(_frame->pixelCount() * 4, 0);
  }

  /// Every `spacing`th pixel of some rows, scattered.
  void draw(int firstRow, int lastRow, unsigned int spacing) {
    std::minstd_rand random(7);
    for (int y = firstRow; y <= lastRow; ++y) {
      for (int x = 0; x < kColumns; ++x) {
        const double distance = _distanceAt(x + 0.5 - kColumns / 2, y + 0.5 - kRows / 2);
        if (random() % spacing == 0 && distance > 0.2 && distance < kFarPlane) {
          put(x, y, distance);
        }
      }
    }
  }

  void put(int x, int y, double distance, unsigned int identifier = 1) {
    const std::size_t pixel = *_frame->pixelAt(x, y);
    const osg::Vec3d clip = osg::Vec3d(0.0, 0.0, -distance) * _frame->projectionMatrix;
    _frame->depths[pixel] = static_cast<float>(0.5 + 0.5 * clip.z());
    _frame->itemIDs[pixel * 4] = identifier;
  }

  /// How often the pick is farther from the position than without regard to depths.
  int movedPicks(int firstRow, int lastRow) const {
    PickRule anyDepth;
    anyDepth.muchNearerShare = std::numeric_limits<double>::infinity();
    int moved = 0;
    for (int y = firstRow; y <= lastRow; ++y) {
      for (const int x : {20, 30, 37}) {
        const std::optional<SnapshotPick> found = nearest(*_frame, x, y, 6),
                                          closest = nearest(*_frame, x, y, 6, anyDepth);
        moved += found && squareTo(*found, x, y) > squareTo(*closest, x, y) ? 1 : 0;
      }
    }
    return moved;
  }

  static int squareTo(const SnapshotPick& pick, int x, int y) {
    return (pick.x - x) * (pick.x - x) + (pick.y - y) * (pick.y - y);
  }

  osg::ref_ptr<FrameSnapshot> _frame;
  std::function<double(double, double)> _distanceAt;
  double _tilt = 0.0;
};

TEST_F(GroundTest, onAGroundSeenAtAGrazingAngleThePixelUnderThePointerIsPicked) {
  for (const double tilt : {0.0, 0.02, 0.3, 0.7, -1.0, 5.0}) {
    _tilt = tilt;
    for (const double fieldDegrees : {10.0, 30.0, 60.0, 100.0}) {
      for (const double eyeHeight : {0.5, 1.7, 20.0}) {
        startPerspective(eyeHeight, fieldDegrees);
        draw(480, kRows / 2 + 40, 1);
        EXPECT_EQ(movedPicks(490, kRows / 2 + 40), 0) << tilt << " " << fieldDegrees << " " << eyeHeight;
      }
    }
  }
}

TEST_F(GroundTest, onAGroundWithHolesThePixelNearestToThePointerIsPicked) {
  for (const double tilt : {0.0, 0.3}) {
    _tilt = tilt;
    startPerspective(1.7, 30.0);
    draw(480, kRows / 2 + 40, 4);
    EXPECT_LE(movedPicks(490, kRows / 2 + 40), 5);  // of 273; a few pixels have no neighbours to tell their slope
  }
}

TEST_F(GroundTest, onAGrazingPlaneOfAnOrthographicViewThePixelUnderThePointerIsPicked) {
  for (const double tilt : {0.0, 0.3}) {
    _tilt = tilt;
    startOrthographic(20.0);  // a share of 0.25 of the height is 9
    draw(480, 600, 1);
    EXPECT_EQ(movedPicks(490, 590), 0);
  }
}

TEST_F(GroundTest, whatStandsBeforeAGrazingGroundIsStillPickedThroughItsHoles) {
  startPerspective(1.7, 30.0);
  draw(480, kRows / 2, 1);
  for (int y = 481; y < kRows / 2; y += 5) {
    for (int x = 2; x < kColumns; x += 5) {
      put(x, y, 20.0, 2);
    }
  }
  for (int y = 490; y < kRows / 2 - 5; ++y) {
    const std::optional<SnapshotPick> found = nearest(*_frame, 30, y, 6);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->itemID[0], 2U) << y;
  }
}

TEST_F(GroundTest, onAGroundThatEndsAtADistantWallTheWallIsPicked) {
  startPerspective(1.7, 30.0);
  const auto ground = _distanceAt;
  _distanceAt = [&](double across, double up) {
    const double distance = ground(across, up);
    return distance > 0.0 ? std::min(distance, 1000.0) : 1000.0;
  };
  draw(480, kRows / 2 + 40, 1);
  EXPECT_EQ(movedPicks(490, kRows / 2 + 30), 0);
}

TEST_F(SnapshotPickTest, besideTheEdgeOfANearSurfaceItsEdgeIsPicked) {
  putSurface(1, 0, 19, [](int, int) { return 20.0; });
  putSurface(2, 20, kWidth - 1, [](int, int) { return 100.0; });
  EXPECT_EQ(pick(25, 15), 1U);
  EXPECT_EQ(pick(26, 15), 2U);
  EXPECT_EQ(nearest(*_frame, 25, 15, 6)->x, 19);
}

TEST_F(SnapshotPickTest, aPixelALittleNearerDoesNotAttractThePick) {
  putSurface(1, 0, kWidth - 1, [](int, int) { return 100.0; });
  // A quarter of the height of 115.5 units that the view shows at a distance of 100.
  put(22, 15, 2, 100.0 - 28.0);
  EXPECT_EQ(pick(20, 15), 1U);
  put(22, 15, 2, 100.0 - 30.0);
  EXPECT_EQ(pick(20, 15), 2U);
}

TEST_F(SnapshotPickTest, withoutIdentifiersEverythingBeforeTheBackgroundCounts) {
  put(20, 15, 0, 50.0);
  EXPECT_FALSE(nearest(*_frame, 20, 15, 6));
  PickRule rule;
  rule.identifiedOnly = false;
  EXPECT_TRUE(nearest(*_frame, 20, 15, 6, rule));
  _frame->itemIDs.clear();
  const std::optional<SnapshotPick> found = nearest(*_frame, 20, 15, 6);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->itemID[0], 0U);
}

TEST_F(SnapshotPickTest, withoutDepthsTheNearestIdentifierIsPicked) {
  put(22, 15, 1);
  put(19, 15, 2);
  _frame->depths.clear();
  const std::optional<SnapshotPick> found = nearest(*_frame, 20, 15, 6);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->itemID[0], 2U);
  EXPECT_FALSE(found->world);
  EXPECT_EQ(found->depth, 1.0f);
}

}  // namespace
