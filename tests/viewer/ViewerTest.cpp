#include "support/platform/Platform.h"
#include "tests/viewer/ViewerFixture.h"

#include <QuorOsgUtils/Version.h>

#include <osg/Image>
#include <osgDB/ReadFile>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <filesystem>
#include <fstream>

namespace {

using namespace QuorTests;
using testing::HasSubstr;

using ViewerTest = ViewerFixture;

// A sparse file of 8 GB takes seconds to read; decimated to fit into little memory, it takes no time to draw.
constexpr std::uint32_t kLongPoints = 400000000;

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

TEST_F(ViewerTest, theSecondPickReportsTheDistanceFromTheFirst) {
  showGrid();
  EXPECT_THAT(clickAt(pixelOf(_points[8])), Not(HasSubstr("distance")));
  EXPECT_EQ(clickAt({5, 5}), "picked nothing");
  const double distance = (coordinatesOf(_points[40]) - coordinatesOf(_points[8])).length();
  EXPECT_THAT(clickAt(pixelOf(_points[40])), HasSubstr(" distance " + inMetres(distance)));
}

TEST_F(ViewerTest, rightDragRotatesTheViewAndPicksStayCorrect) {
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

TEST_F(ViewerTest, picksStayCorrectAfterAResize) {
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

TEST_F(ViewerTest, theSecondFullScreenKeyRestoresTheWindowsSizeAndPosition) {
  showGrid();
  // Each new size changes the projection, and a large frame takes long to draw on a busy machine.
  const auto waitUntilDrawn = [this] {
    EXPECT_NE(_viewer->waitForLine("view", std::chrono::seconds(20)), "");
    _viewer->settle();
  };
  _viewer->moveWindow(211, 137);
  _viewer->resizeWindow(643, 421);
  waitUntilDrawn();
  const ScreenRectangle before = _viewer->windowRectangle();
  EXPECT_EQ(before.width, 643);
  for (int round = 0; round < 2; ++round) {
    _viewer->movePointer(300, 200);
    _viewer->key("F11");
    waitUntilDrawn();
    const ScreenRectangle full = _viewer->windowRectangle();
    EXPECT_EQ(full.x, 0);
    EXPECT_EQ(full.y, 0);
    EXPECT_GT(full.width, before.width);
    EXPECT_GT(full.height, before.height);
    _width = full.width;
    _height = full.height;
    expectClickReports(24);
    _viewer->key("F11");
    waitUntilDrawn();
    EXPECT_TRUE(_viewer->windowRectangle() == before) << round;
    _width = before.width;
    _height = before.height;
    expectClickReports(24);
  }
}

TEST_F(ViewerTest, theWindowHasTheProgramsNameAndIcons) {
  showGrid();
  if (_viewer->window().programNames().empty()) {
    GTEST_SKIP() << "windows do not carry the name of their program on this system";
  }
  EXPECT_THAT(_viewer->window().programNames(), testing::Each("quor_viewer"));
  const std::vector<unsigned long> icons = _viewer->window().icons();
  std::size_t start = 0;
  int count = 0;
  while (start + 2 < icons.size()) {
    EXPECT_EQ(icons[start], icons[start + 1]) << "icons are square";
    start += 2 + icons[start] * icons[start + 1];
    ++count;
  }
  EXPECT_EQ(start, icons.size());
  EXPECT_GE(count, 2);
}

TEST_F(ViewerTest, aLeftDragPicksNothing) {
  showGrid();
  const Pixel start = pixelOf(_points[24]);
  drag(kLeft, start, {40, 0}, "");
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("picked")));
}

TEST_F(ViewerTest, theProjectionKeySwitchesAndHomeRestoresTheView) {
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

TEST_F(ViewerTest, theScreenshotKeyWritesAPictureIntoTheWorkingFolder) {
  showGrid();
  _viewer->movePointer(400, 300);
  _viewer->key("p");
  EXPECT_THAT(_viewer->waitForLine("Screenshot"), HasSubstr("quor_viewer_1.png"));
  _viewer->key("p");
  EXPECT_THAT(_viewer->waitForLine("Screenshot"), HasSubstr("quor_viewer_2.png"));
  EXPECT_GT(std::filesystem::file_size(path("quor_viewer_2.png")), 1000U);
}

// The background has one colour in each row, apart from noise.
TEST_F(ViewerTest, aScreenshotShowsTheStatusBarOnlyWithShift) {
  showGrid();
  const auto saved = [this](const std::string& key, const std::string& kind) {
    _viewer->key(key);
    const std::string line = _viewer->waitForLine("Screenshot");
    EXPECT_THAT(line, testing::StartsWith("Screenshot " + kind + " status bar saved to " + path("quor_viewer_")));
    _viewer->settle();
    return osgDB::readRefImageFile(line.substr(line.find(_folder.string())));
  };
  const auto unevenRows = [](const osg::Image& image) {
    constexpr unsigned int kStatusBarPixels = 50;
    constexpr float kNoise = 4.0f / 255.0f;
    int uneven = 0;
    for (unsigned int row = 0; row < kStatusBarPixels; ++row) {
      bool even = true;
      for (unsigned int column = 1; column < 800; ++column) {
        even = even && (image.getColor(column, row) - image.getColor(0U, row)).length() < kNoise;
      }
      uneven += even ? 0 : 1;
    }
    return uneven;
  };
  const osg::ref_ptr<osg::Image> without = saved("p", "without");
  const osg::ref_ptr<osg::Image> with = saved("shift+p", "with");
  const osg::ref_ptr<osg::Image> withoutAgain = saved("p", "without");
  ASSERT_TRUE(without && with && withoutAgain);
  EXPECT_EQ(unevenRows(*without), 0);
  EXPECT_EQ(unevenRows(*withoutAgain), 0);
  EXPECT_GT(unevenRows(*with), 10) << "two lines of text";
}

TEST_F(ViewerTest, theCloseLookKeyCentresThePick) {
  showGrid();
  expectClickReports(8);
  _viewer->key("f");
  _viewer->settle();
  const Pixel middle = pixelOf(_points[8]);
  EXPECT_NEAR(middle.x, 400, 1);
  EXPECT_NEAR(middle.yFromTop, 300, 1);
}

TEST_F(ViewerTest, pointerMovesAndUnboundKeysDrawNoFrame) {
  const auto framesOfARun = [this](int moves) {
    showGrid();
    _viewer->movePointer(400, 300);
    for (int move = 0; move < moves; ++move) {
      _viewer->movePointer(100 + 15 * move, 100 + 10 * move);
      _viewer->key("k");
    }
    _viewer->settle();
    _viewer->requestClose();
    const std::string line = _viewer->waitForLine("frames drawn ");
    EXPECT_EQ(_viewer->exitStatus(), 0);
    return line.empty() ? -1 : std::stoi(line.substr(std::string("frames drawn ").size()));
  };
  constexpr int kMoves = 40;
  const int still = framesOfARun(0);
  const int moved = framesOfARun(kMoves);
  EXPECT_GT(still, 0);
  constexpr int kChance = 3;  // how many frames loading takes differs a little
  EXPECT_LE(moved, still + kChance) << "frames that a still pointer needs: " << still;
}

TEST_F(ViewerTest, severalFilesAppearInTheirCommonCoordinateFrame) {
  _points = gridPoints();
  writeLasFile(path("a.las"), _points, kOffsetX, kOffsetY);
  writeLasFile(path("b.las"), _points, kOffsetX + 100.0, kOffsetY);
  start({"--verbose", "--point-size", "9", "--size", "800x600", path("a.las"), path("b.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: a.las, b.las"));
  waitUntilLoaded(98);
  LasFilePoint inSecond = _points[24];
  EXPECT_THAT(clickAt(pixelOf(inSecond)), HasSubstr("point 24 of a.las"));
  inSecond.x += 10000;
  const std::string line = clickAt(pixelOf(inSecond));
  EXPECT_THAT(line, HasSubstr("point 24 of b.las"));
  EXPECT_THAT(line, HasSubstr("picked " + inMetres(coordinatesOf(inSecond).x()) + " "));
  EXPECT_THAT(line, HasSubstr("distance 100.00"));
}

TEST_F(ViewerTest, aFileTruncatedWhileItLoadsIsReportedWithTheOffsetAndTheViewerContinues) {
  if (!QuorTests::mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  constexpr std::uintmax_t kEnd = 20000007;
  writeHollowLasFile(path("cut.las"), kLongPoints);
  start({"--verbose", "--no-index", "--memory", "0.1", path("cut.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: cut.las"));
  std::filesystem::resize_file(path("cut.las"), kEnd);
  EXPECT_EQ(_viewer->waitForLine("quor_viewer:"), "quor_viewer: " + path("cut.las") +
                                                      ": the file was truncated while it was being read, at byte " +
                                                      std::to_string(kEnd));
  EXPECT_NE(_viewer->waitForLine("loaded"), "");
  _viewer->settle();
  _viewer->movePointer(400, 300);
  _viewer->key("ctrl+q");
  EXPECT_EQ(_viewer->exitStatus(), 0);
}

TEST_F(ViewerTest, aScanCanBeAddedByItsPathWhileAnotherIsLoading) {
  constexpr unsigned int kFitting = 107374182 / 40;  // points of 40 bytes into 0.1 GiB
  constexpr unsigned int kDecimation = (kLongPoints + kFitting - 1) / kFitting;
  constexpr unsigned int kShown = (kLongPoints + kDecimation - 1) / kDecimation;
  writeHollowLasFile(path("long.las"), kLongPoints);
  writeLasFile(path("b.las"), gridPoints(), 0.0, 0.0);
  start({"--verbose", "--no-index", "--memory", "0.1", "--size", "320x240", path("long.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: long.las"));
  ASSERT_NE(_viewer->waitForLine("view"), "");
  _viewer->movePointer(100, 100);
  _viewer->key("a");
  _viewer->type("x.las");  // in the working folder: a short path is typed while the points are still being loaded
  _viewer->key("BackSpace BackSpace BackSpace BackSpace BackSpace");
  _viewer->type("b.las");
  _viewer->key("Return");
  EXPECT_EQ(_viewer->waitForLine("adding"), "adding b.las");
  EXPECT_EQ(_viewer->output().find("loaded"), std::string::npos) << "the first had been loaded already";
  EXPECT_EQ(_viewer->waitForLine("loaded", std::chrono::seconds(120)),
            "loaded " + std::to_string(kShown + 49) + " points");
}

TEST_F(ViewerTest, anInvalidPathIsReportedAndChangesNothing) {
  showGrid();
  _viewer->movePointer(400, 300);
  _viewer->key("a");
  _viewer->type("/nowhere.las");
  _viewer->key("Return");
  EXPECT_EQ(_viewer->waitForLine("quor_viewer:"), "quor_viewer: /nowhere.las: no such file");
  expectClickReports(24);
}

TEST_F(ViewerTest, aScanThatIsTooLargeForTheMemoryIsDecimatedAndPicksStayExact) {
  constexpr int kPoints = 6000;  // 2,684 fit into 0.0001 GiB
  _points.clear();
  for (int number = 0; number < kPoints; ++number) {
    _points.push_back(
        {number % 100 * 100, number / 100 * 100, number % 13, static_cast<std::uint16_t>(1000 + number), 2});
  }
  writeLasFile(path("dense.las"), _points, kOffsetX, kOffsetY);
  start({"--verbose", "--no-index", "--memory", "0.0001", "--point-size", "5", "--size", "800x600", path("dense.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: dense.las"));
  EXPECT_EQ(_viewer->waitForLine("showing"),
            "showing every 3rd point of dense.las: 2,000 of 6,000, to fit into 0.0001 GiB");
  waitUntilLoaded(2000);
  for (const std::size_t number : {3000U, 2925U, 3036U}) {
    const osg::Vec3d place = coordinatesOf(_points[number]);
    const std::string line = clickAt(pixelOf(_points[number]));
    EXPECT_THAT(line, HasSubstr("picked " + inMetres(place.x()) + " " + inMetres(place.y()) + " "));
    EXPECT_THAT(line, HasSubstr(" intensity " + std::to_string(1000 + number) + " "));
    EXPECT_THAT(line, HasSubstr(" point " + std::to_string(number) + " of dense.las"));
  }
}

TEST_F(ViewerTest, recordsBeyondFourGibibytesAreLoadedToTheLastAndPicksAreExact) {
  constexpr std::uint32_t kRecordsOffset = 4294967000U;
  _points = gridPoints();
  writeLasFile(path("grid.las"), _points, kOffsetX, kOffsetY, kRecordsOffset);
  ASSERT_GT(std::filesystem::file_size(path("grid.las")), std::uintmax_t{1} << 32U);
  start({"--verbose", "--point-size", "9", "--size", "800x600", path("grid.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: grid.las"));
  waitUntilLoaded(49);
  for (const int number : {0, 24, 48}) {
    expectClickReports(number);
  }
}

TEST_F(ViewerTest, anUnreadableFileIsNamedAndTheViewerFails) {
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

TEST_F(ViewerTest, anInvalidOptionIsNamedAndTheViewerFails) {
  start({"--fast"});
  EXPECT_EQ(_viewer->exitStatus(), 1);
  EXPECT_THAT(_viewer->output(), HasSubstr("'--fast'"));
}

TEST_F(ViewerTest, helpAndVersionSucceed) {
  start({"--help"});
  EXPECT_EQ(_viewer->exitStatus(), 0);
  EXPECT_THAT(_viewer->output(), HasSubstr("--colour-by"));
  start({"--version"});
  EXPECT_EQ(_viewer->exitStatus(), 0);
  using namespace QuorOsgUtils;
  const std::string version =
      std::to_string(kVersionMajor) + '.' + std::to_string(kVersionMinor) + '.' + std::to_string(kVersionPatch);
  EXPECT_EQ(_viewer->output(), "quor_viewer " + version + '\n');
}

TEST_F(ViewerTest, aRequestedPictureHasTheWindowsSize) {
  start({"--size", "320x200", "--screenshot", path("picture.png")});
  EXPECT_EQ(_viewer->exitStatus(), 0);
  std::ifstream file(path("picture.png"), std::ios::binary);
  std::string head(24, '\0');
  file.read(head.data(), 24);
  EXPECT_EQ(head.substr(1, 3), "PNG");
  EXPECT_EQ(head.substr(16, 8), std::string("\0\0\x01\x40\0\0\0\xC8", 8));
}

TEST_F(ViewerTest, theTourOfTheBundledScanWritesItsPicturesWithoutGlErrors) {
  start({"--size", "480x270", "--tour", path("tour")});
  EXPECT_EQ(_viewer->exitStatus(std::chrono::seconds(240)), 0);
  EXPECT_THAT(_viewer->output(), HasSubstr("loaded 21932 points"));
  EXPECT_THAT(_viewer->output(), HasSubstr(" 0 GL errors"));
  std::ifstream file(path("tour/tour.json"));
  const auto steps = nlohmann::json::parse(file)["steps"];
  for (const auto& step : steps) {
    const auto picture = step["picture"].get<std::string>();
    EXPECT_GT(std::filesystem::file_size(path("tour/" + picture)), 1000U) << picture;
  }
  EXPECT_GT(steps.size(), 20U);
  EXPECT_THAT(_viewer->output(), HasSubstr("tour: " + std::to_string(steps.size()) + " pictures"));
}

}  // namespace
