#include "support/platform/Platform.h"
#include "tests/viewer/ViewerFixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

namespace {

using namespace QuorTests;
using testing::HasSubstr;
using testing::Not;

constexpr double kBesideMetres = 150.0;

/// Scans that are added and closed while the viewer runs, and what the viewer logs about them.
class ScansViewerTest : public ViewerFixture {
 protected:
  /// The grid, and the same grid beside it in a second file.
  void showTwoGrids(std::vector<std::string> options = {}) {
    writeLasFile(path("beside.las"), gridPoints(), kOffsetX + kBesideMetres, kOffsetY);
    _points = gridPoints();
    writeLasFile(path("grid.las"), _points, kOffsetX, kOffsetY);
    std::vector<std::string> arguments = {"--verbose",      "--point-size",    "9", "--size", "800x600",
                                          path("grid.las"), path("beside.las")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    start(arguments);
    ASSERT_TRUE(_viewer->findWindow("quor_viewer: grid.las, beside.las"));
    waitUntilLoaded(98);
  }
  Pixel pixelBeside(int number) const {
    return pixelOf(coordinatesOf(_points.at(static_cast<std::size_t>(number))) + osg::Vec3d(kBesideMetres, 0.0, 0.0));
  }
  std::string closeAt(const Pixel& pixel, const std::string& key = "d") {
    _viewer->movePointer(pixel.x, pixel.yFromTop);
    _viewer->settle();
    _viewer->key(key);
    return _viewer->waitForLine("closed", std::chrono::seconds(10));
  }
};

TEST_F(ScansViewerTest, fileNamesInTheUsersEncodingAreReadAndWritten) {
  const std::optional<std::string> chinese = inUsersEncoding("点云");
  const std::optional<std::string> stem = chinese ? chinese : inUsersEncoding("caf\xC3\xA9");
  ASSERT_TRUE(stem.has_value()) << "this user's encoding has neither Chinese nor French";
  const std::string scan = _folder.string() + "/" + *stem + ".las";
  const std::string picture = _folder.string() + "/" + *stem + ".png";
  writeLasFile(scan, gridPoints(), kOffsetX, kOffsetY);
  start({"--verbose", "--size", "320x200", "--screenshot", picture, scan});
  EXPECT_EQ(_viewer->waitForLine("loaded"), "loaded 49 points") << _viewer->output();
  EXPECT_EQ(_viewer->exitStatus(), 0) << _viewer->output();
  EXPECT_TRUE(std::filesystem::exists(toPath(picture)));
}

TEST_F(ScansViewerTest, theScanUnderThePointerIsClosedAndTheViewStays) {
  showTwoGrids();
  const Pixel onClosed = pixelBeside(24);
  EXPECT_THAT(clickAt(onClosed), HasSubstr("point 24 of beside.las"));
  const ReportedView before = _viewer->view();
  EXPECT_EQ(closeAt(onClosed), "closed beside.las");
  _viewer->settle();
  EXPECT_EQ((_viewer->view().eye - before.eye).length(), 0.0);
  EXPECT_EQ((_viewer->view().centre - before.centre).length(), 0.0);
  EXPECT_TRUE(_viewer->findWindow("quor_viewer: grid.las"));
  EXPECT_EQ(clickAt(onClosed), "picked nothing");
  expectClickReports(24);
}

TEST_F(ScansViewerTest, theViewStaysInParallelProjectionAsWell) {
  showTwoGrids({"--ortho"});
  const ReportedView before = _viewer->view();
  EXPECT_EQ(closeAt(pixelBeside(24)), "closed beside.las");
  _viewer->settle();
  EXPECT_EQ((_viewer->view().eye - before.eye).length(), 0.0);
  for (const int axis : {0, 1}) {  // near and far are fitted to what is left
    EXPECT_EQ(_viewer->view().projection(axis, axis), before.projection(axis, axis));
  }
  expectClickReports(24);
}

TEST_F(ScansViewerTest, theKeyDeleteClosesTheFirstScanAndTheOtherKeepsItsPlace) {
  showTwoGrids();
  EXPECT_EQ(closeAt(pixelOf(_points[24]), "Delete"), "closed grid.las");
  EXPECT_EQ(clickAt(pixelOf(_points[24])), "picked nothing");
  const osg::Vec3d place = coordinatesOf(_points[10]) + osg::Vec3d(kBesideMetres, 0.0, 0.0);
  EXPECT_THAT(clickAt(pixelBeside(10)),
              HasSubstr("picked " + inMetres(place.x()) + " " + inMetres(place.y()) + " " + inMetres(place.z())));
}

TEST_F(ScansViewerTest, withThePointerBesideTheCloudNothingIsClosed) {
  showTwoGrids();
  _viewer->movePointer(5, 5);
  _viewer->settle();
  _viewer->key("d");
  EXPECT_TRUE(isLoggedInTime("There is no scan under the pointer"));
  expectClickReports(24);
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("closed")));
}

TEST_F(ScansViewerTest, thePointThatWasTurnedAboutIsForgottenWithItsScan) {
  for (const bool closed : {false, true}) {
    SCOPED_TRACE(closed);
    showTwoGrids();
    const osg::Vec3d pivot = coordinatesOf(_points[10]) + osg::Vec3d(kBesideMetres, 0.0, 0.0);
    _viewer->key("n");
    drag(kRight, pixelOf(pivot), {30, 10});
    const Pixel place = pixelOf(pivot);
    if (closed) {
      closeAt(pixelBeside(24));
    }
    _viewer->key("F2");
    _viewer->waitForLine("view");
    _viewer->settle();
    const int moved = std::abs(pixelOf(pivot).x - place.x) + std::abs(pixelOf(pivot).yFromTop - place.yFromTop);
    EXPECT_EQ(moved > 20, closed) << moved;
  }
}

TEST_F(ScansViewerTest, aPickOfAClosedScanIsCleared) {
  showTwoGrids();
  EXPECT_THAT(clickAt(pixelBeside(24)), HasSubstr("of beside.las"));
  closeAt(pixelBeside(24));
  EXPECT_THAT(clickAt(pixelOf(_points[24])), Not(HasSubstr("distance")));
}

TEST_F(ScansViewerTest, theClipBoxIsPutAroundWhatIsLeft) {
  showTwoGrids();
  _viewer->key("b");
  const std::string both = _viewer->waitForLine("clip size");
  closeAt(pixelBeside(24));
  const std::string left = _viewer->waitForLine("clip size");
  EXPECT_NE(left, "");
  EXPECT_NE(left, both);
}

TEST_F(ScansViewerTest, onceAllAreClosedTheNextScanIsShownWhereverItIs) {
  showGrid();
  _viewer->key("b");
  EXPECT_EQ(closeAt(pixelOf(_points[24])), "closed grid.las");
  EXPECT_TRUE(_viewer->findWindow("quor_viewer"));
  EXPECT_EQ(clickAt({400, 300}), "picked nothing");
  constexpr double kFarMetres = 3e7;
  writeLasFile(path("far.las"), _points, kOffsetX - kFarMetres, kOffsetY);
  _viewer->key("a");
  _viewer->type(path("far.las"));
  _viewer->key("Return");
  waitUntilLoaded(49);
  const osg::Vec3d place = coordinatesOf(_points[24]) - osg::Vec3d(kFarMetres, 0.0, 0.0);
  EXPECT_THAT(clickAt(pixelOf(place)), HasSubstr("picked " + inMetres(place.x()) + " " + inMetres(place.y()) + " "));
}

/// The grid, and one that is 412 km away from it to the north-east.
class FarScanViewerTest : public ScansViewerTest {
 protected:
  static constexpr double kFarMetres = 412000.0;
  // From the north-east corner of the first to the south-west corner of the second.
  static osg::Vec3d way() {
    const double each = kFarMetres * std::sqrt(0.5);
    return {60.48 + each, 60.0 + each, 0.0};
  }
  void showGridAndAddFarOne() {
    showGrid();
    writeLasFile(path("far.las"), _points, kOffsetX + way().x(), kOffsetY + way().y());
    _viewer->key("a");
    _viewer->type(path("far.las"));
    _viewer->key("Return");
    _reported = _viewer->waitForLine("far.las is ");
    waitUntilLoaded(98);
  }
  // The grid with a record that states the code of its projected coordinate system as a GeoTIFF key.
  void writeGridIn(std::uint16_t code, const std::string& name) {
    constexpr std::uint32_t kHeaderBytes = 227;
    constexpr std::uint32_t kHeadBytes = 54;
    const std::uint16_t keys[] = {1, 1, 0, 1, 3072, 0, 1, code};
    writeLasFile(path(name), gridPoints(), kOffsetX, kOffsetY, kHeaderBytes + kHeadBytes + sizeof keys);
    std::fstream file(path(name), std::ios::binary | std::ios::in | std::ios::out);
    const auto put = [&](std::streamoff at, const void* bytes, std::size_t count) {
      file.seekp(at).write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
    };
    const std::uint32_t records = 1;
    const std::uint16_t identifier = 34735;
    const auto length = static_cast<std::uint16_t>(sizeof keys);
    put(100, &records, sizeof records);
    put(kHeaderBytes + 2, "LASF_Projection", 15);
    put(kHeaderBytes + 18, &identifier, sizeof identifier);
    put(kHeaderBytes + 20, &length, sizeof length);
    put(kHeaderBytes + kHeadBytes, keys, sizeof keys);
  }
  void expectShown(const osg::Vec3d& place) {
    const osg::Vec3d middle = place + osg::Vec3d(30.0, 30.0, 0.0);
    EXPECT_LT((_viewer->view().eye - middle).length(), 400.0);
    const Pixel pixel = pixelOf(middle);
    EXPECT_GT(pixel.x, 0);
    EXPECT_LT(pixel.x, _width);
    EXPECT_GT(pixel.yFromTop, 0);
    EXPECT_LT(pixel.yFromTop, _height);
  }
  void expectKeyShows(const std::string& line, const osg::Vec3d& place) {
    _viewer->key("g");
    EXPECT_EQ(_viewer->waitForLine("zoomed to"), line);
    _viewer->settle();
    expectShown(place);
  }

  std::string _reported;
  const osg::Vec3d _grid = {kOffsetX, kOffsetY, 0.0};
};

TEST_F(FarScanViewerTest, itIsReportedWithItsDistanceAndTheKeyZoomsToIt) {
  showGridAndAddFarOne();
  // Single precision has steps of 2^18 / 2^23 units from 2^18 units on.
  EXPECT_EQ(_reported,
            "far.las is 412,000 units away from the open scans (to the north-east). G zooms to it; positions there are "
            "drawn to 0.03 units");
  EXPECT_TRUE(isLoggedInTime(_reported));
  _viewer->movePointer(5, 5);
  expectKeyShows("zoomed to far.las (2 of 2)", _grid + way());
  EXPECT_THAT(clickAt(pixelOf(coordinatesOf(_points[24]) + way())), HasSubstr(" of far.las"));
  _viewer->movePointer(5, 5);
  expectKeyShows("zoomed to grid.las (1 of 2)", _grid);
  expectClickReports(24);
}

TEST_F(FarScanViewerTest, theKeyZoomsToTheScanUnderThePointerAndThenToTheNext) {
  showTwoGrids();
  const Pixel beside = pixelBeside(24);
  _viewer->movePointer(beside.x, beside.yFromTop);
  _viewer->settle();
  const osg::Vec3d second = _grid + osg::Vec3d(kBesideMetres, 0.0, 0.0);
  expectKeyShows("zoomed to beside.las (2 of 2)", second);
  const Pixel again = pixelBeside(24);
  _viewer->movePointer(again.x, again.yFromTop);
  expectKeyShows("zoomed to grid.las (1 of 2)", _grid);
  expectClickReports(24);
}

TEST_F(FarScanViewerTest, withSeveralFarScansTheKeyZoomsToOneAfterTheOther) {
  writeLasFile(path("north.las"), gridPoints(), kOffsetX, kOffsetY + kFarMetres);
  writeLasFile(path("east.las"), gridPoints(), kOffsetX + kFarMetres, kOffsetY);
  _points = gridPoints();
  writeLasFile(path("grid.las"), _points, kOffsetX, kOffsetY);
  start({"--verbose", "--size", "800x600", path("grid.las"), path("north.las"), path("east.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: grid.las"));
  waitUntilLoaded(147);
  expectKeyShows("zoomed to north.las (2 of 3)", _grid + osg::Vec3d(0.0, kFarMetres, 0.0));
  expectKeyShows("zoomed to east.las (3 of 3)", _grid + osg::Vec3d(kFarMetres, 0.0, 0.0));
}

TEST_F(FarScanViewerTest, aPickEndsTheOfferToZoomToTheFarScan) {
  showGridAndAddFarOne();
  EXPECT_THAT(clickAt(pixelOf(_points[24])), HasSubstr(" of grid.las"));
  expectKeyShows("zoomed to grid.las (1 of 2)", _grid);
}

TEST_F(FarScanViewerTest, theKeyZoomsToThePointsAlsoWhereTheHeadersBoundsAreWrong) {
  _points = gridPoints();
  writeLasFile(path("grid.las"), _points, kOffsetX, kOffsetY);
  std::fstream file(path("grid.las"), std::ios::binary | std::ios::in | std::ios::out);
  const double bounds[] = {kFarMetres, kFarMetres - 60.0, kFarMetres, kFarMetres - 60.0, 1.0, 0.0};  // of X, Y and Z
  file.seekp(179).write(reinterpret_cast<const char*>(bounds), sizeof bounds);
  file.close();
  start({"--verbose", "--size", "800x600", path("grid.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: grid.las"));
  waitUntilLoaded(49);
  expectKeyShows("zoomed to grid.las (1 of 1)", _grid);
}

TEST_F(FarScanViewerTest, anotherCoordinateSystemIsReported) {
  writeGridIn(2056, "swiss.las");
  writeGridIn(28992, "dutch.las");
  start({"--verbose", "--size", "800x600", path("swiss.las"), path("dutch.las")});
  const std::string line =
      "dutch.las has coordinate system EPSG:28992, but the open scans have EPSG:2056: they may not fit together";
  EXPECT_EQ(_viewer->waitForLine("dutch.las"), line);
  waitUntilLoaded(98);
  EXPECT_TRUE(isLoggedInTime(path("swiss.las") + ": LAS 1.2, point format 0, 49 points"));
  EXPECT_TRUE(isLoggedInTime(", EPSG:28992"));
}

TEST_F(FarScanViewerTest, scansSideBySideAreNotReported) {
  showTwoGrids();
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("away from")));
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("coordinate system")));
}

class UnreadableScansViewerTest : public ScansViewerTest {
 protected:
  // Two good scans, a file that is no scan, and one that does not exist.
  std::vector<std::string> fourFiles() {
    _points = gridPoints();
    writeLasFile(path("grid.las"), _points, kOffsetX, kOffsetY);
    writeLasFile(path("beside.las"), _points, kOffsetX + kBesideMetres, kOffsetY);
    std::ofstream(path("broken.las")) << "not a scan";
    return {path("broken.las"), path("grid.las"), path("missing.laz"), path("beside.las")};
  }
  std::vector<std::string> with(std::vector<std::string> options) {
    for (const std::string& file : fourFiles()) {
      options.push_back(file);
    }
    return options;
  }
  void expectBothAreNamed() {
    EXPECT_THAT(_viewer->output(), HasSubstr("quor_viewer: " + path("broken.las") + ": not a supported scan format"));
    EXPECT_THAT(_viewer->output(), HasSubstr("quor_viewer: " + path("missing.laz") + ": no such file\n"));
  }
};

TEST_F(UnreadableScansViewerTest, theOthersAreOpenedAndTheWindowSaysWhichAreNot) {
  start(with({"--verbose", "--point-size", "9", "--size", "800x600"}));
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: grid.las, beside.las"));
  waitUntilLoaded(98);
  expectBothAreNamed();
  EXPECT_TRUE(
      isLoggedInTime("2 of 4 scans could not be opened: broken.las: not a supported scan format; "
                     "missing.laz: no such file"));
  expectClickReports(24);
  EXPECT_THAT(clickAt(pixelBeside(24)), HasSubstr("point 24 of beside.las"));
  _viewer->key("ctrl+q");
  EXPECT_EQ(_viewer->exitStatus(), 0);
}

TEST_F(UnreadableScansViewerTest, aScreenshotShowsTheOthersAndTheExitStatusIsOne) {
  start(with({"--size", "320x200", "--screenshot", path("shown.png")}));
  EXPECT_EQ(_viewer->exitStatus(), 1);
  expectBothAreNamed();
  EXPECT_THAT(_viewer->output(), HasSubstr("loaded 98 points"));
  EXPECT_TRUE(std::filesystem::exists(path("shown.png")));
}

TEST_F(UnreadableScansViewerTest, ifNoneCanBeOpenedEachIsNamedAndTheViewerEnds) {
  fourFiles();
  start({path("broken.las"), path("missing.laz")});
  EXPECT_EQ(_viewer->exitStatus(), 1);
  expectBothAreNamed();
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("loaded")));
}

class ThreadingViewerTest : public ScansViewerTest, public testing::WithParamInterface<std::string> {};

TEST_P(ThreadingViewerTest, scansAreShownPickedRotatedClosedAndAdded) {
  showTwoGrids({"--threading", GetParam()});
  expectClickReports(24);
  drag(kRight, {400, 300}, {60, 20});
  expectClickReports(24);
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(closeAt(pixelBeside(24)), "closed beside.las");
    EXPECT_EQ(clickAt(pixelBeside(24)), "picked nothing");
    _viewer->key("a");
    _viewer->type(path("beside.las"));
    _viewer->key("Return");
    waitUntilLoaded(98);
    EXPECT_THAT(clickAt(pixelBeside(24)), HasSubstr("point 24 of beside.las"));
  }
  _viewer->key("ctrl+q");
  EXPECT_EQ(_viewer->exitStatus(), 0);
}

TEST_P(ThreadingViewerTest, theCloseButtonWorksWhileTheViewerIsIdle) {
  showGrid({"--threading", GetParam()});
  _viewer->requestClose();
  EXPECT_EQ(_viewer->exitStatus(std::chrono::seconds(10)), 0);
}

INSTANTIATE_TEST_SUITE_P(Models, ThreadingViewerTest, testing::Values("single", "cull-draw", "draw", "camera"),
                         [](const testing::TestParamInfo<std::string>& model) {
                           return model.param == "cull-draw" ? "cullAndDraw" : model.param;
                         });

TEST_F(ScansViewerTest, messagesToTheUserAreAlsoLogged) {
  showTwoGrids();
  clickAt(pixelOf(_points[24]));
  clickAt({5, 5});
  _viewer->key("o");
  closeAt(pixelBeside(24));
  _viewer->key("a");
  _viewer->type("missing.las");
  _viewer->key("Return");
  EXPECT_NE(_viewer->waitForLine("quor_viewer: missing.las"), "");
  _viewer->key("ctrl+q");
  EXPECT_EQ(_viewer->exitStatus(), 0);
  const std::string written = log();
  std::istringstream output(_viewer->output());
  for (std::string line; std::getline(output, line);) {
    const std::string program = "quor_viewer: ";
    const bool progress = line.find('\r') != std::string::npos;
    if (!progress) {
      EXPECT_THAT(written, HasSubstr(line.rfind(program, 0) == 0 ? line.substr(program.size()) : line));
    }
  }
  for (const char* shown : {"There is no point under the pointer", "beside.las is closed",
                            "Click a point to see its coordinates; H shows the help"}) {
    EXPECT_THAT(written, HasSubstr(shown));
  }
}

TEST_F(ScansViewerTest, messagesOfOsgAreAlsoLogged) {
  setEnvironment("OSG_NOTIFY_LEVEL", "INFO");
  start({"--gpu"});
  EXPECT_EQ(_viewer->exitStatus(), 0);
  setEnvironment("OSG_NOTIFY_LEVEL", nullptr);
  const std::string written = log();
  std::istringstream output(_viewer->output());
  int found = 0;
  for (std::string line; std::getline(output, line);) {
    if (line.rfind("GraphicsContext::close", 0) == 0) {
      ++found;
      EXPECT_THAT(written, HasSubstr(line));
    }
  }
  EXPECT_GT(found, 0);
}

TEST_F(ScansViewerTest, theLogBeginsWithTheGpuAndContainsTheExtentOfEachScan) {
  start({"--gpu"});
  ASSERT_EQ(_viewer->exitStatus(), 0);
  const std::string table = _viewer->output();
  showTwoGrids();
  const std::string written = log();
  for (const std::string name : {"Vendor", "Renderer", "GLSL version", "Vertex uniform components"}) {
    const std::size_t start = table.find_first_not_of(' ', table.find(name) + name.size());
    EXPECT_THAT(written, HasSubstr(name + ": " + table.substr(start, table.find('\n', start) - start)));
  }
  // Columns and rows of the grid are ten metres apart, and each point is shifted a little more than the one before.
  const std::string low = inMetres(kOffsetX) + "0 " + inMetres(kOffsetY - 0.06);
  EXPECT_THAT(written, HasSubstr(path("grid.las") + ": LAS 1.2, point format "));
  EXPECT_THAT(written, HasSubstr(", 49 points, from " + low));
}

TEST_F(ScansViewerTest, theViewerWorksWhereNoLogCanBeWritten) {
  std::filesystem::create_directories(path("taken/3Dengine.log"));
  std::filesystem::current_path(path("taken"));
  showGrid();
  expectClickReports(24);
  _viewer->key("ctrl+q");
  EXPECT_EQ(_viewer->exitStatus(), 0);
}

TEST_F(ScansViewerTest, gpuInformationIsPrintedAsATable) {
  start({"--gpu"});
  EXPECT_EQ(_viewer->exitStatus(), 0);
  std::istringstream lines(_viewer->output());
  for (const char* name : {"Vendor ", "Renderer ", "GLSL version ", "Vertex uniform components ",
                           "Fragment uniform components ", "Extensions "}) {
    std::string line;
    std::getline(lines, line);
    EXPECT_THAT(line, testing::StartsWith(name));
    EXPECT_GT(line.size(), 28U) << "no answer";
  }
}

TEST_F(ScansViewerTest, withoutADisplayTheViewerReportsThatTheGpuCannotBeQueried) {
  if (!displayIsFoundByEnvironment()) {
    GTEST_SKIP() << "the display does not depend on the environment on this system";
  }
  const std::string display = std::getenv("DISPLAY");
  setEnvironment("DISPLAY", nullptr);
  start({"--gpu"});
  EXPECT_EQ(_viewer->exitStatus(), 1);
  setEnvironment("DISPLAY", display.c_str());
  EXPECT_THAT(_viewer->output(),
              HasSubstr("quor_viewer: the GPU cannot be queried; check that a display is available (DISPLAY)"));
}

}  // namespace
