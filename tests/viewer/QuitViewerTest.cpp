#include "tests/viewer/ViewerFixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>

namespace {

using namespace QuorTests;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

constexpr int kStillRuns = -1;
const std::string kHint = "Press Ctrl+Q or close the window to quit";
const std::string kLoading = "Points are still being loaded. Press Ctrl+Q again to quit";
const std::string kSaving = "The points inside the box are still being saved. Press Ctrl+Q again to quit";

/// What ends the viewer and what asks first.
class QuitViewerTest : public ViewerFixture {
 protected:
  /// Starts with a scan that takes seconds to read; with less memory, fewer of its points are loaded, which is faster.
  void showLongScan(const std::string& memory = "0.1", const std::vector<std::string>& options = {}) {
    constexpr std::uint32_t kLongPoints = 400000000;
    writeHollowLasFile(path("long.las"), kLongPoints);
    std::vector<std::string> arguments = {"--verbose", "--no-index", "--memory", memory, path("long.las")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    start(arguments);
    ASSERT_TRUE(_viewer->findWindow("quor_viewer: long.las"));
    ASSERT_NE(_viewer->waitForLine("view"), "");  // OSG drops keys that come before the window's first frame
    _viewer->movePointer(400, 300);
  }

  /// Lets something be done twice: the first time the viewer asks, the second time it quits.
  void expectAsksAndThenQuits(const std::string& question, const std::function<void()>& request) {
    request();
    EXPECT_TRUE(isLoggedInTime(question));
    EXPECT_EQ(_viewer->exitStatus(1s), kStillRuns);
    request();
    EXPECT_EQ(_viewer->exitStatus(20s), 0);
  }

  // Without the lines that repeat the status bar's message.
  int timesLogged(const std::string& text) const {
    std::istringstream lines(log());
    int times = 0;
    for (std::string line; std::getline(lines, line);) {
      const bool repeats = line.find("message " + text) != std::string::npos;
      times += !repeats && line.find(text) != std::string::npos ? 1 : 0;
    }
    return times;
  }
};

TEST_F(QuitViewerTest, controlQQuitsWithSuccess) {
  showGrid();
  _viewer->key("q");
  EXPECT_EQ(_viewer->exitStatus(1s), kStillRuns);
  _viewer->key("ctrl+q");
  EXPECT_EQ(_viewer->exitStatus(20s), 0);
}

TEST_F(QuitViewerTest, escapeShowsHowToQuitAndNeverQuits) {
  showGrid();
  _viewer->movePointer(400, 300);
  _viewer->key("Escape");
  EXPECT_TRUE(isLoggedInTime(kHint));
  _viewer->key("Escape Escape Escape");
  EXPECT_EQ(_viewer->exitStatus(1s), kStillRuns);
  expectClickReports(24);
}

TEST_F(QuitViewerTest, escapeClosesTheHelpFirst) {
  showGrid();
  _viewer->key("h");
  _viewer->settle();
  _viewer->key("Escape");
  _viewer->settle();
  EXPECT_THAT(log(), Not(HasSubstr(kHint)));
  _viewer->key("Escape");
  EXPECT_TRUE(isLoggedInTime(kHint));
}

TEST_F(QuitViewerTest, escapeDropsAPathThatIsBeingTyped) {
  showGrid();
  _viewer->key("a");
  _viewer->type("grid.las");
  _viewer->key("Escape Return b");
  EXPECT_EQ(_viewer->waitForLine("clip on"), "clip on") << "keys act again";
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("adding")));
  EXPECT_THAT(log(), Not(HasSubstr(kHint)));
}

TEST_F(QuitViewerTest, quittingByKeyWhilePointsAreLoadedAsksFirst) {
  showLongScan();
  expectAsksAndThenQuits(kLoading, [this] { _viewer->key("ctrl+q"); });
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("\nloaded ")));
}

TEST_F(QuitViewerTest, closingTheWindowWhilePointsAreLoadedAsksFirst) {
  showLongScan();
  expectAsksAndThenQuits(kLoading, [this] { _viewer->requestClose(); });
  EXPECT_THAT(_viewer->output(), Not(HasSubstr("\nloaded ")));
}

TEST_F(QuitViewerTest, quittingWhilePointsAreSavedAsksFirstAndLeavesNoFile) {
  showLongScan("0.01", {"--clip", "5 5 5 6 6 6"});
  ASSERT_NE(_viewer->waitForLine("loaded"), "");
  _viewer->settle();
  _viewer->key("w");
  expectAsksAndThenQuits(kSaving, [this] { _viewer->requestClose(); });
  EXPECT_FALSE(std::filesystem::exists(path("long_inside.las")));
  EXPECT_FALSE(std::filesystem::exists(path("long_inside.las.part")));
}

TEST_F(QuitViewerTest, anyOtherKeyWithdrawsTheQuestion) {
  for (const char* key : {"k", "Escape"}) {
    SCOPED_TRACE(key);
    showLongScan();
    const int before = timesLogged(kLoading);
    _viewer->key("ctrl+q");
    _viewer->key(key);
    _viewer->key("ctrl+q");
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (timesLogged(kLoading) < before + 2 && _viewer->exitStatus(20ms) == kStillRuns &&
           std::chrono::steady_clock::now() < end) {
    }
    EXPECT_EQ(timesLogged(kLoading), before + 2);
    EXPECT_EQ(_viewer->exitStatus(1s), kStillRuns);
  }
  EXPECT_THAT(log(), Not(HasSubstr(kHint)));
}

}  // namespace
