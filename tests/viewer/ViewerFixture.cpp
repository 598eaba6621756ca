#include "tests/viewer/ViewerFixture.h"

#include "support/platform/Platform.h"

#include <osgDB/ReadFile>

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <fstream>
#include <sstream>
#include <thread>

namespace QuorTests {

using testing::HasSubstr;

namespace {

constexpr int kSide = 7;
constexpr int kSpacingSteps = 1000;  // ten metres

}  // namespace

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

void ViewerFixture::SetUp() {
  if (!holdDisplay()) {
    GTEST_SKIP() << "there is no display";
  }
  _folder = std::filesystem::temp_directory_path() / ("quor_viewer_test_" + std::to_string(processNumber()));
  std::filesystem::create_directories(_folder);
  std::filesystem::current_path(_folder);
}

void ViewerFixture::TearDown() {
  _viewer.reset();
  std::filesystem::current_path("/");
  if (!_folder.empty()) {
    std::filesystem::remove_all(_folder);
  }
}

// On a busy machine a transition may last longer than the settling time.
void ViewerFixture::start(std::vector<std::string> arguments) {
  if (!_animated) {
    arguments.insert(arguments.begin(), "--no-animation");
  }
  arguments.insert(arguments.begin(), {"--index-dir", path("index")});
  _viewer = std::make_unique<ViewerProcess>(arguments);
}

void ViewerFixture::showGrid(const std::vector<std::string>& options) {
  _points = gridPoints();
  writeLasFile(path("grid.las"), _points, kOffsetX, kOffsetY);
  std::vector<std::string> arguments = {"--verbose", "--point-size", "9", "--size", "800x600", path("grid.las")};
  arguments.insert(arguments.end(), options.begin(), options.end());
  start(arguments);
  ASSERT_TRUE(_viewer->findWindow("quor_viewer: grid.las"));
  waitUntilLoaded(49);
}

// On a busy machine the first frame with all points may take longer than the settling time.
void ViewerFixture::waitUntilLoaded(int points) {
  constexpr int kPointsPerSecond = 250000;  // a slow machine indexes and loads more
  const std::chrono::seconds limit(60 + points / kPointsPerSecond);
  ASSERT_EQ(_viewer->waitForLine("loaded", limit), "loaded " + std::to_string(points) + " points");
  _viewer->waitForLine("view", std::chrono::seconds(5));
  _viewer->settle();
}

Pixel ViewerFixture::pixelOf(const osg::Vec3d& world) const {
  const ReportedView view = _viewer->view();
  const osg::Matrixd look = osg::Matrixd::lookAt(osg::Vec3d(), view.direction(), view.up);
  const osg::Vec3d device = (world - view.eye) * look * view.projection;
  return {static_cast<int>(std::floor((device.x() + 1.0) * 0.5 * _width)),
          static_cast<int>(std::floor((1.0 - device.y()) * 0.5 * _height))};
}

std::string ViewerFixture::clickAt(const Pixel& pixel) {
  _viewer->movePointer(pixel.x, pixel.yFromTop);
  _viewer->click(kLeft);
  return _viewer->waitForLine("picked");
}

void ViewerFixture::expectClickReports(int number) {
  SCOPED_TRACE(number);
  const LasFilePoint& point = _points.at(static_cast<std::size_t>(number));
  const osg::Vec3d place = coordinatesOf(point);
  const std::string line = clickAt(pixelOf(point));
  EXPECT_THAT(line, HasSubstr("picked " + inMetres(place.x()) + " " + inMetres(place.y()) + " " + inMetres(place.z()) +
                              " class " + std::to_string(number % 23) + " "));
  EXPECT_THAT(line, HasSubstr(" intensity " + std::to_string(1000 + number) + " "));
  EXPECT_THAT(line, HasSubstr(" point " + std::to_string(number) + " of grid.las"));
}

std::string ViewerFixture::log() const {
  std::ifstream file(path("3Dengine.log"), std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

bool ViewerFixture::isLoggedInTime(const std::string& text) const {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (log().find(text) == std::string::npos) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

void ViewerFixture::drag(int button, Pixel from, Pixel by, const std::string& reported) {
  constexpr int kMoves = 8;
  _viewer->movePointer(from.x, from.yFromTop);
  _viewer->settle();
  _viewer->press(button);
  _viewer->settle();
  for (int move = 1; move <= kMoves; ++move) {
    _viewer->movePointer(from.x + by.x * move / kMoves, from.yFromTop + by.yFromTop * move / kMoves);
    if (!reported.empty()) {
      EXPECT_NE(_viewer->waitForLine(reported, std::chrono::seconds(20)), "") << "move " << move;
    }
  }
  _viewer->release(button);
  _viewer->settle();
}

osg::ref_ptr<osg::Image> ViewerFixture::picture(const std::string& key) {
  _viewer->key(key);
  const std::string line = _viewer->waitForLine("Screenshot");
  const std::size_t start = line.find("quor_viewer_");
  osg::ref_ptr<osg::Image> image = new osg::Image;
  if (start != std::string::npos) {
    image = osgDB::readRefImageFile(path(line.substr(start)));
  }
  EXPECT_TRUE(image.valid() && image->s() == _width && image->t() == _height) << line;
  return image;
}

}  // namespace QuorTests
