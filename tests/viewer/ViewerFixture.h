#pragma once

#include "tests/scan/LasFile.h"
#include "tests/viewer/ViewerProcess.h"

#include <osg/Image>

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace QuorTests {

constexpr int kLeft = 1;
constexpr int kMiddle = 2;
constexpr int kRight = 3;
constexpr int kWheelUp = 4;
constexpr int kWheelDown = 5;
constexpr int kWheelLeft = 6;
constexpr int kWheelRight = 7;

constexpr double kOffsetX = 9876543.0;
constexpr double kOffsetY = 10000000.0;

/// Seven by seven points ten metres apart, shifted a little so that no two share a coordinate, each with different
/// attributes.
std::vector<LasFilePoint> gridPoints();
/// The world coordinates of a point of a file written with the offsets above.
osg::Vec3d coordinatesOf(const LasFilePoint& point);
std::string inMetres(double value);

struct Pixel {
  int x = 0;
  int yFromTop = 0;
};

/// The viewer as a separate program, with its own window and a working folder for its files.
class ViewerFixture : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string path(const std::string& name) const { return (_folder / name).string(); }
  void start(std::vector<std::string> arguments);
  /// Starts the viewer with the grid and waits until it has been loaded and drawn.
  void showGrid(const std::vector<std::string>& options = {});

  /// Waits until this number of points has been loaded and drawn.
  void waitUntilLoaded(int points);

  /// The window position of a world point by the reported view.
  Pixel pixelOf(const osg::Vec3d& world) const;
  Pixel pixelOf(const LasFilePoint& point) const { return pixelOf(coordinatesOf(point)); }
  /// Returns the line that reports the pick.
  std::string clickAt(const Pixel& pixel);
  void expectClickReports(int number);
  /// Drags in steps and waits after each for a line that begins with `reported`, since the manipulator reads the frame
  /// drawn last. If `reported` is empty, it does not wait, since nothing is expected to move.
  void drag(int button, Pixel from, Pixel by, const std::string& reported = "view");

  /// The viewer's log so far.
  std::string log() const;
  bool isLoggedInTime(const std::string& text) const;
  /// What the window shows, taken with P: without the overlay, or with Shift+P: with it.
  osg::ref_ptr<osg::Image> picture(const std::string& key = "p");

  bool _animated = false;  ///< the viewer shows transitions
  int _width = 800;
  int _height = 600;
  std::filesystem::path _folder;
  std::vector<LasFilePoint> _points;
  std::unique_ptr<ViewerProcess> _viewer;
};

}  // namespace QuorTests
