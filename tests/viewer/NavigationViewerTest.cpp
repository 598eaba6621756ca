#include "tests/viewer/ViewerFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace {

using namespace QuorTests;

constexpr double kPi = 3.14159265358979323846;
constexpr double kEyeHeight = 1.6;

class NavigationViewerTest : public ViewerFixture {
 protected:
  /// Presses a key that moves the camera or its projection.
  void press(const std::string& key) {
    _viewer->key(key);
    _viewer->settle();
  }

  double fieldOfViewDegrees() const { return 2.0 * std::atan(1.0 / _viewer->view().projection(1, 1)) * 180.0 / kPi; }

  static osg::Vec3d placeIn(const std::string& line, const std::string& before) {
    osg::Vec3d place;
    std::istringstream words(line.substr(before.size()));
    words >> place.x() >> place.y() >> place.z();
    EXPECT_TRUE(static_cast<bool>(words)) << line;
    return place;
  }
};

void expectSameView(const ReportedView& actual, const ReportedView& expected) {
  constexpr double kReported = 2e-3;  // single precision at the size of the grid
  EXPECT_LT((actual.eye - expected.eye).length(), kReported);
  EXPECT_LT((actual.direction() / actual.direction().length() - expected.direction() / expected.direction().length())
                .length(),
            1e-5);
  EXPECT_LT((actual.up - expected.up).length(), 1e-5);
}

TEST_F(NavigationViewerTest, swappingTheManipulatorsMovesNothing) {
  showGrid();
  drag(kRight, {400, 300}, {60, -20});
  const ReportedView before = _viewer->view();
  _viewer->key("n");
  EXPECT_EQ(_viewer->waitForLine("navigation"), "navigation about the pointer");
  _viewer->settle();
  expectSameView(_viewer->view(), before);
  _viewer->key("n");
  EXPECT_EQ(_viewer->waitForLine("navigation"), "navigation about the middle");
  _viewer->settle();
  expectSameView(_viewer->view(), before);
}

TEST_F(NavigationViewerTest, aRightDragAboutThePointerKeepsThePickedPointInPlaceAndPicksStayCorrect) {
  showGrid();
  press("n");
  for (const int number : {10, 38}) {
    const LasFilePoint& point = _points.at(static_cast<std::size_t>(number));
    const Pixel before = pixelOf(point);
    const osg::Vec3d eye = _viewer->view().eye;
    drag(kRight, before, {-90, 35});
    const Pixel after = pixelOf(point);
    EXPECT_GT((_viewer->view().eye - eye).length(), 1.0) << "the view did not rotate";
    // The depth under the pointer is that of a point nine pixels wide, taken at the corner of the pointer's pixel.
    EXPECT_NEAR(after.x, before.x, 1) << number;
    EXPECT_NEAR(after.yFromTop, before.yFromTop, 1) << number;
  }
  expectClickReports(24);
}

TEST_F(NavigationViewerTest, theStationOptionMovesTheEyeAndKeepsTheDirection) {
  showGrid({"--station", "9876573 10000030 2.5"});
  const ReportedView before = _viewer->view();
  _viewer->key("l");
  EXPECT_EQ(_viewer->waitForLine("station"), "station on 9876573.000 10000030.000 2.500");
  _viewer->settle();
  const ReportedView there = _viewer->view();
  EXPECT_LT((there.eye - osg::Vec3d(9876573.0, 10000030.0, 2.5)).length(), 1e-3);
  EXPECT_LT(
      (there.direction() / there.direction().length() - before.direction() / before.direction().length()).length(),
      1e-5);
}

TEST_F(NavigationViewerTest, atAStationTheWheelChangesTheFieldOfViewAndNotTheEye) {
  showGrid({"--station", "9876573 10000030 2.5"});
  const double fieldBefore = fieldOfViewDegrees();
  press("l");
  const ReportedView there = _viewer->view();
  _viewer->movePointer(400, 300);
  _viewer->click(kWheelUp);
  _viewer->settle();
  EXPECT_NEAR(fieldOfViewDegrees(), 0.75 * fieldBefore, 1e-4);
  _viewer->click(kWheelDown);
  _viewer->settle();
  _viewer->click(kWheelDown);
  _viewer->settle();
  EXPECT_NEAR(fieldOfViewDegrees(), fieldBefore * 4.0 / 3.0, 1e-4);
  expectSameView(_viewer->view(), there);
  press("v");
  EXPECT_NEAR(fieldOfViewDegrees(), fieldBefore, 1e-4);
  expectSameView(_viewer->view(), there);
}

TEST_F(NavigationViewerTest, atAStationARightDragRotatesTheViewAndLeavesTheEye) {
  showGrid({"--station", "9876573 10000030 2.5"});
  press("l");
  const ReportedView there = _viewer->view();
  drag(kRight, {400, 300}, {80, 0});
  EXPECT_LT((_viewer->view().eye - there.eye).length(), 2e-3);
  const double cosine = _viewer->view().direction() * there.direction() /
                        (_viewer->view().direction().length() * there.direction().length());
  EXPECT_LT(cosine, 0.999);
}

TEST_F(NavigationViewerTest, leavingAStationReturnsToTheViewBefore) {
  for (const bool orthographic : {false, true}) {
    SCOPED_TRACE(orthographic);
    std::vector<std::string> options = {"--station", "9876573 10000030 2.5"};
    if (orthographic) {
      options.push_back("--ortho");
    }
    showGrid(options);
    const ReportedView before = _viewer->view();
    press("l");
    drag(kRight, {400, 300}, {80, 30});
    _viewer->movePointer(400, 300);
    _viewer->click(kWheelUp);
    _viewer->settle();
    _viewer->key("l");
    EXPECT_EQ(_viewer->waitForLine("station"), "station off");
    _viewer->settle();
    expectSameView(_viewer->view(), before);
    EXPECT_NEAR(_viewer->view().projection(1, 1), before.projection(1, 1), 1e-6);
    expectClickReports(24);
  }
}

TEST_F(NavigationViewerTest, withoutAnotherStationTheLastPickRaisedByEyeHeightIsTheStation) {
  showGrid();
  _viewer->key("l");
  _viewer->settle();
  EXPECT_THAT(_viewer->output(), testing::Not(testing::HasSubstr("station on")));
  expectClickReports(24);
  _viewer->key("l");
  const osg::Vec3d station = placeIn(_viewer->waitForLine("station on"), "station on");
  EXPECT_LT((station - coordinatesOf(_points.at(24)) - osg::Vec3d(0.0, 0.0, kEyeHeight)).length(), 1e-3);
}

TEST_F(NavigationViewerTest, theOriginIsAStationIfItLiesAmongThePoints) {
  writeLasFile(path("around.las"), gridPoints(), -25.0, -35.0);
  start({"--verbose", "--size", "800x600", path("around.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: around.las"));
  ASSERT_EQ(_viewer->waitForLine("loaded"), "loaded 49 points");
  _viewer->settle();
  _viewer->key("l");
  EXPECT_EQ(_viewer->waitForLine("station"), "station on 0.000 0.000 0.000");
}

TEST_F(NavigationViewerTest, keysAreIgnoredWhileAMouseButtonIsHeld) {
  showGrid({"--station", "9876573 10000030 2.5"});
  _viewer->movePointer(400, 300);
  _viewer->press(kRight);
  _viewer->settle();
  _viewer->movePointer(430, 310);
  _viewer->settle();
  for (const char* key : {"n", "l"}) {
    _viewer->key(key);
    _viewer->settle();
  }
  _viewer->release(kRight);
  _viewer->settle();
  EXPECT_THAT(_viewer->output(), testing::Not(testing::HasSubstr("station on")));
  EXPECT_THAT(_viewer->output(), testing::Not(testing::HasSubstr("navigation about")));
  _viewer->key("n");
  EXPECT_EQ(_viewer->waitForLine("navigation"), "navigation about the pointer");
}

TEST_F(NavigationViewerTest, atAStationTheProjectionStaysAPerspective) {
  showGrid({"--station", "9876573 10000030 2.5"});
  press("l");
  const ReportedView there = _viewer->view();
  press("o");
  expectSameView(_viewer->view(), there);
  EXPECT_EQ(_viewer->view().projection(3, 3), 0.0);
}

TEST_F(NavigationViewerTest, theCloseLookLeavesAStation) {
  showGrid({"--station", "9876573 10000030 2.5", "--ortho"});
  expectClickReports(24);
  press("l");
  EXPECT_EQ(_viewer->view().projection(3, 3), 0.0);
  _viewer->key("f");
  EXPECT_EQ(_viewer->waitForLine("station off"), "station off");
  _viewer->settle();
  EXPECT_EQ(_viewer->view().projection(3, 3), 1.0) << "the projection before the station came back";
  const Pixel picked = pixelOf(_points[24]);
  EXPECT_NEAR(picked.x, 400, 2);
  EXPECT_NEAR(picked.yFromTop, 300, 2);
}

TEST_F(NavigationViewerTest, homeLeavesAStation) {
  showGrid({"--station", "9876573 10000030 2.5"});
  const ReportedView home = _viewer->view();
  press("l");
  _viewer->key("Home");
  EXPECT_EQ(_viewer->waitForLine("station"), "station off");
  _viewer->settle();
  expectSameView(_viewer->view(), home);
}

}  // namespace
