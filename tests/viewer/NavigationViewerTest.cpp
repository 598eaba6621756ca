#include "tests/viewer/ViewerFixture.h"

#include <osg/Math>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

namespace {

using namespace QuorTests;

constexpr double kEyeHeight = 1.6;

class NavigationViewerTest : public ViewerFixture {
 protected:
  /// Presses a key that moves the camera or its projection.
  void press(const std::string& key) {
    _viewer->key(key);
    _viewer->settle();
    if (_animated) {
      _viewer->settle();
    }
  }

  double fieldOfViewDegrees() const {
    return 2.0 * std::atan(1.0 / _viewer->view().projection(1, 1)) * 180.0 / osg::PI;
  }

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

TEST_F(NavigationViewerTest, aStationStartsLevelAtSixtyDegreesWithPointsInView) {
  showGrid({"--station", "9876573 10000030 2.5"});
  _viewer->key("l");
  EXPECT_EQ(_viewer->waitForLine("station"), "station on 9876573.000 10000030.000 2.500");
  _viewer->settle();
  const ReportedView there = _viewer->view();
  EXPECT_LT((there.eye - osg::Vec3d(9876573.0, 10000030.0, 2.5)).length(), 1e-3);
  EXPECT_NEAR(there.direction().z(), 0.0, 1e-5);
  EXPECT_NEAR(there.up.z(), 1.0, 1e-5);
  EXPECT_NEAR(fieldOfViewDegrees(), 60.0, 1e-4);
  const auto visible = std::count_if(_points.begin(), _points.end(), [this](const LasFilePoint& point) {
    const osg::Vec3d way = coordinatesOf(point) - _viewer->view().eye;
    const Pixel pixel = pixelOf(point);
    return way * _viewer->view().direction() > 0.0 && pixel.x >= 0 && pixel.x < _width && pixel.yFromTop >= 0 &&
           pixel.yFromTop < _height;
  });
  EXPECT_GT(visible, 10);
}

TEST_F(NavigationViewerTest, atAStationTheWheelChangesTheFieldOfViewAndNotTheEye) {
  showGrid({"--station", "9876573 10000030 2.5"});
  press("l");
  const double fieldBefore = fieldOfViewDegrees();
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

TEST_F(NavigationViewerTest, escapeDuringADragRestoresTheViewAndEndsTheDrag) {
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, std::vector<std::string>{"--ortho"}}) {
    SCOPED_TRACE(options.size());
    showGrid(options);
    for (const int button : {kRight, kMiddle}) {
      const ReportedView before = _viewer->view();
      _viewer->movePointer(400, 300);
      _viewer->press(button);
      _viewer->movePointer(440, 320);
      _viewer->movePointer(480, 340);
      _viewer->settle();
      EXPECT_GT((_viewer->view().eye - before.eye).length(), 1.0);
      _viewer->key("Escape");
      _viewer->settle();
      expectSameView(_viewer->view(), before);
      _viewer->movePointer(520, 360);
      _viewer->release(button);
      _viewer->settle();
      expectSameView(_viewer->view(), before);
    }
    expectClickReports(24);
    drag(kRight, {400, 300}, {60, 20});
    expectClickReports(24);
  }
}

TEST_F(NavigationViewerTest, escapeDuringAPressOfTheLeftButtonCancelsThePick) {
  showGrid();
  const Pixel place = pixelOf(_points.at(24));
  _viewer->movePointer(place.x, place.yFromTop);
  _viewer->press(kLeft);
  _viewer->key("Escape");
  _viewer->release(kLeft);
  _viewer->settle();
  EXPECT_THAT(_viewer->output(), testing::Not(testing::HasSubstr("picked")));
  expectClickReports(24);
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

TEST_F(NavigationViewerTest, theWheelConvergesOnThePointUnderThePointerAndReturns) {
  showGrid();
  const osg::Vec3d target = coordinatesOf(_points.at(38));
  const Pixel place = pixelOf(target);
  const ReportedView start = _viewer->view();
  _viewer->movePointer(place.x, place.yFromTop);
  constexpr int kNotches = 12;
  for (int notch = 0; notch < kNotches; ++notch) {
    _viewer->click(kWheelUp);
    _viewer->waitForLine("view");
  }
  _viewer->settle();
  const double share = (_viewer->view().eye - target).length() / (start.eye - target).length();
  EXPECT_NEAR(share, std::pow(0.8, kNotches), 0.02);
  // The point is at first anywhere in the pointer's pixel.
  const double tolerance = 1.0 + 0.5 / share;
  EXPECT_NEAR(pixelOf(target).x, place.x, tolerance);
  EXPECT_NEAR(pixelOf(target).yFromTop, place.yFromTop, tolerance);
  for (int notch = 0; notch < kNotches; ++notch) {
    _viewer->click(kWheelDown);
  }
  _viewer->settle();
  expectSameView(_viewer->view(), start);
}

TEST_F(NavigationViewerTest, aPanKeepsTheGrabbedPointUnderThePointerInBothProjections) {
  for (const bool orthographic : {false, true}) {
    SCOPED_TRACE(orthographic);
    showGrid(orthographic ? std::vector<std::string>{"--ortho"} : std::vector<std::string>{});
    const osg::Vec3d grabbed = coordinatesOf(_points.at(10));
    const Pixel start = pixelOf(grabbed);
    const Pixel by = {start.x < 400 ? 260 : -260, 60};
    drag(kMiddle, start, by);
    const Pixel slow = pixelOf(grabbed);
    EXPECT_NEAR(slow.x, start.x + by.x, 1);
    EXPECT_NEAR(slow.yFromTop, start.yFromTop + by.yFromTop, 1);
    _viewer->press(kMiddle);
    for (int step = 1; step <= 20; ++step) {  // faster than the frames
      _viewer->movePointer(slow.x - by.x * step / 20, slow.yFromTop - by.yFromTop * step / 20);
    }
    _viewer->settle();  // under wine the pointer arrives later than a button
    _viewer->release(kMiddle);
    _viewer->settle();
    EXPECT_NEAR(pixelOf(grabbed).x, start.x, 1);
    EXPECT_NEAR(pixelOf(grabbed).yFromTop, start.yFromTop, 1);
  }
}

TEST_F(NavigationViewerTest, switchingTheProjectionKeepsTheScaleInTheMiddleAlsoAfterZooming) {
  showGrid();
  expectClickReports(24);
  press("f");
  const osg::Vec3d middle = coordinatesOf(_points.at(24));
  const auto heightAtMiddle = [&] {
    const ReportedView view = _viewer->view();
    const bool orthographic = view.projection(3, 3) == 1.0;
    const double distance = (middle - view.eye) * view.direction() / view.direction().length();
    return 2.0 / view.projection(1, 1) * (orthographic ? 1.0 : distance);
  };
  _viewer->movePointer(400, 300);
  for (const int button : {kWheelUp, kWheelDown}) {
    for (int round = 0; round < 2; ++round) {
      const double before = heightAtMiddle();
      press("o");
      EXPECT_NEAR(heightAtMiddle() / before, 1.0, 0.02);
      for (int notch = 0; notch < 3; ++notch) {
        _viewer->click(button);
      }
      _viewer->settle();
      EXPECT_NEAR(std::log(heightAtMiddle() / before), (button == kWheelUp ? 3.0 : -3.0) * std::log(0.8), 0.03);
    }
  }
}

TEST_F(NavigationViewerTest, aPressOverNothingNeverThrowsTheCamera) {
  showGrid();
  for (const char* manipulator : {"middle", "pointer"}) {
    SCOPED_TRACE(manipulator);
    const osg::Vec3d middle = coordinatesOf(_points.at(24));
    const ReportedView before = _viewer->view();
    const double distance = (before.eye - middle).length();
    for (const int button : {kRight, kMiddle}) {
      _viewer->movePointer(20, 20);
      _viewer->press(button);
      _viewer->release(button);
      _viewer->settle();
      expectSameView(_viewer->view(), before);
    }
    drag(kRight, {20, 20}, {8, 0});  // 8 of the 400 pixels that turn by 90 degrees
    EXPECT_LT((_viewer->view().eye - before.eye).length(), 0.1 * distance);
    EXPECT_NEAR(pixelOf(middle).x, 400, 60);
    drag(kMiddle, {20, 20}, {8, 0});
    EXPECT_LT((_viewer->view().eye - before.eye).length(), 0.2 * distance);
    press("n");
  }
}

TEST_F(NavigationViewerTest, aPressOverNothingTurnsAboutTheLastPivotWhileItIsInView) {
  showGrid();
  press("n");
  const osg::Vec3d pivot = coordinatesOf(_points.at(10));
  drag(kRight, pixelOf(pivot), {30, 0});
  const Pixel before = pixelOf(pivot);
  const osg::Vec3d eye = _viewer->view().eye;
  drag(kRight, {20, 20}, {160, 10});
  EXPECT_GT((_viewer->view().eye - eye).length(), 10.0) << "the view did not rotate";
  EXPECT_NEAR(pixelOf(pivot).x, before.x, 2);
  EXPECT_NEAR(pixelOf(pivot).yFromTop, before.yFromTop, 2);
}

TEST_F(NavigationViewerTest, aDragOfHalfTheWindowTurnsByTheRotationSpeed) {
  for (const double speed : {90.0, 45.0}) {
    showGrid({"--rotation-speed", std::to_string(speed)});
    const auto azimuth = [this] {
      return std::atan2(_viewer->view().direction().x(), _viewer->view().direction().y()) * 180.0 / osg::PI;
    };
    const double before = azimuth();
    drag(kRight, {200, 300}, {400, 0});
    const double halfWidth = 0.5 * (_width - 1);  // between the centres of the first and the last pixel
    EXPECT_NEAR(std::remainder(azimuth() - before, 360.0), speed * 400.0 / halfWidth, 0.01);
  }
}

struct PresetCase {
  const char* key;
  osg::Vec3d ahead, up;
};

TEST_F(NavigationViewerTest, presetsLookAlongTheAxesAndTheHistoryGoesBackAndForward) {
  showGrid();
  osg::Vec3d isometric(-1.0, 1.0, -1.0);
  isometric.normalize();
  osg::Vec3d isometricUp = osg::Vec3d(0.0, 0.0, 1.0) - isometric * isometric.z();  // the horizon is level
  isometricUp.normalize();
  const PresetCase cases[] = {{"F2", {0, 0, -1}, {0, 1, 0}}, {"F3", {0, 0, 1}, {0, -1, 0}},
                              {"F4", {0, 1, 0}, {0, 0, 1}},  {"F5", {0, -1, 0}, {0, 0, 1}},
                              {"F6", {1, 0, 0}, {0, 0, 1}},  {"F7", {-1, 0, 0}, {0, 0, 1}},
                              {"F8", isometric, isometricUp}};
  std::vector<ReportedView> shown = {_viewer->view()};
  for (const PresetCase& each : cases) {
    SCOPED_TRACE(each.key);
    press(each.key);
    const ReportedView view = _viewer->view();
    EXPECT_LT((view.direction() / view.direction().length() - each.ahead).length(), 1e-5);
    EXPECT_LT((view.up - each.up).length(), 1e-5);
    shown.push_back(view);
  }
  for (std::size_t index = shown.size() - 1; index-- > 0;) {
    press("alt+Left");
    expectSameView(_viewer->view(), shown[index]);
  }
  press("alt+Left");
  expectSameView(_viewer->view(), shown.front());
  press("alt+Right");
  expectSameView(_viewer->view(), shown[1]);
}

TEST_F(NavigationViewerTest, aPresetKeepsThePointThatWasTurnedAboutInPlace) {
  showGrid();
  press("n");
  const osg::Vec3d pivot = coordinatesOf(_points.at(10));
  drag(kRight, pixelOf(pivot), {30, 10});
  const Pixel place = pixelOf(pivot);
  for (const char* key : {"F2", "F8", "F4"}) {
    SCOPED_TRACE(key);
    press(key);
    EXPECT_NEAR(pixelOf(pivot).x, place.x, 6);
    EXPECT_NEAR(pixelOf(pivot).yFromTop, place.yFromTop, 6);
  }
}

TEST_F(NavigationViewerTest, aTransitionShowsViewsBetweenUnlessItIsSwitchedOff) {
  for (const bool animated : {true, false}) {
    _animated = animated;
    showGrid();
    const std::size_t before = _viewer->output().size();
    press("F2");
    std::istringstream since(_viewer->output().substr(before));
    int views = 0;
    for (std::string line; std::getline(since, line);) {
      views += line.rfind("view ", 0) == 0 ? 1 : 0;
    }
    if (animated) {
      EXPECT_GT(views, 2);
    } else {
      EXPECT_EQ(views, 1);
    }
    EXPECT_NEAR(_viewer->view().direction().x(), 0.0, 1e-5);
  }
}

/// Keys that follow a preset at once, during its transition, act as after it.
TEST_F(NavigationViewerTest, keysDuringATransitionActOnTheViewThatItLeadsTo) {
  _animated = true;
  showGrid({"--station", "9876573 10000030 2.5"});
  const ReportedView home = _viewer->view();
  press("F4");
  const ReportedView front = _viewer->view();
  press("F2");
  const ReportedView top = _viewer->view();

  _viewer->key("F4 l");  // one call sends both without a pause
  _viewer->settle();
  EXPECT_LT((_viewer->view().eye - osg::Vec3d(9876573.0, 10000030.0, 2.5)).length(), 1e-3);
  press("l");
  expectSameView(_viewer->view(), front);

  _viewer->key("F2 o");
  _viewer->settle();
  EXPECT_EQ(_viewer->view().projection(3, 3), 1.0);
  EXPECT_LT((_viewer->view().direction() / _viewer->view().direction().length() - osg::Vec3d(0, 0, -1)).length(), 1e-5);
  press("o");
  expectSameView(_viewer->view(), top);

  _viewer->key("F4 alt+Left");
  _viewer->settle();
  expectSameView(_viewer->view(), top);
  EXPECT_GT((top.eye - home.eye).length(), 1.0);
}

TEST_F(NavigationViewerTest, eachKeyForTheProjectionDuringATransitionSwitchesIt) {
  _animated = true;
  showGrid({"--station", "9876573 10000030 2.5"});
  const auto isOrthographic = [this] { return _viewer->view().projection(3, 3) == 1.0; };
  _viewer->key("F4 o l");
  EXPECT_NE(_viewer->waitForLine("station on"), "");
  _viewer->settle();
  EXPECT_FALSE(isOrthographic());
  press("l");
  EXPECT_TRUE(isOrthographic()) << "the switch before the station";
  EXPECT_NEAR(_viewer->view().direction().y(), 1.0, 1e-5);
  press("o");
  EXPECT_FALSE(isOrthographic());

  _viewer->key("F3 o o");
  _viewer->settle();
  EXPECT_FALSE(isOrthographic());

  _viewer->movePointer(400, 300);
  _viewer->key("F2 o");
  _viewer->press(kRight);
  _viewer->movePointer(440, 320);
  _viewer->movePointer(480, 340);
  _viewer->settle();
  EXPECT_TRUE(isOrthographic());
  EXPECT_LT(_viewer->view().up.y(), 0.99) << "the drag has turned the view";
  _viewer->key("Escape");
  _viewer->settle();
  EXPECT_TRUE(isOrthographic()) << "the switch was before the drag";
  EXPECT_NEAR(_viewer->view().up.y(), 1.0, 1e-5);
  _viewer->release(kRight);
}

TEST_F(NavigationViewerTest, aNotchAfterTheHistoryIsAnotherChange) {
  showGrid();
  const ReportedView home = _viewer->view();
  _viewer->movePointer(400, 300);
  _viewer->click(kWheelUp);
  _viewer->key("alt+Left");
  _viewer->click(kWheelUp);
  _viewer->settle();
  EXPECT_GT((_viewer->view().eye - home.eye).length(), 1.0);
  press("alt+Left");
  expectSameView(_viewer->view(), home);
}

// Alt+Space would open the menu of the window on some systems.
TEST_F(NavigationViewerTest, spaceWithControlMovesNothing) {
  showGrid();
  drag(kRight, {400, 300}, {90, 30});
  const ReportedView turned = _viewer->view();
  press("ctrl+space");
  expectSameView(_viewer->view(), turned);
}

/// Until the user navigates, the view shows all scans.
class FollowingViewerTest : public NavigationViewerTest {
 protected:
  /// Shows the grid, and leaves the path of a second one to be entered.
  void showGridAndTypePath(const std::vector<std::string>& options = {}) {
    showGrid(options);
    writeLasFile(path("b.las"), _points, kOffsetX + 150.0, kOffsetY);
    _viewer->movePointer(400, 20);
    _viewer->key("a");
    _viewer->type("b.las");
    _viewer->settle();
  }
  void enterPath() {
    _viewer->key("Return");
    waitUntilLoaded(98);
  }
  void expectAllIsShown() {
    const ReportedView shown = _viewer->view();
    press("Home");
    expectSameView(shown, _viewer->view());
  }
};

TEST_F(FollowingViewerTest, theViewStaysWhileAButtonIsHeldAndThenShowsWhatHasArrived) {
  showGridAndTypePath();
  const ReportedView before = _viewer->view();
  _viewer->press(kLeft);
  enterPath();
  expectSameView(_viewer->view(), before);
  _viewer->release(kLeft);
  _viewer->settle();
  EXPECT_GT((_viewer->view().eye - before.eye).length(), 10.0);
  expectAllIsShown();
}

TEST_F(FollowingViewerTest, afterAStationTheViewShowsWhatHasArrivedMeanwhile) {
  showGrid({"--station", "9876573 10000030 2.5"});
  const ReportedView before = _viewer->view();
  press("l");
  drag(kRight, {400, 300}, {80, 0});
  writeLasFile(path("b.las"), _points, kOffsetX + 150.0, kOffsetY);
  _viewer->key("a");
  _viewer->type("b.las");
  enterPath();
  press("l");
  EXPECT_GT((_viewer->view().eye - before.eye).length(), 10.0);
  expectAllIsShown();
}

TEST_F(FollowingViewerTest, aWheelThatScrollsToASideDoesNotNavigate) {
  showGridAndTypePath();
  for (const int button : {kWheelLeft, kWheelRight}) {
    _viewer->click(button);
  }
  enterPath();
  expectAllIsShown();
}

TEST_F(NavigationViewerTest, theHistoryLeavesAStationAndHoldsNoViewOfIt) {
  showGrid({"--station", "9876573 10000030 2.5"});
  press("F4");
  const ReportedView front = _viewer->view();
  press("l");
  press("alt+Left");
  expectSameView(_viewer->view(), front);
  press("alt+Right");
  expectSameView(_viewer->view(), front);
  press("alt+Left");
  EXPECT_GT((_viewer->view().eye - front.eye).length(), 1.0) << "the view before the preset";
}

TEST_F(NavigationViewerTest, aPressThatChangesNothingKeepsTheViewsToGoForwardTo) {
  showGrid();
  press("F2");
  const ReportedView top = _viewer->view();
  press("alt+Left");
  _viewer->movePointer(400, 300);
  _viewer->press(kRight);
  _viewer->release(kRight);
  _viewer->settle();
  press("alt+Right");
  expectSameView(_viewer->view(), top);
}

TEST_F(NavigationViewerTest, aScanOfOnePointCanBeZoomedInAndOut) {
  _points = {{100, 200, 300, 0, 0}};
  writeLasFile(path("one.las"), _points, kOffsetX, kOffsetY);
  start({"--verbose", "--size", "800x600", path("one.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: one.las"));
  waitUntilLoaded(1);
  const osg::Vec3d point = coordinatesOf(_points[0]);
  const double home = (_viewer->view().eye - point).length();
  EXPECT_GT(home, 0.5);
  _viewer->movePointer(400, 300);
  for (int notch = 0; notch < 4; ++notch) {
    _viewer->click(kWheelDown);
  }
  _viewer->settle();
  EXPECT_NEAR((_viewer->view().eye - point).length() / home, std::pow(0.8, -4), 0.05);
}

TEST_F(NavigationViewerTest, theUsersOwnMovesAreInTheHistory) {
  showGrid();
  const ReportedView home = _viewer->view();
  drag(kRight, {400, 300}, {90, 30});
  const ReportedView turned = _viewer->view();
  press("alt+Left");
  expectSameView(_viewer->view(), home);
  press("alt+Right");
  expectSameView(_viewer->view(), turned);
}

// A vertical row of points, some pixels apart.
TEST_F(NavigationViewerTest, aClickPicksThePointNearestToThePixelUnderThePointer) {
  for (int number = 0; number < 60; ++number) {
    _points.push_back({0, 0, number * 100 + number % 7 * 9, 0, 0});
  }
  writeLasFile(path("row.las"), _points, kOffsetX, kOffsetY);
  start({"--verbose", "--ortho", "--point-size", "1", "--size", "800x600", path("row.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: row.las"));
  waitUntilLoaded(60);
  press("F4");
  int checked = 0;
  for (int number = 10; number < 50 && checked < 8; ++number) {
    const auto index = static_cast<std::size_t>(number);
    const Pixel upper = pixelOf(_points[index + 1]);
    const int apart = pixelOf(_points[index]).yFromTop - upper.yFromTop;
    if (apart % 2 == 0 || apart < 3 || apart > 11) {
      continue;
    }
    // The two rows beside the middle between the points: each is one pixel nearer to one of them.
    const int middle = upper.yFromTop + apart / 2;
    EXPECT_THAT(clickAt({upper.x, middle}), testing::HasSubstr("point " + std::to_string(number + 1) + " of"));
    EXPECT_THAT(clickAt({upper.x, middle + 1}), testing::HasSubstr("point " + std::to_string(number) + " of"));
    ++checked;
  }
  EXPECT_GE(checked, 4);
}

}  // namespace
