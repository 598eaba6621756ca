#include "DisplayConnection.h"
#include "LasFile.h"
#include "ViewerProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace {

using namespace QuorTests;
using testing::HasSubstr;

constexpr int kRight = 3;
constexpr int kMiddle = 2;
constexpr int kLeft = 1;
constexpr int kWheelUp = 4;
constexpr int kWheelDown = 5;

constexpr double kOffsetX = 9876543.0;
constexpr double kOffsetY = 10000000.0;
constexpr int kSide = 7;
constexpr int kSpacingSteps = 1000;  // ten metres

std::vector<LasFilePoint> gridPoints() {
  std::vector<LasFilePoint> points;
  for (int row = 0; row < kSide; ++row) {
    for (int column = 0; column < kSide; ++column) {
      const int number = row * kSide + column;
      points.push_back({column * kSpacingSteps + number, row * kSpacingSteps - number, number * 7,
                        static_cast<std::uint16_t>(1000 + number), static_cast<std::uint8_t>(number % 23)});
    }
  }
  return points;
}

osg::Vec3d coordinatesOf(const LasFilePoint& point) {
  return {point.x * kLasFileScale + kOffsetX, point.y * kLasFileScale + kOffsetY, point.z * kLasFileScale};
}

std::string inMetres(double value) {
  std::ostringstream text;
  text.precision(2);
  text << std::fixed << value;
  return text.str();
}

struct Pixel {
  int x = 0;
  int yFromTop = 0;
};

class ViewerTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!holdDisplay()) {
      GTEST_SKIP() << "there is no display";
    }
    _folder = std::filesystem::temp_directory_path() / ("quor_viewer_test_" + std::to_string(getpid()));
    std::filesystem::create_directories(_folder);
  }

  void TearDown() override {
    _viewer.reset();
    if (!_folder.empty()) {
      std::filesystem::remove_all(_folder);
    }
  }

  std::string path(const std::string& name) const { return (_folder / name).string(); }

  void start(std::vector<std::string> arguments) { _viewer = std::make_unique<ViewerProcess>(arguments); }

  void showGrid(const std::vector<std::string>& options = {}) {
    _points = gridPoints();
    writeLasFile(path("grid.las"), _points, kOffsetX, kOffsetY);
    std::vector<std::string> arguments = {"--verbose", "--point-size", "9", "--size", "800x600", path("grid.las")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    start(arguments);
    ASSERT_TRUE(_viewer->findWindow("quor_viewer: grid.las"));
    ASSERT_EQ(_viewer->waitForLine("loaded"), "loaded 49 points");
    _viewer->settle();
  }

  // Where the reported view says that a point of the file must be seen.
  Pixel pixelOf(const LasFilePoint& point) const {
    const ReportedView view = _viewer->view();
    const osg::Matrixd look = osg::Matrixd::lookAt(osg::Vec3d(), view.direction(), view.up);
    const osg::Vec3d device = (coordinatesOf(point) - view.eye) * look * view.projection;
    return {static_cast<int>(std::floor((device.x() + 1.0) * 0.5 * _width)),
            static_cast<int>(std::floor((1.0 - device.y()) * 0.5 * _height))};
  }

  std::string clickAt(const Pixel& pixel) {
    _viewer->movePointer(pixel.x, pixel.yFromTop);
    _viewer->click(kLeft);
    return _viewer->waitForLine("picked");
  }

  void expectClickReports(int number) {
    SCOPED_TRACE(number);
    const LasFilePoint& point = _points.at(static_cast<std::size_t>(number));
    const osg::Vec3d place = coordinatesOf(point);
    const std::string line = clickAt(pixelOf(point));
    EXPECT_THAT(line, HasSubstr("picked " + inMetres(place.x()) + " " + inMetres(place.y()) + " " +
                                inMetres(place.z()) + " class " + std::to_string(number % 23) + " "));
    EXPECT_THAT(line, HasSubstr(" intensity " + std::to_string(1000 + number) + " "));
    EXPECT_THAT(line, HasSubstr(" point " + std::to_string(number) + " of grid.las"));
  }

  // A hand that waits for each picture: the manipulator reads the frame drawn last. The left button moves no view.
  void waitForTheMove(int button) {
    if (button == kLeft) {
      _viewer->settle();
    } else {
      EXPECT_NE(_viewer->waitForLine("view", std::chrono::seconds(20)), "");
    }
  }

  void drag(int button, Pixel from, Pixel by) {
    constexpr int kMoves = 8;
    _viewer->movePointer(from.x, from.yFromTop);
    _viewer->settle();
    _viewer->press(button);
    _viewer->settle();
    for (int move = 1; move <= kMoves; ++move) {
      _viewer->movePointer(from.x + by.x * move / kMoves, from.yFromTop + by.yFromTop * move / kMoves);
      waitForTheMove(button);
    }
    _viewer->release(button);
    _viewer->settle();
  }

  int _width = 800;
  int _height = 600;
  std::filesystem::path _folder;
  std::vector<LasFilePoint> _points;
  std::unique_ptr<ViewerProcess> _viewer;
};

TEST_F(ViewerTest, leftClickReportsTheCoordinatesOfThePointThatIsThere) {
  showGrid();
  for (const int number : {0, 6, 17, 24, 31, 42, 48}) {
    expectClickReports(number);
  }
}

TEST_F(ViewerTest, leftClickReportsTheSameInTheOrthographicProjection) {
  showGrid({"--ortho"});
  for (const int number : {0, 24, 48}) {
    expectClickReports(number);
  }
}

TEST_F(ViewerTest, clickBesideTheCloudReportsNone) {
  showGrid();
  EXPECT_EQ(clickAt({5, 5}), "picked nothing");
}

TEST_F(ViewerTest, theSecondPickTellsTheDistanceFromTheFirst) {
  showGrid();
  EXPECT_THAT(clickAt(pixelOf(_points[8])), Not(HasSubstr("distance")));
  EXPECT_EQ(clickAt({5, 5}), "picked nothing");
  const double distance = (coordinatesOf(_points[40]) - coordinatesOf(_points[8])).length();
  EXPECT_THAT(clickAt(pixelOf(_points[40])), HasSubstr(" distance " + inMetres(distance)));
}

TEST_F(ViewerTest, rightDragTurnsTheViewAndPickingStaysRight) {
  showGrid();
  const ReportedView before = _viewer->view();
  drag(kRight, {400, 300}, {90, 30});
  const ReportedView after = _viewer->view();
  EXPECT_GT(std::acos(before.direction() * after.direction()), 0.1);
  EXPECT_GT((after.eye - before.eye).length(), 1.0);
  expectClickReports(24);
}

TEST_F(ViewerTest, middleDragPansWithThePointUnderThePointer) {
  showGrid({"--point-size", "32"});
  const ReportedView before = _viewer->view();
  const Pixel start = pixelOf(_points[24]);
  drag(kMiddle, start, {-80, 48});
  const ReportedView after = _viewer->view();
  EXPECT_LT((after.direction() - before.direction()).length(), 1e-5);
  const Pixel end = pixelOf(_points[24]);
  EXPECT_NEAR(end.x, start.x - 80, 2);
  EXPECT_NEAR(end.yFromTop, start.yFromTop + 48, 2);
  expectClickReports(24);
}

TEST_F(ViewerTest, theWheelZoomsTowardsThePointerAndAway) {
  showGrid();
  const ReportedView before = _viewer->view();
  _viewer->movePointer(400, 300);
  _viewer->click(kWheelUp);
  _viewer->settle();
  const ReportedView nearer = _viewer->view();
  EXPECT_GT((nearer.eye - before.eye) * before.direction(), 1.0);
  expectClickReports(24);
  _viewer->movePointer(400, 300);
  _viewer->click(kWheelDown);
  _viewer->settle();
  EXPECT_LT((_viewer->view().eye - nearer.eye) * before.direction(), -1.0);
}

TEST_F(ViewerTest, resizingTheWindowKeepsPickingRight) {
  showGrid();
  for (const auto& [width, height] : {std::pair{1000, 420}, std::pair{431, 577}}) {
    _viewer->resizeWindow(width, height);
    _viewer->settle();
    _width = width;
    _height = height;
    expectClickReports(17);
    expectClickReports(31);
  }
}

TEST_F(ViewerTest, aLeftDragPicksNothing) {
  showGrid();
  const Pixel start = pixelOf(_points[24]);
  drag(kLeft, start, {40, 0});
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("picked")));
}

TEST_F(ViewerTest, theKeyForTheProjectionSwitchesAndHomeComesBack) {
  showGrid();
  const ReportedView home = _viewer->view();
  _viewer->movePointer(400, 300);
  _viewer->key("o");
  _viewer->settle();
  EXPECT_EQ(_viewer->view().projection(3, 3), 1.0);
  _viewer->key("o");
  drag(kRight, {400, 300}, {60, 60});
  _viewer->key("Home");
  _viewer->settle();
  EXPECT_EQ(_viewer->view().projection(3, 3), 0.0);
  EXPECT_LT((_viewer->view().eye - home.eye).length(), 1e-3);
}

TEST_F(ViewerTest, theKeyForAPictureWritesOneIntoTheWorkingFolder) {
  std::filesystem::current_path(_folder);
  showGrid();
  _viewer->movePointer(400, 300);
  _viewer->key("p");
  EXPECT_THAT(_viewer->waitForLine("Picture"), HasSubstr("quor_viewer_1.png"));
  _viewer->key("p");
  EXPECT_THAT(_viewer->waitForLine("Picture"), HasSubstr("quor_viewer_2.png"));
  EXPECT_GT(std::filesystem::file_size(path("quor_viewer_2.png")), 1000U);
  std::filesystem::current_path("/");
}

TEST_F(ViewerTest, theKeyForACloseLookBringsThePickIntoTheMiddle) {
  showGrid();
  expectClickReports(8);
  _viewer->key("f");
  _viewer->settle();
  const Pixel middle = pixelOf(_points[8]);
  EXPECT_NEAR(middle.x, 400, 1);
  EXPECT_NEAR(middle.yFromTop, 300, 1);
}

TEST_F(ViewerTest, escapeQuitsWithSuccess) {
  showGrid();
  _viewer->movePointer(400, 300);
  _viewer->key("Escape");
  EXPECT_EQ(_viewer->exitStatus(), 0);
}

TEST_F(ViewerTest, closingWhileLoadingIsClean) {
  writeHollowLasFile(path("long.las"), 40000000);
  start({"--verbose", path("long.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: long.las"));
  ASSERT_NE(_viewer->waitForLine("view"),
            "");  // keys that come before the window's first frame are dropped by the engine
  _viewer->movePointer(400, 300);
  _viewer->key("Escape");
  EXPECT_EQ(_viewer->exitStatus(), 0);
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("loaded")));
}

TEST_F(ViewerTest, severalFilesAppearInTheirCommonFrame) {
  _points = gridPoints();
  writeLasFile(path("a.las"), _points, kOffsetX, kOffsetY);
  writeLasFile(path("b.las"), _points, kOffsetX + 100.0, kOffsetY);
  start({"--verbose", "--point-size", "9", "--size", "800x600", path("a.las"), path("b.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: a.las, b.las"));
  EXPECT_EQ(_viewer->waitForLine("loaded"), "loaded 98 points");
  _viewer->settle();
  LasFilePoint inSecond = _points[24];
  EXPECT_THAT(clickAt(pixelOf(inSecond)), HasSubstr("point 24 of a.las"));
  inSecond.x += 10000;
  const std::string line = clickAt(pixelOf(inSecond));
  EXPECT_THAT(line, HasSubstr("point 24 of b.las"));
  EXPECT_THAT(line, HasSubstr("picked " + inMetres(coordinatesOf(inSecond).x()) + " "));
  EXPECT_THAT(line, HasSubstr("distance 100.00"));
}

TEST_F(ViewerTest, whatCannotBeShownIsNamedAndEndsWithFailure) {
  writeLasFile(path("cut.las"), gridPoints(), kOffsetX, kOffsetY);
  std::filesystem::resize_file(path("cut.las"), 500);
  std::ofstream(path("notes.txt")) << "not a scan";
  std::ofstream(path("empty.las")) << "";
  for (const std::string file : {"cut.las", "notes.txt", "empty.las", "missing.las"}) {
    SCOPED_TRACE(file);
    start({path(file)});
    EXPECT_EQ(_viewer->exitStatus(), 1);
    EXPECT_THAT(_viewer->output(), testing::StartsWith("quor_viewer: "));
    EXPECT_THAT(_viewer->output(), HasSubstr(path(file)));
  }
}

TEST_F(ViewerTest, aBadOptionIsNamedAndEndsWithFailure) {
  start({"--fast"});
  EXPECT_EQ(_viewer->exitStatus(), 1);
  EXPECT_THAT(_viewer->output(), HasSubstr("'--fast'"));
}

TEST_F(ViewerTest, helpAndVersionEndWithSuccess) {
  start({"--help"});
  EXPECT_EQ(_viewer->exitStatus(), 0);
  EXPECT_THAT(_viewer->output(), HasSubstr("--colour-by"));
  start({"--version"});
  EXPECT_EQ(_viewer->exitStatus(), 0);
  EXPECT_THAT(_viewer->output(), testing::MatchesRegex("quor_viewer [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(ViewerTest, aPictureOnRequestHasTheWindowsSize) {
  start({"--size", "320x200", "--screenshot", path("picture.png")});
  EXPECT_EQ(_viewer->exitStatus(), 0);
  std::ifstream file(path("picture.png"), std::ios::binary);
  std::string head(24, '\0');
  file.read(head.data(), 24);
  EXPECT_EQ(head.substr(1, 3), "PNG");
  EXPECT_EQ(head.substr(16, 8), std::string("\0\0\x01\x40\0\0\0\xC8", 8));
}

TEST_F(ViewerTest, theTourOfTheBundledScanLeavesItsPicturesWithoutGlErrors) {
  start({"--size", "480x270", "--tour", path("tour")});
  EXPECT_EQ(_viewer->exitStatus(std::chrono::seconds(240)), 0);
  EXPECT_THAT(_viewer->output(), HasSubstr("loaded 21932 points"));
  EXPECT_THAT(_viewer->output(), HasSubstr(" 0 GL errors"));
  std::ifstream file(path("tour/tour.json"));
  std::string name;
  int pictures = 0;
  for (std::string word; file >> word;) {
    if (word == "\"picture\":") {
      file >> name;
      name = name.substr(1, name.size() - 3);
      EXPECT_TRUE(std::filesystem::file_size(path("tour/" + name)) > 1000) << name;
      ++pictures;
    }
  }
  EXPECT_GT(pictures, 20);
  EXPECT_THAT(_viewer->output(), HasSubstr("tour: " + std::to_string(pictures) + " pictures"));
}

}  // namespace
