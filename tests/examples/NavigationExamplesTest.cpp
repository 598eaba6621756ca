#include "support/platform/ChildProgram.h"
#include "support/platform/Desktop.h"
#include "support/platform/Platform.h"

#include <osg/Vec3d>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace QuorTests;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int kLeft = 1, kRight = 3, kWheelUp = 4;
constexpr int kWidth = 1000, kHeight = 700;
constexpr int kMiddleX = kWidth / 2, kMiddleY = kHeight / 2;
constexpr double kHalfOfRoot2 = 0.70710678;

/// An example as a separate program, with its window.
class NavigationExamplesTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!holdDisplay()) {
      GTEST_SKIP() << "there is no display";
    }
  }

  void start(const std::string& program, const std::string& title) {
    _program = std::make_unique<ChildProgram>(program, std::vector<std::string>());
    const auto end = Clock::now() + 60s;
    while (!_window.find(title) && Clock::now() < end) {
      std::this_thread::sleep_for(50ms);
    }
    ASSERT_TRUE(_window.find(title)) << title;
  }

  /// Waits until the condition holds. False if it does not in time.
  template <typename Condition>
  static bool eventually(Condition condition) {
    const auto end = Clock::now() + 120s;
    while (!condition() && Clock::now() < end) {
      std::this_thread::sleep_for(100ms);
    }
    return condition();
  }

  /// The latest complete line of output, once nothing has been written for a while.
  std::string latestLine(std::chrono::milliseconds quiet = 1500ms) {
    while (_program->readSome(_output, quiet)) {
    }
    const std::size_t end = _output.find_last_of('\n');
    const std::size_t start = end == std::string::npos || end == 0 ? 0 : _output.find_last_of('\n', end - 1) + 1;
    return end == std::string::npos ? "" : _output.substr(start, end - start);
  }

  void drag(int button, int x, int y, int byX, int byY) {
    constexpr int kMoves = 5;
    _window.movePointer(x, y);
    std::this_thread::sleep_for(300ms);
    _window.press(button);
    for (int move = 1; move <= kMoves; ++move) {
      std::this_thread::sleep_for(200ms);
      _window.movePointer(x + byX * move / kMoves, y + byY * move / kMoves);
    }
    std::this_thread::sleep_for(300ms);
    _window.release(button);
  }

  /// The exit status after the program has been asked to end.
  int exitStatus() {
    const auto end = Clock::now() + 30s;
    while (!_program->status() && Clock::now() < end) {
      _program->readSome(_output, 20ms);
    }
    return _program->status().value_or(-1);
  }

  std::unique_ptr<ChildProgram> _program;
  RemoteWindow _window;
  std::string _output;
};

struct StationLine {
  osg::Vec3d eye, direction;
  double field = 0.0;
};

StationLine readStation(const std::string& line) {
  StationLine station;
  std::string name;
  std::istringstream words(line);
  words >> name >> station.eye.x() >> station.eye.y() >> station.eye.z();
  words >> name >> station.direction.x() >> station.direction.y() >> station.direction.z() >> name >> station.field;
  return station;
}

TEST_F(NavigationExamplesTest, atTheStationADragTurnsAboutTheEyeAndTheWheelChangesTheFieldOfView) {
  start(QUOR_EXAMPLES_FOLDER "/quor_station", "quor_station");
  const StationLine before = readStation(latestLine());
  EXPECT_NEAR((before.direction - osg::Vec3d(0.0, 1.0, 0.0)).length(), 0.0, 1e-3);
  EXPECT_NEAR(before.field, 60.0, 0.05);

  // Half the window's width turns by 90 degrees, so half of that turns by 45: from +Y to the right.
  drag(kRight, kMiddleX, kMiddleY, kWidth / 4, 0);
  const StationLine turned = readStation(latestLine());
  EXPECT_NEAR((turned.direction - osg::Vec3d(kHalfOfRoot2, kHalfOfRoot2, 0.0)).length(), 0.0, 0.01);
  _window.click(kWheelUp);
  const StationLine zoomed = readStation(latestLine());
  EXPECT_NEAR(zoomed.field, 60.0 * 0.75, 0.05);
  for (const StationLine& station : {before, turned, zoomed}) {
    EXPECT_NEAR((station.eye - osg::Vec3d(0.0, 0.0, 1.6)).length(), 0.0, 1e-3);
  }
  _window.key("Escape");
  EXPECT_EQ(exitStatus(), 0);
}

// Distance from the nearest surveyed point of the helix: one metre around its axis, half a millimetre higher after each
// hundredth of a radian.
double distanceFromSurvey(const osg::Vec3d& point) {
  const double around = std::round((point.z() - 300.789) / 0.0005);
  double least = 1e9;
  for (const double number : {around - 1.0, around, around + 1.0}) {
    const osg::Vec3d surveyed(431000.123 + std::cos(0.01 * number), 5412000.456 + std::sin(0.01 * number),
                              300.789 + 0.0005 * number);
    least = std::min(least, (point - surveyed).length());
  }
  return least;
}

TEST_F(NavigationExamplesTest, clicksOnASurveyInUtmCoordinatesReportMillimetres) {
  start(QUOR_EXAMPLES_FOLDER "/quor_large_coordinates", "quor_large_coordinates");
  latestLine();
  int found = 0;
  for (int y = 150; y < kHeight - 100; y += 8) {
    _window.movePointer(kMiddleX, y);
    _window.click(kLeft);
    std::this_thread::sleep_for(100ms);
  }
  latestLine();
  std::istringstream lines(_output);
  for (std::string line; std::getline(lines, line);) {
    osg::Vec3d point;
    if (std::sscanf(line.c_str(), "point %lf %lf %lf", &point.x(), &point.y(), &point.z()) == 3) {
      ++found;
      // The printed decimals round the height by up to half a millimetre: one number of the survey, 10 mm along the
      // helix.
      EXPECT_LT(distanceFromSurvey(point), 0.0107) << line;
    }
  }
  EXPECT_GT(found, 5) << _output;
  _window.key("Escape");
  EXPECT_EQ(exitStatus(), 0);
}

/// Both versions of Qt, each with the usual pixels and with a device pixel ratio of 1.5.
struct QtCase {
  std::string program;
  const char* scale;
};

void PrintTo(const QtCase& each, std::ostream* output) {
  *output << "scale " << each.scale;
}

class QtExampleViewerTest : public NavigationExamplesTest, public testing::WithParamInterface<QtCase> {
 protected:
  void SetUp() override {
    NavigationExamplesTest::SetUp();
    setEnvironment("QT_SCALE_FACTOR", GetParam().scale);
    setEnvironment("QT_QPA_PLATFORM", "xcb");
  }

  unsigned long colourAtShare(double x, double y) const {
    const ScreenRectangle place = _window.rectangle();
    return _window.colourAt(static_cast<int>(place.width * x), static_cast<int>(place.height * y));
  }
  /// Of a grid of places in the widget, those that the hill covers.
  int countOfOtherColours(unsigned long background) const {
    constexpr int kSteps = 25;
    int count = 0;
    for (int place = 0; place < kSteps * kSteps; ++place) {
      const double x = (place % kSteps + 0.5) / kSteps, y = (place / kSteps + 0.5) / kSteps;
      count += colourAtShare(x, y) != background ? 1 : 0;
    }
    return count;
  }
};

TEST_P(QtExampleViewerTest, theSceneFillsTheWidgetAndFollowsPointerAndWheel) {
  const double ratio = std::stod(GetParam().scale);
  start(GetParam().program, "quor_qt");
  ASSERT_TRUE(eventually([this] { return colourAtShare(0.5, 0.5) != colourAtShare(0.02, 0.02); })) << "no hill appears";
  const ScreenRectangle place = _window.rectangle();
  EXPECT_EQ(place.width, std::lround(kWidth * ratio));
  EXPECT_EQ(place.height, std::lround(kHeight * ratio));

  // The background fills the widget to its corners, and the hill is in the middle, symmetric.
  const unsigned long background = colourAtShare(0.02, 0.02);
  EXPECT_EQ(colourAtShare(0.98, 0.02), background);
  EXPECT_EQ(colourAtShare(0.98, 0.98), background);
  EXPECT_NE(background, 0UL) << "OSG's background is not black";
  EXPECT_NE(colourAtShare(0.5, 0.5), background);
  const int before = countOfOtherColours(background);

  const int middleX = place.width / 2, middleY = place.height / 2;
  for (int notch = 0; notch < 3; ++notch) {
    _window.movePointer(middleX, middleY);
    _window.click(kWheelUp);
    std::this_thread::sleep_for(500ms);
  }
  EXPECT_TRUE(eventually([&] { return countOfOtherColours(background) > before; })) << "the wheel approaches the hill";
  const unsigned long summit = colourAtShare(0.5, 0.5);
  drag(kRight, middleX, middleY, 0, place.height / 4);
  EXPECT_TRUE(eventually([&] { return colourAtShare(0.5, 0.5) != summit; })) << "a right drag turns the view";
  _window.askToClose();
  EXPECT_EQ(exitStatus(), 0);
}

std::vector<QtCase> qtCases() {
  std::vector<QtCase> cases;
  for (const char* const program : std::vector<const char*>{QUOR_EXAMPLES_QT}) {
    cases.push_back({program, "1"});
    cases.push_back({program, "1.5"});
  }
  return cases;
}

// There may be no Qt.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(QtExampleViewerTest);
INSTANTIATE_TEST_SUITE_P(Qt, QtExampleViewerTest, testing::ValuesIn(qtCases()), [](const auto& each) {
  const std::string name = each.param.program.substr(each.param.program.find_last_of('q'));
  return name.substr(0, name.find('.')) + (std::string(each.param.scale) == "1" ? "" : "_scaled");
});

}  // namespace
