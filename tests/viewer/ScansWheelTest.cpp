#include "tests/viewer/ScansFolder.h"
#include "tests/viewer/ViewerFixture.h"

#include <gmock/gmock.h>

#include <optional>
#include <sstream>

namespace {

using namespace QuorTests;
using testing::HasSubstr;

/// The approach to one point of a real scan, by the wheel and clicks only.
class ScansWheelTest : public ViewerFixture, public testing::WithParamInterface<std::string> {
 protected:
  void showScan() {
    _width = 640;
    _height = 360;
    start({"--verbose", "--size", "640x360", GetParam()});
    ASSERT_TRUE(_viewer->findWindow("quor_viewer"));
    ASSERT_NE(_viewer->waitForLine("loaded", std::chrono::minutes(5)), "");
    _viewer->waitForLine("view", std::chrono::minutes(1));
    _viewer->settle();
  }

  /// The point that a click picks; nothing if there is none.
  std::optional<osg::Vec3d> pickAt(const Pixel& pixel) {
    _picked = clickAt(pixel);
    std::istringstream words(_picked);
    std::string picked;
    osg::Vec3d point;
    return words >> picked >> point.x() >> point.y() >> point.z() ? std::optional(point) : std::nullopt;
  }

  /// Clicks in a growing square around the middle until a point is picked.
  std::optional<osg::Vec3d> pickNearTheMiddle() {
    for (int radius = 0; radius < 160; radius += 10) {
      for (const auto& [dx, dy] : {std::pair{0, 0}, {1, 0}, {-1, 0}, {0, 1}, {0, -1}}) {
        if (const auto point = pickAt({_width / 2 + dx * radius, _height / 2 + dy * radius})) {
          return point;
        }
      }
    }
    return std::nullopt;
  }

  /// Turns the wheel over a pixel, and waits for the view.
  void turnWheel(int button, int notches, const Pixel& pixel) {
    _viewer->movePointer(pixel.x, pixel.yFromTop);
    for (int notch = 0; notch < notches; ++notch) {
      _viewer->click(button);
    }
    _viewer->waitForLine("view", std::chrono::minutes(1));
    _viewer->settle();
  }

  double distanceTo(const osg::Vec3d& point) const { return (_viewer->view().eye - point).length(); }

  std::string _picked;
};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ScansWheelTest);

TEST_P(ScansWheelTest, theWheelGoesFromTheWholeScanToOnePointAndBack) {
  showScan();
  std::optional<osg::Vec3d> point = pickNearTheMiddle();
  ASSERT_TRUE(point);
  const osg::Vec3d home = _viewer->view().eye;
  const double start = distanceTo(*point);
  constexpr double kClose = 1e-3;
  for (int round = 0; round < 20 && distanceTo(*point) > kClose * start; ++round) {
    const double before = distanceTo(*point);
    turnWheel(kWheelUp, 4, pixelOf(*point));
    EXPECT_LT(distanceTo(*point), 0.75 * before) << "round " << round;
    if (const auto nearer = pickAt(pixelOf(*point))) {
      point = nearer;
    }
  }
  EXPECT_LE(distanceTo(*point), kClose * start);
  const std::string first = _picked.substr(_picked.find(" point "));
  pickAt(pixelOf(*point));
  EXPECT_THAT(_picked, HasSubstr(first.substr(0, first.find(" distance")))) << "a close point is picked exactly";
  EXPECT_THAT(_picked, HasSubstr("distance 0.00"));
  turnWheel(kWheelDown, 40, pixelOf(*point));
  EXPECT_GT(distanceTo(*point), 0.8 * start);
  EXPECT_LT(distanceTo(*point), 20.0 * start) << "the scan is not left far behind";
  EXPECT_GT((home - *point) * (_viewer->view().eye - *point), 0.0);
}

INSTANTIATE_TEST_SUITE_P(Folder, ScansWheelTest, testing::ValuesIn(scansInFolder()), scanTestName);

}  // namespace
