#include "tests/scan/ScanBytes.h"
#include "tests/viewer/ViewerFixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <fstream>

namespace {

using namespace QuorTests;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// The messages of the status bar, which the viewer prints with --verbose.
class StatusViewerTest : public ViewerFixture {
 protected:
  void press(const std::string& key) {
    _viewer->movePointer(400, 20);
    _viewer->key(key);
  }
  /// The next message; empty if the message is removed.
  std::string nextMessage(std::chrono::seconds limit = 20s) {
    const std::string line = _viewer->waitForLine("message", limit);
    return line.size() > 8 ? line.substr(8) : line;
  }
  /// The message after a key, without the removal of the one before.
  std::string messageAfter(const std::string& key) {
    press(key);
    std::string message = nextMessage();
    while (message == "message") {
      message = nextMessage();
    }
    return message;
  }
  void showPoints(const std::string& name, unsigned format, const std::vector<ScanBytes::Point>& points,
                  std::vector<std::string> options = {}) {
    ScanBytes::FileSettings settings;
    settings.minor = 2;
    settings.format = format;
    const ScanBytes::Bytes bytes = ScanBytes::file(settings, points);
    std::ofstream(path(name), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    options.insert(options.begin(), {"--verbose", "--size", "800x600", path(name)});
    start(options);
    ASSERT_TRUE(_viewer->findWindow("quor_viewer: " + name));
    ASSERT_EQ(_viewer->waitForLine("loaded"), "loaded " + std::to_string(points.size()) + " points");
    _viewer->settle();
  }
  /// Points that differ only in their coordinates.
  static std::vector<ScanBytes::Point> bareRow() {
    std::vector<ScanBytes::Point> points(20);
    for (std::size_t number = 0; number < points.size(); ++number) {
      points[number].x = static_cast<std::int32_t>(1000 * number);
      points[number].z = static_cast<std::int32_t>(700 * number);
    }
    return points;
  }
};

TEST_F(StatusViewerTest, pointSizesAreShownWithTheSmallest) {
  showGrid({"--point-size", "3"});
  EXPECT_EQ(messageAfter("minus"), "Point size 2 pixels");
  EXPECT_EQ(messageAfter("minus"), "Point size 1 pixel is the smallest");
  EXPECT_EQ(messageAfter("minus"), "Point size 1 pixel is the smallest");
  EXPECT_EQ(messageAfter("plus"), "Point size 2 pixels");
}

TEST_F(StatusViewerTest, pointSizesAreShownWithTheLargest) {
  showGrid({"--point-size", "30"});
  EXPECT_EQ(messageAfter("plus"), "Point size 31 pixels");
  EXPECT_EQ(messageAfter("plus"), "Point size 32 pixels is the largest");
  EXPECT_EQ(messageAfter("plus"), "Point size 32 pixels is the largest");
}

TEST_F(StatusViewerTest, aNoticeDisappearsByItselfAfterSomeSeconds) {
  showGrid();
  EXPECT_THAT(messageAfter("plus"), StartsWith("Point size"));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(nextMessage(), "message");
  const auto duration = std::chrono::steady_clock::now() - start;
  EXPECT_GT(duration, 5s);
  EXPECT_LT(duration, 15s);
}

TEST_F(StatusViewerTest, aPickReturnsAfterANoticeAndIsGoneOnceItsScanIsClosed) {
  showGrid();
  const LasFilePoint& point = _points[24];
  const std::string height = inMetres(coordinatesOf(point).z());
  EXPECT_THAT(clickAt(pixelOf(point)), StartsWith("picked "));
  press("plus");
  EXPECT_THAT(nextMessage(), StartsWith("Point size"));
  EXPECT_THAT(nextMessage(), HasSubstr("   " + height + " "));
  _viewer->movePointer(pixelOf(point).x, pixelOf(point).yFromTop);
  _viewer->settle();
  _viewer->key("d");
  EXPECT_EQ(_viewer->waitForLine("message grid.las"), "message grid.las is closed");
  EXPECT_EQ(nextMessage(), "No scan is open; press A to add one");
}

TEST_F(StatusViewerTest, anErrorStaysUntilTheNextAction) {
  showGrid();
  press("a");
  _viewer->type("/nowhere.las");
  _viewer->key("Return");
  EXPECT_EQ(nextMessage(), "message");  // the hint is removed
  EXPECT_EQ(nextMessage(), "/nowhere.las: no such file");
  EXPECT_EQ(_viewer->waitForLine("message", 11s), "");
  press("e");
  EXPECT_EQ(nextMessage(), "message");
}

TEST_F(StatusViewerTest, theHintAfterLoadingIsGoneWithTheFirstKeyAndDoesNotReturn) {
  showGrid();
  EXPECT_THAT(_viewer->output(), HasSubstr("\nmessage Click a point to see its coordinates; H shows the help\n"));
  press("e");
  EXPECT_EQ(nextMessage(), "message");
  press("plus");
  EXPECT_THAT(nextMessage(), StartsWith("Point size"));
  EXPECT_EQ(nextMessage(), "message");
}

TEST_F(StatusViewerTest, colouringByColoursThatTheScanLacksSaysSoAndChangesNothing) {
  showGrid();
  press("plus minus");
  _viewer->settle();
  const osg::ref_ptr<osg::Image> before = picture();
  EXPECT_EQ(messageAfter("1"), "The scan has no colours; still coloured by intensity");
  const osg::ref_ptr<osg::Image> after = picture();
  for (const LasFilePoint& point : _points) {
    const Pixel pixel = pixelOf(point);
    const auto x = static_cast<unsigned int>(pixel.x);
    const auto y = static_cast<unsigned int>(_height - 1 - pixel.yFromTop);
    EXPECT_EQ(after->getColor(x, y), before->getColor(x, y));
  }
}

TEST_F(StatusViewerTest, theNextColouringSkipsWhatTheScanLacks) {
  showGrid();
  EXPECT_EQ(messageAfter("c"), "Coloured by elevation");
  EXPECT_EQ(messageAfter("c"), "Coloured by classification");
  EXPECT_EQ(messageAfter("c"), "Coloured by intensity");
}

TEST_F(StatusViewerTest, aScanWithCoordinatesAloneIsColouredByElevationOnly) {
  showPoints("bare.las", 0, bareRow());
  EXPECT_EQ(messageAfter("2"), "The scan has no intensities; still coloured by elevation");
  EXPECT_EQ(messageAfter("4"), "The scan has no classification; still coloured by elevation");
  EXPECT_EQ(messageAfter("c"), "The scan has only elevations to colour by");
}

TEST_F(StatusViewerTest, coloursThatAreAllBlackAreNone) {
  showPoints("black.las", 2, bareRow());
  EXPECT_EQ(messageAfter("1"), "The scan has no colours; still coloured by elevation");
}

TEST_F(StatusViewerTest, realColoursAreShown) {
  std::vector<ScanBytes::Point> points = bareRow();
  for (ScanBytes::Point& point : points) {
    point.colour = {50000, 100, 200};
  }
  showPoints("red.las", 2, points, {"--colour-by", "elevation"});
  EXPECT_EQ(messageAfter("1"), "Coloured by RGB");
}

TEST_F(StatusViewerTest, theOptionForColoursThatTheScanLacksIsReportedAndTheDefaultUsed) {
  showGrid({"--colour-by", "rgb"});
  EXPECT_THAT(_viewer->output(), HasSubstr("quor_viewer: The scan has no colours; coloured by intensity instead\n"));
  EXPECT_EQ(messageAfter("c"), "Coloured by elevation");
}

TEST_F(StatusViewerTest, ofSeveralScansOneWithColoursSufficesUntilItIsClosed) {
  std::vector<ScanBytes::Point> points = bareRow();
  for (ScanBytes::Point& point : points) {
    point.colour = {50000, 100, 200};
  }
  ScanBytes::FileSettings settings;
  settings.minor = 2;
  settings.format = 2;
  settings.offset = {kOffsetX + 150.0, kOffsetY, 0.0};
  const ScanBytes::Bytes bytes = ScanBytes::file(settings, points);
  std::ofstream(path("red.las"), std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  _points = gridPoints();
  writeLasFile(path("grid.las"), _points, kOffsetX, kOffsetY);
  start({"--verbose", "--point-size", "9", "--size", "800x600", path("grid.las"), path("red.las")});
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: grid.las, red.las"));
  waitUntilLoaded(69);
  EXPECT_EQ(messageAfter("1"), "Coloured by RGB");
  const Pixel red = pixelOf(osg::Vec3d(kOffsetX + 150.0 + 10.0 * 10, kOffsetY, 7.0));
  _viewer->movePointer(red.x, red.yFromTop);
  _viewer->settle();
  _viewer->key("d");
  EXPECT_EQ(_viewer->waitForLine("message The scan has"), "message The scan has no colours; now coloured by intensity");
}

}  // namespace
