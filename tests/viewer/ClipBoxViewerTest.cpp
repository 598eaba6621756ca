#include "tests/viewer/SceneFixture.h"
#include "tests/viewer/ViewerFixture.h"

#include <osg/Math>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <vector>

namespace {

using namespace QuorTests;
using testing::HasSubstr;
using testing::StartsWith;

constexpr double kWithinConePixels = 9.0;

// The box as the viewer reports it, with the test's own arithmetic.
struct ReportedBox {
  osg::Vec3d size, centre, axis;
  double degrees = 0.0;

  explicit ReportedBox(const std::string& line) {
    std::string word;
    std::istringstream words(line);
    words >> word >> word >> size.x() >> size.y() >> size.z() >> word >> centre.x() >> centre.y() >> centre.z() >>
        word >> degrees >> axis.x() >> axis.y() >> axis.z();
    EXPECT_TRUE(static_cast<bool>(words)) << line;
  }

  // Rotates by Rodrigues' formula.
  osg::Vec3d rotated(const osg::Vec3d& v, double sign) const {
    const double t = sign * degrees * osg::PI / 180.0;
    return v * std::cos(t) + (axis ^ v) * std::sin(t) + axis * ((axis * v) * (1.0 - std::cos(t)));
  }

  // Converts from the box's local frame, whose origin is the box's centre.
  osg::Vec3d world(const osg::Vec3d& local) const { return centre + rotated(local, 1.0); }

  // Depth inside the nearest face; negative outside.
  double depthOf(const osg::Vec3d& place) const {
    const osg::Vec3d local = rotated(place - centre, -1.0);
    double depth = 1e300;
    for (int i = 0; i < 3; ++i) {
      depth = std::min(depth, 0.5 * size[i] - std::abs(local[i]));
    }
    return depth;
  }
};

using GridPoint = std::array<std::int32_t, 3>;

std::multiset<GridPoint> pointsInLasFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::multiset<GridPoint> points;
  if (bytes.size() < 227) {
    ADD_FAILURE() << path << " has " << bytes.size() << " bytes";
    return points;
  }
  std::uint32_t start = 0, count = 0;
  std::uint16_t length = 0;
  std::memcpy(&start, &bytes[96], sizeof start);
  std::memcpy(&length, &bytes[105], sizeof length);
  std::memcpy(&count, &bytes[107], sizeof count);
  EXPECT_EQ(bytes.size(), start + static_cast<std::size_t>(count) * length);
  for (std::size_t at = start; at + length <= bytes.size(); at += length) {
    GridPoint point{};
    std::memcpy(point.data(), &bytes[at], sizeof point);
    points.insert(point);
  }
  return points;
}

class ClipBoxViewerTest : public ViewerFixture {
 protected:
  ReportedBox reportedBox() const {
    const std::string output = "\n" + _viewer->output();  // the line may be the first one
    const std::size_t start = output.rfind("\nclip size");
    return ReportedBox(start == std::string::npos ? std::string()
                                                  : output.substr(start + 1, output.find('\n', start + 1) - start));
  }

  void pressKey(const std::string& name) {
    _viewer->movePointer(400, 20);
    _viewer->key(name);
    _viewer->settle();
  }

  static Pixel between(Pixel from, Pixel to) { return {to.x - from.x, to.yFromTop - from.yFromTop}; }

  // Drags from one position in the box's local frame to another; if there is a handle, each move changes the box.
  void dragHandle(const osg::Vec3d& from, const osg::Vec3d& to) { _drag(from, to, "clip size"); }
  void dragWhereNoHandleIs(const osg::Vec3d& from, const osg::Vec3d& to) { _drag(from, to, ""); }

  // Presses a handle and drags it, without the release.
  void holdHandle(const osg::Vec3d& from, const osg::Vec3d& to) {
    const ReportedBox box = reportedBox();
    const Pixel start = pixelOf(box.world(from));
    const Pixel end = pixelOf(box.world(to));
    _viewer->movePointer(start.x, start.yFromTop);
    _viewer->settle();
    _viewer->press(kLeft);
    _viewer->settle();
    _viewer->movePointer((start.x + end.x) / 2, (start.yFromTop + end.yFromTop) / 2);
    EXPECT_NE(_viewer->waitForLine("clip size"), "");
    _viewer->movePointer(end.x, end.yFromTop);
    EXPECT_NE(_viewer->waitForLine("clip size"), "");
    _viewer->settle();
  }

  static void expectSameBox(const ReportedBox& box, const ReportedBox& expected) {
    EXPECT_EQ(box.size, expected.size);
    EXPECT_EQ(box.centre, expected.centre);
    EXPECT_EQ(box.degrees, expected.degrees);
  }

  // A way in the window, in the direction in which the box's X axis appears.
  Pixel alongX(double pixels) const {
    const ReportedBox box = reportedBox();
    const Pixel along = between(pixelOf(box.centre), pixelOf(box.world({20.0, 0.0, 0.0})));
    const double share = pixels / std::hypot(along.x, along.yFromTop);
    return {static_cast<int>(std::lround(along.x * share)), static_cast<int>(std::lround(along.yFromTop * share))};
  }

  Pixel rightCone() {
    const ReportedBox box = reportedBox();
    return pixelOf(box.world({0.5 * box.size.x(), 0.0, 0.0}));
  }

  std::multiset<GridPoint> pointsInside(const ReportedBox& box) const {
    std::multiset<GridPoint> inside;
    for (const LasFilePoint& point : _points) {
      const double depth = box.depthOf(coordinatesOf(point));
      EXPECT_GT(std::abs(depth), 1e-3) << "a point too close to a face to classify";
      if (depth > 0.0) {
        inside.insert({point.x, point.y, point.z});
      }
    }
    return inside;
  }

  osg::Vec3d upOfView() const {
    const ReportedView view = _viewer->view();
    return osg::Vec3d(view.up - view.direction() * ((view.up * view.direction()) / view.direction().length2()));
  }

  static float brightness(const osg::Image& image, const Pixel& pixel) {
    const osg::Vec4 colour =
        image.getColor(static_cast<unsigned int>(pixel.x), static_cast<unsigned int>(image.t() - 1 - pixel.yFromTop));
    return (colour.r() + colour.g() + colour.b()) / 3.0f;
  }

  static float brightnessAround(const osg::Image& image, const Pixel& middle) {
    constexpr int kReachPixels = 6;
    float sum = 0.0f;
    for (int y = -kReachPixels; y <= kReachPixels; ++y) {
      for (int x = -kReachPixels; x <= kReachPixels; ++x) {
        sum += brightness(image, {middle.x + x, middle.yFromTop + y});
      }
    }
    return sum;
  }

  // Calls back for pixels away from points and from the overlay, some pixels apart.
  template <typename Visit>
  void forEachBackgroundPixel(Visit visit) const {
    constexpr int kStep = 4;
    constexpr double kPointReach = 8.0;
    constexpr int kOverlayTop = 480;
    std::vector<Pixel> places;
    std::transform(_points.begin(), _points.end(), std::back_inserter(places),
                   [this](const LasFilePoint& point) { return pixelOf(point); });
    for (int y = 0; y < kOverlayTop; y += kStep) {
      for (int x = 0; x < _width - 200; x += kStep) {
        const bool onPoint = std::any_of(places.begin(), places.end(), [&](const Pixel& place) {
          return std::hypot(place.x - x, place.yFromTop - y) < kPointReach;
        });
        if (!onPoint) {
          visit(Pixel{x, y});
        }
      }
    }
  }

  void expectSaveHoldsWhatIsInside(const std::string& name) {
    const ReportedBox box = reportedBox();
    const std::multiset<GridPoint> expected = pointsInside(box);
    EXPECT_GT(expected.size(), 0U);
    EXPECT_LT(expected.size(), _points.size());
    _viewer->key("w");
    const std::string line = _viewer->waitForLine(std::to_string(expected.size()) + " of ");
    EXPECT_THAT(line, testing::EndsWith(" points written to " + path(name)));
    EXPECT_EQ(pointsInLasFile(path(name)), expected);
  }

 private:
  void _drag(const osg::Vec3d& from, const osg::Vec3d& to, const std::string& reported) {
    const ReportedBox box = reportedBox();
    const Pixel start = pixelOf(box.world(from));
    drag(kLeft, start, between(start, pixelOf(box.world(to))), reported);
  }
};

TEST_F(ClipBoxViewerTest, theKeySwitchesABoxAroundTheScanOnAndOff) {
  showGrid();
  pressKey("b");
  EXPECT_THAT(_viewer->output(), HasSubstr("\nclip on\n"));
  const ReportedBox box = reportedBox();
  for (const LasFilePoint& point : _points) {
    EXPECT_GT(box.depthOf(coordinatesOf(point)), 0.01);
    EXPECT_LT((coordinatesOf(point) - box.centre).length(), 0.51 * box.size.length());
  }
  pressKey("b");
  EXPECT_THAT(_viewer->output(), HasSubstr("\nclip off\n"));
  expectClickReports(24);
}

TEST_F(ClipBoxViewerTest, theOptionStartsWithItsBoxAndPicksHitOnlyWhatIsInside) {
  showGrid({"--clip", "9876540 9999990 -10 9876575.1 10000070 10"});
  const ReportedBox box = reportedBox();
  EXPECT_NEAR(box.size.x(), 35.1, 1e-4);
  EXPECT_NEAR(box.centre.y(), 10000030.0, 1e-4);
  EXPECT_EQ(box.degrees, 0.0);
  for (const int number : {0, 16, 24, 45}) {
    ASSERT_GT(box.depthOf(coordinatesOf(_points[static_cast<std::size_t>(number)])), 0.0) << number;
    expectClickReports(number);
  }
  for (const std::size_t number : {std::size_t{6}, std::size_t{26}, std::size_t{48}}) {
    ASSERT_LT(box.depthOf(coordinatesOf(_points[number])), 0.0);
    EXPECT_EQ(clickAt(pixelOf(_points[number])), "picked nothing");
  }
  pressKey("b");
  expectClickReports(26);
}

TEST_F(ClipBoxViewerTest, draggingTheRightFaceInwardsCutsAndSaveWritesTheRest) {
  showGrid({"--clip", "9876538 9999988 -12 9876610 10000068 16"});
  const ReportedBox before = reportedBox();
  dragHandle({0.5 * before.size.x(), 0.0, 0.0}, {0.1 * before.size.x(), 0.0, 0.0});
  const ReportedBox after = reportedBox();
  EXPECT_NEAR(after.size.x(), 0.6 * before.size.x(), 1.0);
  EXPECT_EQ(after.size.y(), before.size.y());
  EXPECT_NEAR(after.centre.x() - 0.5 * after.size.x(), before.centre.x() - 0.5 * before.size.x(), 1e-3);
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("picked")));
  expectSaveHoldsWhatIsInside("grid_inside.las");
  expectSaveHoldsWhatIsInside("grid_inside_2.las");
}

TEST_F(ClipBoxViewerTest, aRotatedAndMovedBoxSavesThePointsInside) {
  showGrid({"--clip", "9876538 9999988 -12 9876590 10000048 16"});
  const ReportedBox before = reportedBox();
  pressKey("t");
  const osg::Vec3d eye = _viewer->view().eye - before.centre;
  const double start = std::atan2(eye.y(), eye.x()) + 0.35;
  const double radius = 1.1 * 0.5 * before.size.length();
  const auto onRing = [&](double angle) { return osg::Vec3d(radius * std::cos(angle), radius * std::sin(angle), 0.0); };
  dragHandle(onRing(start), onRing(start + 0.6));
  const ReportedBox rotated = reportedBox();
  EXPECT_GT(rotated.degrees, 10.0);
  EXPECT_LT((rotated.axis - osg::Vec3d(0.0, 0.0, 1.0)).length(), 1e-6);
  EXPECT_LT((rotated.size - before.size).length(), 1e-6);
  pressKey("m");
  // A point on the shaft of the X arrow, at any view distance.
  dragHandle({7.0, 0.0, 0.0}, {17.0, 0.0, 0.0});
  const ReportedBox moved = reportedBox();
  EXPECT_NEAR((moved.centre - rotated.centre).length(), 10.0, 1.0);
  EXPECT_LT((moved.centre - rotated.world({10.0, 0.0, 0.0})).length(), 1.0);
  expectSaveHoldsWhatIsInside("grid_inside.las");
}

TEST_F(ClipBoxViewerTest, aFiveCentimetreSectionIsDrawnPickedAndSaved) {
  showGrid({"--clip", "9876530 10000029.755 -10 9876620 10000029.805 10"});
  EXPECT_NEAR(reportedBox().size.y(), 0.05, 1e-6);
  EXPECT_EQ(pointsInside(reportedBox()).size(), 4U);
  for (const int number : {21, 24}) {
    expectClickReports(number);
  }
  for (const std::size_t number : {std::size_t{18}, std::size_t{25}, std::size_t{31}}) {
    EXPECT_EQ(clickAt(pixelOf(_points[number])), "picked nothing");
  }
  expectSaveHoldsWhatIsInside("grid_inside.las");
}

TEST_F(ClipBoxViewerTest, aFiveCentimetreSectionGoesThroughFiveKilometres) {
  constexpr int kSide = 72;
  constexpr int kSpacingSteps = 7000;  // 70 metres
  for (int number = 0; number < kSide * kSide; ++number) {
    const int column = number % kSide;
    const int row = number / kSide;
    _points.push_back({column * kSpacingSteps + row, row * kSpacingSteps, 0});
  }
  writeLasFile(path("wide.las"), _points, kOffsetX, kOffsetY);
  // Row r of column 60 is at 4200 + r / 100 metres.
  start({"--verbose", "--point-size", "5", "--size", "800x600", path("wide.las"), "--clip",
         "9880743.375 9999000 -20 9880743.425 10006000 20"});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: wide.las"));
  waitUntilLoaded(kSide * kSide);
  EXPECT_NEAR(reportedBox().size.x(), 0.05, 1e-6);
  EXPECT_EQ(pointsInside(reportedBox()).size(), 5U);
  const int drawn = 40 * kSide + 60;
  EXPECT_THAT(clickAt(pixelOf(_points[drawn])), HasSubstr(" of wide.las"));
  EXPECT_EQ(clickAt(pixelOf(_points[drawn - 20])), "picked nothing");
  expectSaveHoldsWhatIsInside("wide_inside.las");
}

TEST_F(ClipBoxViewerTest, aFaceCanBeDraggedToASectionOfCentimetres) {
  for (int number = 0; number < 100; ++number) {
    _points.push_back({number % 10 * 30, number / 10 * 30, number});
  }
  writeLasFile(path("small.las"), _points, kOffsetX, kOffsetY);
  start({"--verbose", "--size", "800x600", path("small.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: small.las"));
  waitUntilLoaded(100);
  pressKey("b");
  const ReportedBox before = reportedBox();
  dragHandle({-0.5 * before.size.x(), 0.0, 0.0}, {0.5 * before.size.x() - 0.06, 0.0, 0.0});
  const ReportedBox section = reportedBox();
  EXPECT_GT(section.size.x(), 0.02);
  EXPECT_LT(section.size.x(), 0.1);
  EXPECT_EQ(section.size.y(), before.size.y());
}

TEST_F(ClipBoxViewerTest, facesThatHaveMetCanBeGrabbedAgainByTheirCones) {
  showGrid({"--clip", "9876538 9999988 -12 9876610 10000068 16"});
  for (const double side : {1.0, -1.0}) {
    const double width = reportedBox().size.x();
    dragHandle({0.5 * width, 0.0, 0.0}, {-0.6 * width, 0.0, 0.0});
    const ReportedBox closed = reportedBox();
    EXPECT_NEAR(closed.size.x(), 0.001, 1e-4);
    const Pixel middle = pixelOf(closed.centre);
    const Pixel toCone = alongX(side * kWithinConePixels);
    drag(kLeft, {middle.x + toCone.x, middle.yFromTop + toCone.yFromTop}, alongX(side * 100.0), "clip size");
    const ReportedBox opened = reportedBox();
    EXPECT_GT(opened.size.x(), closed.size.x() + 1.0) << side;
    EXPECT_NEAR(opened.centre.x() - closed.centre.x(), side * 0.5 * (opened.size.x() - closed.size.x()), 1e-3) << side;
  }
}

TEST_F(ClipBoxViewerTest, aClickOnAHandlePicksNothingAndOneBesideItPicksAsBefore) {
  showGrid({"--clip", "9876538 9999988 -12 9876610 10000068 16"});
  const std::string before = _viewer->output();
  const Pixel cone = rightCone();
  _viewer->movePointer(cone.x, cone.yFromTop);
  _viewer->click(kLeft);
  _viewer->settle();
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("picked")));
  expectClickReports(24);
}

TEST_F(ClipBoxViewerTest, aRightDragThatStartsOnAHandleOrbitsAndLeavesTheBoxAlone) {
  showGrid({"--clip", "9876538 9999988 -12 9876610 10000068 16"});
  const ReportedView before = _viewer->view();
  const ReportedBox box = reportedBox();
  drag(kRight, rightCone(), {90, 30});
  EXPECT_GT(std::acos(before.direction() * _viewer->view().direction()), 0.1);
  EXPECT_EQ(reportedBox().size, box.size);
  EXPECT_EQ(reportedBox().centre, box.centre);
}

TEST_F(ClipBoxViewerTest, resetFitsTheBoxToEverythingAndAxesShowAloneOrTogether) {
  showGrid({"--clip", "9876538 9999988 -12 9876550 10000008 16"});
  pressKey("r");
  EXPECT_THAT(_viewer->output(), HasSubstr("\nclip reset\n"));
  EXPECT_EQ(pointsInside(reportedBox()).size(), _points.size());
  pressKey("y");
  EXPECT_THAT(_viewer->output(), HasSubstr("\nclip axes Y\n"));
  const ReportedBox box = reportedBox();
  dragWhereNoHandleIs({0.5 * box.size.x(), 0.0, 0.0}, {0.3 * box.size.x(), 0.0, 0.0});
  EXPECT_EQ(reportedBox().size, box.size);
  pressKey("y");
  EXPECT_THAT(_viewer->output(), HasSubstr("\nclip axes XYZ\n"));
  dragHandle({0.5 * box.size.x(), 0.0, 0.0}, {0.3 * box.size.x(), 0.0, 0.0});
  EXPECT_LT(reportedBox().size.x(), box.size.x());
}

TEST_F(ClipBoxViewerTest, aBoxTooFarAwayToKeepItsSizeIsRefusedAndTheCloudShows) {
  showGrid({"--clip", "900000000 0 0 900000001 1 1"});
  EXPECT_THAT(_viewer->output(), HasSubstr("quor_viewer: --clip is too far away"));
  EXPECT_THAT(_viewer->output(), testing::Not(HasSubstr("clip size")));
  expectClickReports(24);
}

TEST_F(ClipBoxViewerTest, keysAreIgnoredWhileAHandleIsHeld) {
  showGrid();
  pressKey("b");
  const ReportedBox before = reportedBox();
  const Pixel cone = rightCone();
  _viewer->movePointer(cone.x, cone.yFromTop);
  _viewer->settle();
  _viewer->press(kLeft);
  _viewer->settle();
  for (const char* key : {"b", "t", "r", "x"}) {
    _viewer->key(key);
    _viewer->settle();
  }
  _viewer->release(kLeft);
  _viewer->settle();
  for (const char* line : {"clip off", "clip mode", "clip reset", "clip axes"}) {
    EXPECT_THAT(_viewer->output(), testing::Not(HasSubstr(line)));
  }
  pressKey("t");
  EXPECT_THAT(_viewer->output(), HasSubstr("clip mode rotate"));
  EXPECT_EQ(reportedBox().size, before.size);
}

TEST_F(ClipBoxViewerTest, aBoxThatFollowsTheScansEnclosesAScanThatArrivedWhileItsHandleWasHeld) {
  enum class End { Release, Cancel };
  for (const End end : {End::Release, End::Cancel}) {
    SCOPED_TRACE(static_cast<int>(end));
    showGrid();
    writeLasFile(path("b.las"), _points, kOffsetX + 150.0, kOffsetY);
    pressKey("b");
    const ReportedBox one = reportedBox();
    _viewer->key("a");
    _viewer->type("b.las");  // Enter follows while the handle is held
    const Pixel cone = rightCone();
    _viewer->movePointer(cone.x, cone.yFromTop);
    _viewer->settle();
    _viewer->press(kLeft);
    if (end == End::Cancel) {
      const Pixel outwards = alongX(40.0);
      _viewer->movePointer(cone.x + outwards.x, cone.yFromTop + outwards.yFromTop);
      EXPECT_NE(_viewer->waitForLine("clip size"), "");
    }
    _viewer->key("Return");
    waitUntilLoaded(98);
    EXPECT_LT(reportedBox().size.x(), one.size.x() + 100.0);
    if (end == End::Cancel) {
      _viewer->key("Escape");
    }
    _viewer->release(kLeft);
    _viewer->settle();
    const ReportedBox both = reportedBox();
    EXPECT_GT(both.size.x(), one.size.x() + 100.0);
    pressKey("r");
    expectSameBox(both, reportedBox());
  }
}

TEST_F(ClipBoxViewerTest, escapeDuringADragRestoresTheBox) {
  showGrid({"--clip", "9876538 9999988 -12 9876590 10000048 16"});
  const osg::Vec3d size = reportedBox().size;
  const osg::Vec3d eye = _viewer->view().eye - reportedBox().centre;
  const double angle = std::atan2(eye.y(), eye.x()) + 0.35;
  const double radius = 1.1 * 0.5 * size.length();
  const auto onRing = [&](double radians) {
    return osg::Vec3d(radius * std::cos(radians), radius * std::sin(radians), 0.0);
  };
  struct Handle {
    const char* modeKey;
    osg::Vec3d from, to;
  };
  for (const Handle& handle :
       {Handle{"s", {0.5 * size.x(), 0.0, 0.0}, {0.2 * size.x(), 0.0, 0.0}},
        Handle{"t", onRing(angle), onRing(angle + 0.6)}, Handle{"m", {7.0, 0.0, 0.0}, {17.0, 0.0, 0.0}}}) {
    SCOPED_TRACE(handle.modeKey);
    pressKey(handle.modeKey);
    const ReportedBox before = reportedBox();
    holdHandle(handle.from, handle.to);
    const ReportedBox dragged = reportedBox();
    EXPECT_GT((dragged.size - before.size).length() + (dragged.centre - before.centre).length() + dragged.degrees, 5.0);
    _viewer->key("Escape");
    _viewer->settle();
    expectSameBox(reportedBox(), before);
    _viewer->movePointer(300, 300);
    _viewer->release(kLeft);
    _viewer->settle();
    expectSameBox(reportedBox(), before);
    EXPECT_THAT(_viewer->output(), Not(HasSubstr("picked")));
  }
  pressKey("s");
  dragHandle({0.5 * size.x(), 0.0, 0.0}, {0.2 * size.x(), 0.0, 0.0});
  EXPECT_NEAR(reportedBox().size.x(), 0.7 * size.x(), 1.0);
}

TEST_F(ClipBoxViewerTest, clipKeysChangeNothingWhileTheBoxIsOff) {
  showGrid();
  for (const char* key : {"s", "m", "t", "x", "r", "w"}) {
    pressKey(key);
  }
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("\nclip")));
  EXPECT_FALSE(std::filesystem::exists(path("grid_inside.las")));
}

TEST_F(ClipBoxViewerTest, anEmptyBoxIsReportedAndWritesNoFile) {
  showGrid({"--clip", "9876544 10000001 -12 9876546 10000003 16"});
  pressKey("w");
  EXPECT_THAT(_viewer->output(), HasSubstr("No point is inside the box"));
  EXPECT_TRUE(std::filesystem::is_empty(_folder) || !std::filesystem::exists(path("grid_inside.las")));
  EXPECT_FALSE(std::filesystem::exists(path("grid_inside.las.part")));
}

TEST_F(ClipBoxViewerTest, aFileThatCannotBeWrittenIsNamedAndTheViewerContinues) {
  showGrid({"--clip", "9876538 9999988 -12 9876610 10000068 16"});
  std::filesystem::create_directory(path("grid_inside.las.part"));
  pressKey("w");
  EXPECT_THAT(_viewer->output(), HasSubstr("quor_viewer: cannot write " + path("grid_inside.las")));
  EXPECT_FALSE(std::filesystem::exists(path("grid_inside.las")));
  expectClickReports(24);
}

TEST_F(ClipBoxViewerTest, eachScanWithPointsInsideIsWrittenToAFile) {
  _points = gridPoints();
  writeLasFile(path("a.las"), _points, kOffsetX, kOffsetY);
  writeLasFile(path("b.las"), _points, kOffsetX + 100.0, kOffsetY);
  writeLasFile(path("c.las"), _points, kOffsetX + 200.0, kOffsetY);
  start(
      {"--verbose", "--clip", "9876620 9999900 -50 9876720 10000100 50", path("a.las"), path("b.las"), path("c.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: a.las"));
  waitUntilLoaded(147);
  pressKey("w");
  EXPECT_THAT(_viewer->output(), HasSubstr("written to " + path("b_inside.las")));
  EXPECT_EQ(pointsInLasFile(path("b_inside.las")).size(), 49U);
  EXPECT_FALSE(std::filesystem::exists(path("c_inside.las")));
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("quor_viewer: ")));
}

TEST_F(ClipBoxViewerTest, theBallOfTheRotateModeDoesNotDarkenTheBackground) {
  showGrid({"--clip", "9876538 9999988 -12 9876610 10000068 16"});
  const ReportedBox box = reportedBox();
  pressKey("b");
  const osg::ref_ptr<osg::Image> plain = picture();
  pressKey("b");
  pressKey("t");
  const osg::ref_ptr<osg::Image> withBall = picture();
  const Pixel middle = pixelOf(box.centre);
  const Pixel top = pixelOf(box.centre + upOfView() * (0.5 * box.size.length()));
  const double radius = std::hypot(top.x - middle.x, top.yFromTop - middle.yFromTop);
  EXPECT_GT(radius, 150.0);
  constexpr float kNoise = 0.02f;
  int compared = 0;
  forEachBackgroundPixel([&](const Pixel& pixel) {
    if (std::hypot(pixel.x - middle.x, pixel.yFromTop - middle.yFromTop) < radius) {
      ++compared;
      EXPECT_GE(brightness(*withBall, pixel), brightness(*plain, pixel) - kNoise) << pixel.x << " " << pixel.yFromTop;
    }
  });
  EXPECT_GT(compared, 1000);
}

TEST_F(ClipBoxViewerTest, aHandleUnderThePointerIsBrighterUntilThePointerOrTheViewMoves) {
  showGrid({"--clip", "9876538 9999988 -12 9876610 10000068 16"});
  const Pixel cone = rightCone();
  const auto brightnessWithPointerAt = [&](const Pixel& pointer) {
    _viewer->movePointer(pointer.x, pointer.yFromTop);
    _viewer->settle();
    return brightnessAround(*picture(), cone);
  };
  const float plain = brightnessWithPointerAt({400, 20});
  const float highlighted = brightnessWithPointerAt(cone);
  EXPECT_GT(highlighted, plain * 1.15f);
  EXPECT_EQ(brightnessWithPointerAt({cone.x, cone.yFromTop + 60}), plain);
  EXPECT_EQ(brightnessWithPointerAt(cone), highlighted);
  drag(kRight, {200, 300}, {60, 0});
  const Pixel rotated = rightCone();
  ASSERT_GT(std::hypot(rotated.x - cone.x, rotated.yFromTop - cone.yFromTop), 15.0);
  _viewer->movePointer(rotated.x, rotated.yFromTop);
  _viewer->settle();
  EXPECT_GT(brightnessAround(*picture(), rotated), plain * 1.15f);
  _viewer->key("Home");
  _viewer->settle();
  EXPECT_LT(brightnessAround(*picture(), cone), plain * 1.05f);
}

// Runs in this program's own window, to have access to the frame's identifiers, with the display's real pointer.
using ClipBoxPointerTest = SceneFixture;

TEST_F(ClipBoxPointerTest, draggingTheRightFaceInwardsLeavesFewerIdentifiers) {
  _scene->clip.place({-6.0, -6.0, -6.0, 76.0, 56.0, 18.0});
  settle();
  const std::size_t before = seenPoints().size();
  EXPECT_EQ(before, static_cast<std::size_t>(kColumns * kRows));
  const osg::Vec3d cone(76.0, 25.0, 6.0);
  movePointer(cone);
  _window.press(1);
  settle();
  for (int step = 1; step <= 4; ++step) {
    movePointer(cone - osg::Vec3d(step * 10.0, 0.0, 0.0));
  }
  _window.release(1);
  settle();
  const double right = _scene->clip.control().box().xMax();
  EXPECT_NEAR(right, 36.0, 1.0);
  std::set<unsigned int> expected;
  for (int point = 0; point < kColumns * kRows; ++point) {
    if (placeOf(point).x() < right) {
      expected.insert(static_cast<unsigned int>(point));
    }
  }
  EXPECT_LT(expected.size(), before);
  EXPECT_EQ(seenPoints(), expected);
}

}  // namespace
