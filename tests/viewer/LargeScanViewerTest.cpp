#include "support/platform/Platform.h"
#include "tests/viewer/ViewerFixture.h"

#include <osgDB/ReadFile>

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace QuorTests;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// Scans that are too large to draw all points in each frame, so they are drawn from a tree.
class LargeScanViewerTest : public ViewerFixture {
 protected:
  static constexpr int kSide = 1100;

  /// A wavy field, one point each metre.
  LasFilePoint pointAt(int row, int column) const {
    const double height = 30.0 * std::sin(row * 0.02) * std::cos(column * 0.03);
    return {100 * column + row % 7, 100 * row + column % 5, static_cast<std::int32_t>(std::lround(100.0 * height)),
            static_cast<std::uint16_t>(row), static_cast<std::uint8_t>(column % 23)};
  }
  void writeField(const std::string& name, int side = kSide) {
    const auto point = [&](std::uint32_t number) {
      return pointAt(static_cast<int>(number) / side, static_cast<int>(number) % side);
    };
    writeLasFile(path(name), static_cast<std::uint32_t>(side * side), point, kOffsetX, kOffsetY);
  }
  void show(const std::string& name, int points, std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"--verbose", "--size", "800x600", path(name)});
    start(options);
    ASSERT_TRUE(_viewer->findWindow("quor_viewer: " + name));
    waitUntilLoaded(points);
  }
  void showField(const std::vector<std::string>& options = {}) {
    writeField("field.las");
    show("field.las", kSide * kSide, options);
  }
  /// With so little memory that the index is written to the cache.
  void showFieldWithIndexFile(int side = kSide) { show("field.las", side * side, {"--memory", "0.2"}); }
  static constexpr unsigned kAboveTheBar = 60;

  /// The number of pixels above the status bar that differ between two pictures.
  static int pixelsThatDiffer(const osg::Image& a, const osg::Image& b) {
    int count = 0;
    for (unsigned y = kAboveTheBar; y < 300; ++y) {
      for (unsigned x = 0; x < 400; ++x) {
        count += (a.getColor(x, y) - b.getColor(x, y)).length() > 0.1 ? 1 : 0;
      }
    }
    return count;
  }
  static constexpr std::uint32_t kLongPoints = 30000000;
  const std::string kQuestion = "message Press Esc again to cancel the index of long.las";

  /// Shows a scan whose index takes long, and returns while it is being built.
  void showWhileIndexed() {
    writeHollowLasFile(path("long.las"), kLongPoints);
    start({"--verbose", "--memory", "0.1", "--size", "800x600", path("long.las")});
    ASSERT_TRUE(_viewer->findWindow("quor_viewer: long.las"));
    ASSERT_NE(_viewer->waitForLine("view"), "");  // OSG drops keys that come before the window's first frame
    _viewer->movePointer(400, 300);
  }
  /// Flips a bit in each kilobyte of the points of all nodes of the only index, but not in the rest.
  void damageNodes() const {
    constexpr std::streamoff kHeaderBytes = 256, kSampleOffsetAt = 212, kStep = 1024;
    ASSERT_FALSE(std::filesystem::is_empty(path("index")));
    std::fstream file(std::filesystem::directory_iterator(path("index"))->path(),
                      std::ios::in | std::ios::out | std::ios::binary);
    std::uint64_t end = 0;
    file.seekg(kSampleOffsetAt);
    for (unsigned byte = 0; byte < 8; ++byte) {
      end |= static_cast<std::uint64_t>(file.get()) << 8U * byte;
    }
    for (std::streamoff at = kHeaderBytes; at < static_cast<std::streamoff>(end); at += kStep) {
      file.seekg(at);
      const int byte = file.get();
      file.seekp(at);
      file.put(static_cast<char>(byte ^ 1));
    }
  }
  /// Zooms to a point with the wheel.
  void approach(const LasFilePoint& point, int notches) {
    for (int notch = 0; notch < notches; ++notch) {
      const Pixel place = pixelOf(point);
      _viewer->movePointer(place.x, place.yFromTop);
      _viewer->click(kWheelUp);
      std::this_thread::sleep_for(200ms);
    }
  }
  void expectPickOf(const LasFilePoint& point, int record, const std::string& scan) {
    const osg::Vec3d place = coordinatesOf(point);
    for (int notch = 0; notch < 20; ++notch) {
      _viewer->movePointer(pixelOf(point).x, pixelOf(point).yFromTop);
      _viewer->click(kWheelUp);
      _viewer->waitForLine("view", 5s);
    }
    _viewer->settle();
    const std::string line = clickAt(pixelOf(point));
    EXPECT_THAT(line, HasSubstr("picked " + inMetres(place.x()) + " " + inMetres(place.y()) + " "));
    EXPECT_THAT(line, HasSubstr(" point " + std::to_string(record) + " of " + scan));
  }
  static bool becomesEmpty(const std::string& folder) {
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (!std::filesystem::is_empty(folder) && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(20ms);
    }
    return std::filesystem::is_empty(folder);
  }
  /// The length of the progress line over the status bar.
  static int progressOn(const osg::Image& image) {
    const osg::Vec4 accent(1.0f, 0.72f, 0.16f, 1.0f);
    int longest = 0;
    for (unsigned y = 0; y < 100; ++y) {
      int length = 0;
      while (length < image.s() && (image.getColor(static_cast<unsigned>(length), y) - accent).length() < 0.12f) {
        ++length;
      }
      longest = std::max(longest, length);
    }
    return longest;
  }
  /// Waits until the progress line is longer than this.
  int progressBeyond(int length) {
    int longer = progressOn(*picture("shift+p"));
    for (int i = 0; i < 30 && longer <= length; ++i) {
      std::this_thread::sleep_for(1s);
      longer = progressOn(*picture("shift+p"));
    }
    return longer;
  }
  osg::ref_ptr<osg::Image> screenshot(const std::string& name, std::vector<std::string> options) {
    options.insert(options.begin(), {"--size", "400x300", "--point-size", "2", "--colour-by", "elevation",
                                     "--screenshot", path(name), path("field.las")});
    start(options);
    EXPECT_EQ(_viewer->exitStatus(), 0) << _viewer->output();
    return osgDB::readRefImageFile(path(name));
  }
};

/// QUOR_FIELD_SIDE sets the number of rows and columns: 11314 make 128 million points.
int sideInUse(int byDefault) {
  const char* const side = std::getenv("QUOR_FIELD_SIDE");
  return side != nullptr ? std::atoi(side) : byDefault;
}

TEST_F(LargeScanViewerTest, theWheelGoesFromTheWholeScanToOnePointAndItIsPickedExactly) {
  const int side = sideInUse(kSide);
  writeField("field.las", side);
  show("field.las", side * side);
  const int row = side * 7 / 12, column = side * 6 / 13;
  const LasFilePoint point = pointAt(row, column);
  const osg::Vec3d place = coordinatesOf(point);
  drag(kRight, {400, 300}, {150, -20});
  constexpr int kMostNotches = 80;
  for (int notch = 0; notch < kMostNotches && (_viewer->view().eye - place).length() > 20.0; ++notch) {
    const Pixel pixel = pixelOf(point);
    _viewer->movePointer(pixel.x, pixel.yFromTop);
    _viewer->click(kWheelUp);
    _viewer->waitForLine("view", 5s);
  }
  _viewer->settle();
  drag(kRight, pixelOf(point), {-60, 15});
  EXPECT_LT((_viewer->view().eye - place).length(), 25.0);
  const std::string line = clickAt(pixelOf(point));
  EXPECT_THAT(line, HasSubstr("picked " + inMetres(place.x()) + " " + inMetres(place.y()) + " " + inMetres(place.z()) +
                              " class " + std::to_string(column % 23) + " "));
  EXPECT_THAT(line, HasSubstr(" intensity " + std::to_string(row) + " "));
  EXPECT_THAT(line, HasSubstr(" point " + std::to_string(row * side + column) + " of field.las"));
}

TEST_F(LargeScanViewerTest, aScreenshotShowsWhatItShowsWithoutTheTree) {
  writeField("field.las");
  const osg::ref_ptr<osg::Image> tree = screenshot("tree.png", {});
  const osg::ref_ptr<osg::Image> whole = screenshot("whole.png", {"--no-index"});
  ASSERT_TRUE(tree.valid() && whole.valid());
  int different = 0, ofScan = 0;
  for (int y = static_cast<int>(kAboveTheBar); y < 300; ++y) {
    for (int x = 0; x < 400; ++x) {
      const osg::Vec4 a = tree->getColor(static_cast<unsigned>(x), static_cast<unsigned>(y));
      const osg::Vec4 b = whole->getColor(static_cast<unsigned>(x), static_cast<unsigned>(y));
      const osg::Vec4 background = whole->getColor(static_cast<unsigned>(x), 299U);
      ofScan += (b - background).length() > 0.2 ? 1 : 0;
      different += (a - b).length() > 0.2 ? 1 : 0;
    }
  }
  EXPECT_GT(ofScan, 20000);
  EXPECT_LT(different, ofScan / 20);
}

TEST_F(LargeScanViewerTest, savingWritesAllRecordsInsideTheBox) {
  showField({"--clip", "9876643 10000100 -100 9876743 10000150 100"});
  int inside = 0;
  for (int row = 0; row < kSide; ++row) {
    for (int column = 0; column < kSide; ++column) {
      const osg::Vec3d place = coordinatesOf(pointAt(row, column));
      inside += place.x() >= 9876643.0 && place.x() <= 9876743.0 && place.y() >= 10000100.0 && place.y() <= 10000150.0;
    }
  }
  _viewer->movePointer(400, 20);
  _viewer->key("w");
  ASSERT_EQ(inside / 1000, 5) << "for the comma";
  EXPECT_THAT(_viewer->waitForLine("5," + std::to_string(inside).substr(1) + " of 1,210,000 points written to "),
              HasSubstr("field_inside.las"));
  constexpr std::uintmax_t kHeaderBytes = 227, kRecordBytes = 20;
  EXPECT_EQ(std::filesystem::file_size(path("field_inside.las")),
            kHeaderBytes + kRecordBytes * static_cast<std::uintmax_t>(inside));
}

TEST_F(LargeScanViewerTest, theNumberOfDrawnPointsCanBeLimited) {
  writeField("field.las");
  const auto withAtMost = [this](const std::string& points) {
    return screenshot("points" + points + ".png", {"--point-size", "1", "--points", points});
  };
  const osg::ref_ptr<osg::Image> few = withAtMost("1000");
  EXPECT_GT(pixelsThatDiffer(*withAtMost("10000000"), *few), 26000);
  const int some = pixelsThatDiffer(*withAtMost("26000"), *few);
  EXPECT_LE(some, 26000);
  EXPECT_GT(some, 5000);
  const int more = pixelsThatDiffer(*withAtMost("2000"), *few);  // the coarsest node has more points than both
  EXPECT_LE(more, 2000) << "the points drawn before stay, and may be lit differently";
  EXPECT_GT(more, 500);
}

TEST_F(LargeScanViewerTest, aScanOfATreeIsClosedAndAddedAgain) {
  showField();
  _viewer->movePointer(400, 330);
  _viewer->settle();
  _viewer->key("d");
  EXPECT_EQ(_viewer->waitForLine("closed"), "closed field.las");
  _viewer->settle();
  EXPECT_EQ(clickAt({400, 330}), "picked nothing");
  _viewer->key("a");
  _viewer->type(path("field.las"));
  _viewer->key("Return");
  waitUntilLoaded(kSide * kSide);
  EXPECT_THAT(clickAt({400, 330}), HasSubstr(" of field.las"));
}

TEST_F(LargeScanViewerTest, anIndexInTheCacheIsUsedUntilItIsDamaged) {
  writeField("field.las");
  showFieldWithIndexFile();
  EXPECT_THAT(_viewer->output(), HasSubstr("index written to " + path("index")));
  showFieldWithIndexFile();
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("index written to " + path("index"))));
  EXPECT_THAT(clickAt({400, 330}), HasSubstr(" of field.las"));
  _viewer.reset();
  const std::filesystem::path index = *std::filesystem::directory_iterator(path("index"));
  std::filesystem::resize_file(index, std::filesystem::file_size(index) / 2);
  showFieldWithIndexFile();
  EXPECT_THAT(_viewer->output(), HasSubstr("the index is damaged: it is truncated at byte"));
  EXPECT_THAT(_viewer->output(), HasSubstr("index written to " + path("index"))) << "it is built again";
}

TEST_F(LargeScanViewerTest, anIndexDamagedInUseIsBuiltAgainOnce) {
  constexpr int kLargeSide = 1600;  // more nodes than are read ahead
  writeField("field.las", kLargeSide);
  showFieldWithIndexFile(kLargeSide);
  damageNodes();
  approach(pointAt(700, 600), 6);
  EXPECT_THAT(_viewer->waitForLine("quor_viewer: "),
              AllOf(HasSubstr("do not match their checksum"), HasSubstr("; the index is built again")));
  EXPECT_NE(_viewer->waitForLine("index written to"), "");
  waitUntilLoaded(kLargeSide * kLargeSide);
  expectPickOf(pointAt(700, 600), 700 * kLargeSide + 600, "field.las");
  _viewer->key("Home");
  _viewer->settle();
  damageNodes();
  approach(pointAt(1200, 1300), 6);
  EXPECT_THAT(_viewer->waitForLine("quor_viewer: "),
              AllOf(HasSubstr("do not match their checksum"), HasSubstr("; all points are loaded instead")));
  waitUntilLoaded(kLargeSide * kLargeSide);
  expectPickOf(pointAt(1200, 1300), 1200 * kLargeSide + 1300, "field.las");
  EXPECT_THAT(_viewer->waitForLine("quor_viewer: ", 1s), "") << "each is reported once";
}

TEST_F(LargeScanViewerTest, aScanThatChangesInUseIsOpenedAgain) {
  if (!mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  constexpr int kOtherSide = 1060;
  showField();
  writeField("field.las", kOtherSide);
  approach(pointAt(700, 600), 6);
  EXPECT_THAT(_viewer->waitForLine("quor_viewer: "),
              AllOf(HasSubstr("field.las: the file has changed while it was open: it has " +
                              std::to_string(227 + 20 * kOtherSide * kOtherSide) + " bytes, not " +
                              std::to_string(227 + 20 * kSide * kSide)),
                    HasSubstr("; the index is built again")));
  waitUntilLoaded(kOtherSide * kOtherSide);
  expectPickOf(pointAt(700, 600), 700 * kOtherSide + 600, "field.las");
}

TEST_F(LargeScanViewerTest, aScanThatBecomesUnreadableInUseIsClosed) {
  if (!mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  showField();
  std::ofstream(path("field.las")) << "no scan any more";
  approach(pointAt(700, 600), 6);
  EXPECT_THAT(_viewer->waitForLine("quor_viewer: "),
              AllOf(HasSubstr("field.las: the file has changed while it was open: it has 16 bytes"),
                    HasSubstr("; the scan is closed: ")));
  _viewer->settle();
  EXPECT_EQ(clickAt({400, 330}), "picked nothing");
}

TEST_F(LargeScanViewerTest, escapeCancelsTheIndexOnceNothingElseIsOpen) {
  showWhileIndexed();
  _viewer->key("a");
  _viewer->type("x");
  _viewer->key("Escape");
  _viewer->key("h");
  _viewer->key("Escape");
  _viewer->key("Escape");
  EXPECT_NE(_viewer->waitForLine(kQuestion), "");
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("cancelled")));
  _viewer->key("Escape");
  const std::string rest = "; every 12th point is loaded instead";  // of 0.1 GiB, each takes 40 bytes
  EXPECT_EQ(_viewer->waitForLine("Index of"), "Index of long.las cancelled" + rest);
  EXPECT_EQ(_viewer->waitForLine("loaded"), "loaded " + std::to_string((kLongPoints + 11) / 12) + " points");
  EXPECT_TRUE(becomesEmpty(path("index")));
  _viewer->settle();
  _viewer->key("Escape");
  EXPECT_NE(_viewer->waitForLine("message Press Ctrl+Q or close the window to quit"), "");
  EXPECT_EQ(_viewer->exitStatus(1s), -1) << "it still runs";
}

TEST_F(LargeScanViewerTest, anotherKeyBeforeTheSecondEscapeContinuesTheIndex) {
  showWhileIndexed();
  for (int round = 0; round < 2; ++round) {
    _viewer->key("Escape");
    EXPECT_NE(_viewer->waitForLine(kQuestion), "") << "it asks again";
    _viewer->key("e");
  }
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("cancelled")));
}

TEST_F(LargeScanViewerTest, escapesDuringADragCancelOnlyTheDrag) {
  showWhileIndexed();
  _viewer->press(kRight);
  _viewer->movePointer(440, 320);
  _viewer->key("Escape Escape Escape");
  EXPECT_NE(_viewer->waitForLine("message Drag cancelled"), "");
  _viewer->release(kRight);
  _viewer->key("Escape");
  EXPECT_EQ(_viewer->waitForLine("message Press"), kQuestion) << "the first that is not about the drag";
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("Index of")));
}

TEST_F(LargeScanViewerTest, quittingWhileAnIndexIsBuiltAsksFirst) {
  showWhileIndexed();
  _viewer->key("ctrl+q");
  EXPECT_EQ(_viewer->waitForLine("message"),
            "message An index is still being built. Press Ctrl+Q again to quit, any other key to continue");
  EXPECT_EQ(_viewer->exitStatus(1s), -1) << "it still runs";
  _viewer->key("ctrl+q");
  EXPECT_EQ(_viewer->exitStatus(), 0);
}

TEST_F(LargeScanViewerTest, aPickWhileAnIndexIsBuiltShowsItsCoordinates) {
  showWhileIndexed();
  const auto end = std::chrono::steady_clock::now() + 60s;
  std::string line = "picked nothing";
  while (line == "picked nothing" && std::chrono::steady_clock::now() < end) {
    line = clickAt(pixelOf(osg::Vec3d()));
  }
  EXPECT_THAT(line, HasSubstr("picked 0.00 0.00 0.00 class 0 "));
  EXPECT_THAT(_viewer->output(), HasSubstr("\nmessage 0.00   0.00   0.00      0 "));
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("\nloaded "))) << "the index was built before the pick";
}

TEST_F(LargeScanViewerTest, theStatusBarShowsHowFarTheIndexIs) {
  showWhileIndexed();
  const int first = progressBeyond(0);
  const int later = progressBeyond(first);
  EXPECT_GT(first, 0);
  EXPECT_GT(later, first);
  EXPECT_LT(later, _width);
}

TEST_F(LargeScanViewerTest, whereNoIndexCanBeWrittenAllPointsAreLoaded) {
  writeField("field.las");
  std::ofstream(path("index")) << "a file, not a folder";
  showFieldWithIndexFile();
  EXPECT_THAT(_viewer->output(), HasSubstr("cannot create the folder for indexes"));
  EXPECT_THAT(_viewer->output(), HasSubstr("all points are loaded instead"));
  EXPECT_THAT(clickAt({400, 330}), HasSubstr(" of field.las"));
}

TEST_F(LargeScanViewerTest, withoutAnIndexNothingIsWritten) {
  showField({"--no-index"});
  EXPECT_FALSE(std::filesystem::exists(path("index")));
}

}  // namespace
