#include "support/platform/Platform.h"
#include "tests/scan/LasFile.h"
#include "tests/scan/ScanBytes.h"
#include "tests/viewer/WorkerGate.h"
#include "viewer/session/Session.h"
#include "viewer/ui/Format.h"

#include <osg/NodeVisitor>
#include <osgText/Text>

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace QuorTests;
using namespace QuorViewer;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Key = osgGA::GUIEventAdapter::KeySymbol;

using ScanBytes::kPlenty;

std::vector<LasFilePoint> rowOfPoints(int count) {
  std::vector<LasFilePoint> points;
  for (int number = 0; number < count; ++number) {
    points.push_back({number * 100, 0, 0});
  }
  return points;
}

/// A session without a window. What it prints on the terminal is recorded.
class SessionTest : public testing::Test {
 protected:
  struct Viewer : osgGA::GUIActionAdapter {
    void requestRedraw() override { ++redraws; }
    void requestContinuousUpdate(bool /*needed*/) override {}
    void requestWarpPointer(float /*x*/, float /*y*/) override {}
    int redraws = 0;
  };

  /// The texts of the overlay, joined.
  struct Texts : osg::NodeVisitor {
    Texts() : NodeVisitor(TRAVERSE_ACTIVE_CHILDREN) {}
    void apply(osg::Drawable& drawable) override {
      const auto* const text = dynamic_cast<const osgText::Text*>(&drawable);
      all += text != nullptr ? text->getText().createUTF8EncodedString() + "\n" : std::string();
    }
    std::string all;
  };
  static constexpr int kIndexedPoints = 1900000;  // an index in memory
  static constexpr std::uint64_t kSamplePoints = std::uint64_t{1} << 19;

  // The log is written into the working folder.
  void SetUp() override {
    std::filesystem::current_path(_folder.path("."));
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
  }
  void TearDown() override {
    _session.reset();
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    std::filesystem::current_path(std::filesystem::temp_directory_path());
  }

  std::string write(const std::string& name, int points) {
    writeLasFile(_folder.path(name), rowOfPoints(points), 5000.0, 7000.0);
    return _folder.path(name);
  }
  static constexpr const char* kFar = "away from the open scans";
  /// A scan that is far away from the others, as its header states.
  std::string writeFar() {
    constexpr std::streamoff kBounds = 179;
    const double bounds[] = {5.0e6 + 4.0, 5.0e6, 7000.0, 7000.0, 0.0, 0.0};  // of X, Y and Z
    writeLasFile(_folder.path("far.las"), rowOfPoints(5), 5.0e6, 7000.0);
    std::fstream file(_folder.path("far.las"), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(kBounds).write(reinterpret_cast<const char*>(bounds), sizeof bounds);
    return _folder.path("far.las");
  }
  void open(const std::vector<std::string>& paths, std::uint64_t memoryBytes = kPlenty) {
    open(paths, memoryBytes, TreeSettings{false, "", {}, 0});
  }
  void open(const std::vector<std::string>& paths, std::uint64_t memoryBytes, const TreeSettings& trees) {
    _session = std::make_unique<Session>(
        paths, memoryBytes, trees, Session::Dependencies{_cloud, _detail, _hud, _messages, _viewer},
        Session::Listener{
            [this] { _events.emplace_back("added"); }, [this](unsigned int scan) { _far.push_back(scan); },
            [this] { ++_pointsAdded; }, [this] { _events.emplace_back("loaded"); },
            [this](const osg::ref_ptr<osg::Node>& points) { _released.push_back(points); },
            [this](const osg::ref_ptr<osg::Node>& points) { _replaced.push_back(points); }, [this] { return _inUse; }});
    _session->start();
  }
  void openWhileIndexed() {
    const std::string path = write("long.las", kIndexedPoints);
    _hud.resize(1200, 800);
    open({path}, kPlenty, TreeSettings{true, _folder.path("index"), kPlenty, kPlenty});
    loadUntilIndexing();
  }
  /// Until the status bar shows the progress of the index of long.las. The index is not used before, even if it is
  /// built sooner.
  void loadUntilIndexing() {
    _inUse = true;
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!isShown("Indexing long.las") && !_session->isLoaded() && std::chrono::steady_clock::now() < end) {
      _session->loadNextChunks(1ms, [] { return true; });
    }
    _inUse = false;
  }
  bool isShown(const std::string& text) {
    Texts texts;
    _hud.node()->accept(texts);
    return texts.all.find(text) != std::string::npos;
  }
  void loadUntil(const std::function<bool()>& holds) {
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!holds() && std::chrono::steady_clock::now() < end) {
      _session->loadNextChunks(10ms, [] { return false; });
      std::this_thread::sleep_for(1ms);
    }
    ASSERT_TRUE(holds());
  }
  void loadEverything() {
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!_session->isLoaded() && std::chrono::steady_clock::now() < end) {
      if (!_session->loadNextChunks(10ms, [] { return false; })) {
        std::this_thread::sleep_for(1ms);
      }
    }
    ASSERT_TRUE(_session->isLoaded());
  }
  void press(int key) {
    const osg::ref_ptr<osgGA::GUIEventAdapter> event = new osgGA::GUIEventAdapter;
    event->setEventType(osgGA::GUIEventAdapter::KEYDOWN);
    event->setKey(key);
    EXPECT_TRUE(_session->pathHandler()->handle(*event, _viewer));
  }
  /// The lines printed since the last call.
  std::string printed() {
    std::string text = testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    return text;
  }
  std::string errors() {
    std::string text = testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    return text;
  }

  ScanBytes::Folder _folder;
  PointCloud _cloud;
  LevelOfDetail _detail{kPlenty, FrameBudget(1000, true), {_cloud, {}, {}, {}, {}}};
  Hud _hud{{}};
  Messages _messages{_hud};
  Viewer _viewer;
  std::vector<std::string> _events;
  int _pointsAdded = 0;
  bool _inUse = false;  // the scans are being saved
  std::vector<unsigned int> _far;
  std::vector<osg::ref_ptr<osg::Node>> _released;
  std::vector<osg::ref_ptr<osg::Node>> _replaced;
  std::unique_ptr<Session> _session;
};

TEST_F(SessionTest, aMissingScanThrowsBeforeAnythingIsOpened) {
  EXPECT_THROW(open({_folder.path("missing.las")}), ScanError);
}

TEST_F(SessionTest, scansThatCannotBeOpenedAreReportedAndTheOthersAreLoaded) {
  open({write("a.las", 11), _folder.path("missing.las"), write("b.las", 5)});
  EXPECT_EQ(errors(), "quor_viewer: " + _folder.path("missing.las") + ": no such file\n");
  EXPECT_TRUE(_session->anyFailed());
  loadEverything();
  EXPECT_EQ(printed(), "loaded 16 points\n");
  EXPECT_EQ(_session->title(), "quor_viewer: a.las, b.las");
}

TEST_F(SessionTest, whatCannotBeOpenedIsShownAtOnceAndAgainAfterLoading) {
  const std::string summary = "1 of 2 scans could not be opened";
  _hud.resize(2400, 800);
  open({write("a.las", 11), _folder.path("missing.las")});
  EXPECT_TRUE(isShown(summary));
  _messages.beginAction();
  EXPECT_FALSE(isShown(summary));
  loadEverything();
  EXPECT_TRUE(isShown(summary));
}

TEST_F(SessionTest, aScanThatIsFarAwayIsReportedAtOnceAndAgainAfterLoading) {
  _hud.resize(2400, 800);
  open({write("a.las", 11)});
  loadEverything();
  _session->add(writeFar());
  EXPECT_TRUE(isShown(kFar));
  EXPECT_FALSE(_session->isLoaded());
  _messages.beginAction();
  loadEverything();
  EXPECT_TRUE(isShown(kFar));
}

TEST_F(SessionTest, aScanThatIsClosedWhileItLoadsIsNotReportedAfterLoading) {
  _hud.resize(2400, 800);
  open({write("a.las", 11)});
  loadEverything();
  _session->add(writeFar());
  _session->close(2);
  EXPECT_FALSE(isShown(kFar));
  loadEverything();
  EXPECT_FALSE(isShown(kFar));
}

TEST_F(SessionTest, anErrorOfAnAddedScanIsNotRepeatedAfterLoading) {
  const std::string error = "no such file";
  _hud.resize(2400, 800);
  open({write("a.las", 11)});
  _session->add(_folder.path("missing.las"));
  EXPECT_TRUE(isShown(error));
  _messages.beginAction();
  loadEverything();
  EXPECT_FALSE(isShown(error));
}

TEST_F(SessionTest, loadingPutsAllPointsIntoTheCloudAndReportsTheirNumber) {
  open({write("a.las", 11), write("b.las", 5)});
  EXPECT_FALSE(_session->isLoaded());
  loadEverything();
  EXPECT_THAT(_events, ElementsAre("loaded"));
  EXPECT_GT(_pointsAdded, 0);
  EXPECT_FLOAT_EQ(_cloud.boundsOf(1)._max.x() - _cloud.boundsOf(1)._min.x(), 10.0f);
  EXPECT_FLOAT_EQ(_cloud.boundsOf(2)._max.x() - _cloud.boundsOf(2)._min.x(), 4.0f);
  EXPECT_EQ(printed(), "loaded 16 points\n");
  EXPECT_EQ(_session->pointCountText(), "16 points");
  EXPECT_GT(_viewer.redraws, 0);
  EXPECT_FALSE(_session->anyFailed());
}

TEST_F(SessionTest, nothingIsLeftToDoOnceEverythingIsLoaded) {
  open({write("a.las", 11)});
  loadEverything();
  const int redraws = _viewer.redraws;
  EXPECT_FALSE(_session->loadNextChunks(1ms, [] { return true; }));
  EXPECT_EQ(_viewer.redraws, redraws);
  EXPECT_EQ(printed(), "loaded 11 points\n");
}

TEST_F(SessionTest, theTitleNamesTheOpenScans) {
  open({write("a.las", 1), write("b.las", 1)});
  EXPECT_EQ(_session->title(), "quor_viewer: a.las, b.las");
  loadEverything();
  _session->close(1);
  EXPECT_EQ(_session->title(), "quor_viewer: b.las");
  _session->close(2);
  EXPECT_EQ(_session->title(), "quor_viewer");
}

TEST_F(SessionTest, anAddedScanIsLoadedBesideTheOthers) {
  open({write("a.las", 11)});
  loadEverything();
  const std::string path = write("b.las", 5);
  printed();
  _session->add(path);
  EXPECT_FALSE(_session->isLoaded());
  loadEverything();
  EXPECT_THAT(_events, ElementsAre("loaded", "added", "loaded"));
  EXPECT_EQ(printed(), "adding " + path + "\nloaded 16 points\n");
  EXPECT_TRUE(_cloud.boundsOf(2).valid());
}

TEST_F(SessionTest, aScanThatCannotBeAddedIsReportedAndTheOthersStayLoaded) {
  open({write("a.las", 11)});
  loadEverything();
  const std::string path = _folder.path("missing.las");
  _session->add(path);
  EXPECT_THAT(errors(), AllOf(HasSubstr("quor_viewer: "), HasSubstr(path)));
  EXPECT_TRUE(_session->isLoaded());
  EXPECT_THAT(_session->scans().numbers(), ElementsAre(1U));
  EXPECT_THAT(_events, ElementsAre("loaded"));
}

TEST_F(SessionTest, aTypedPathAddsTheScan) {
  open({write("a.las", 11)});
  loadEverything();
  const std::string path = write("b.las", 5);
  _session->openPathEntry();
  for (const char c : path) {
    press(c);
  }
  press(Key::KEY_Return);
  loadEverything();
  EXPECT_THAT(_session->scans().numbers(), ElementsAre(1U, 2U));
}

TEST_F(SessionTest, aClosedScanLeavesTheCloudAndItsNodeGoesToTheListener) {
  open({write("a.las", 11), write("b.las", 5)});
  loadEverything();
  printed();
  _session->close(1);
  ASSERT_EQ(_released.size(), 1U);
  EXPECT_TRUE(_cloud.node()->containsNode(_released[0]));
  EXPECT_FALSE(_cloud.boundsOf(1).valid());
  EXPECT_THAT(_session->scans().numbers(), ElementsAre(2U));
  EXPECT_EQ(_session->pointCountText(), "5 points");
  EXPECT_EQ(printed(), "closed a.las\n");
  EXPECT_TRUE(_session->isLoaded());
}

TEST_F(SessionTest, aScanClosedBeforeItsPointsArriveHasNoNode) {
  open({write("a.las", 11), write("b.las", 5)});
  _session->close(1);
  EXPECT_THAT(_released, ElementsAre(osg::ref_ptr<osg::Node>()));
  loadEverything();
  EXPECT_FALSE(_cloud.boundsOf(1).valid());
  EXPECT_THAT(printed(), HasSubstr("loaded 5 points"));
}

TEST_F(SessionTest, closingTheLastScanWhileLoadingReportsNoPoints) {
  open({write("a.las", 11)});
  _session->close(1);
  loadEverything();
  EXPECT_THAT(printed(), Not(HasSubstr("loaded")));
  EXPECT_EQ(_session->title(), "quor_viewer");
}

TEST_F(SessionTest, aScanTooLargeForTheMemoryIsDecimatedAndTheStatusSaysSo) {
  open({write("a.las", 1000)}, 500 * VertexBudget::kBytesPerPoint);
  EXPECT_THAT(printed(), HasSubstr("showing every 2nd point of a.las: 500 of 1,000"));
  loadEverything();
  EXPECT_EQ(_session->pointCountText(), "500 points, every 2nd");
}

TEST_F(SessionTest, aScanForWhichNoMemoryIsLeftFails) {
  open({write("a.las", 10)}, 10 * VertexBudget::kBytesPerPoint);
  loadEverything();
  _session->add(write("b.las", 1));
  loadEverything();
  EXPECT_THAT(errors(), HasSubstr("b.las: none of its points fit"));
  EXPECT_TRUE(_session->anyFailed());
}

TEST_F(SessionTest, whileAnIndexIsBuiltTheStatusBarShowsTheSampleAndHowFarTheIndexIs) {
  openWhileIndexed();
  Texts texts;
  _hud.node()->accept(texts);
  EXPECT_TRUE(std::regex_search(texts.all, std::regex("Indexing long.las: [0-9]+ %; press Esc to cancel")))
      << texts.all;
  // The sample has about 2^19 points, in 512 parts of equal length.
  const std::uint64_t ofEach = kSamplePoints / 512;
  const std::uint64_t part = (kIndexedPoints + 511) / 512;
  const std::uint64_t last = std::min<std::uint64_t>(kIndexedPoints - 511 * part, ofEach);
  EXPECT_EQ(_session->pointCountText(), grouped(511 * ofEach + last) + " drawn of 1,900,000 points");
}

TEST_F(SessionTest, theScanWhoseIndexIsBuiltIsNamedUntilItIsCancelled) {
  open({write("long.las", kIndexedPoints)}, kPlenty, TreeSettings{true, _folder.path("index"), kPlenty, kPlenty});
  EXPECT_EQ(_session->indexedScan(), "long.las");
  _session->cancelIndex();
  EXPECT_EQ(_session->indexedScan(), "");
}

TEST_F(SessionTest, aCancelledIndexIsReplacedByAllPointsAndTheSampleStaysMeanwhile) {
  openWhileIndexed();
  _viewer.redraws = 0;
  EXPECT_TRUE(_session->cancelIndex());
  EXPECT_THAT(_replaced, ElementsAre()) << "the sample stays on screen";
  EXPECT_TRUE(isShown("Index of long.las cancelled; all points are loaded instead"));
  EXPECT_FALSE(_session->isLoaded());
  EXPECT_FALSE(_session->cancelIndex()) << "there is none any more";
  loadEverything();
  _session->loadNextChunks(1ms, [] { return true; });
  EXPECT_EQ(_session->pointCountText(), "1,900,000 points");
  ASSERT_EQ(_replaced.size(), 1U);
  EXPECT_TRUE(_cloud.node()->containsNode(_replaced[0])) << "the listener removes it";
  EXPECT_THAT(printed(), HasSubstr("loaded 1900000 points"));
}

// Each of them would fit.
TEST_F(SessionTest, theIndexesInMemoryStayWithinAQuarterOfTheMemory) {
  constexpr unsigned kPoints = ScanTrees::kMostPointsWithoutTree + 1000;
  constexpr std::uint64_t kMemory = std::uint64_t{kPoints} * 400;
  constexpr unsigned kScans = 9;
  std::vector<std::string> paths;
  for (unsigned scan = 1; scan <= kScans; ++scan) {
    paths.push_back(
        _folder.write(std::to_string(scan) + ".las", ScanBytes::file({4, 7}, ScanBytes::variedPoints(kPoints, 7))));
  }
  open(paths, kMemory, TreeSettings{true, _folder.path("index"), kPlenty, kMemory / 2});
  loadEverything();
  for (unsigned scan = 1; scan <= kScans; ++scan) {
    EXPECT_TRUE(_detail.isOpen(scan));
  }
  EXPECT_GT(_detail.heldBytes(), 0U);
  EXPECT_LE(_detail.heldBytes(), kMemory / 4);
  EXPECT_FALSE(std::filesystem::is_empty(_folder.path("index"))) << "there are too few for this test";
}

// One point of a class of its own and with an intensity, which neither the sample on screen nor that of the index has.
TEST_F(SessionTest, theSummaryOfAnIndexedScanHasWhatOccursOnlyOnce) {
  std::vector<LasFilePoint> points = rowOfPoints(kIndexedPoints);
  points[2001].classification = 17;
  points[2001].intensity = 9;
  const std::string path = _folder.path("long.las");
  writeLasFile(path, points, 5000.0, 7000.0);
  constexpr std::uint64_t kTooLittleForMemory = std::uint64_t{1} << 25U;
  open({path}, kPlenty, TreeSettings{true, _folder.path("index"), kPlenty, kTooLittleForMemory});
  loadEverything();
  EXPECT_THAT(_session->summary().classifications, ElementsAre(0U, 17U));
  EXPECT_TRUE(_session->summary().anyIntensity);
  _session->close(1);
  _session->add(path);
  EXPECT_TRUE(_detail.isOpen(2)) << "its index is in the cache";
  loadEverything();
  EXPECT_THAT(_session->summary().classifications, ElementsAre(0U, 17U));
  EXPECT_TRUE(_session->summary().anyIntensity);
}

TEST_F(SessionTest, nodesGetTheMemoryThatTheBuildTheSampleAndTheIndexLeave) {
  openWhileIndexed();
  _session->loadNextChunks(1ms, [] { return true; });
  const std::uint64_t ofEach = kSamplePoints / 512;
  const std::uint64_t part = (kIndexedPoints + 511) / 512;
  const std::uint64_t sample = 511 * ofEach + std::min<std::uint64_t>(kIndexedPoints - 511 * part, ofEach);
  EXPECT_EQ(_detail.memoryBytes(),
            kPlenty - sample * VertexBudget::kBytesPerPoint - std::uint64_t{kIndexedPoints} * 104);
  loadEverything();
  _session->loadNextChunks(1ms, [] { return true; });
  EXPECT_GT(_detail.heldBytes(), 0U);
  EXPECT_EQ(_detail.memoryBytes(), kPlenty - _detail.heldBytes());
}

TEST_F(SessionTest, aCancelledIndexOfAScanForWhichNoMemoryIsLeftDoesNotPromiseItsPoints) {
  constexpr int kWhole = 200000;
  constexpr std::uint64_t kMemory = kWhole * VertexBudget::kBytesPerPoint * 8 / 5;  // what may be whole beside trees
  open({write("whole.las", kWhole), write("other.las", 300000)}, kMemory,
       TreeSettings{true, _folder.path("index"), kPlenty, kPlenty});
  loadEverything();
  ASSERT_TRUE(_detail.isOpen(2));
  _hud.resize(1200, 800);
  _session->add(write("long.las", kIndexedPoints));
  loadUntilIndexing();
  ASSERT_TRUE(_session->cancelIndex());
  EXPECT_TRUE(isShown("Index of long.las cancelled; there is no memory to load its points"));
  EXPECT_THAT(errors(), HasSubstr("long.las: none of its points fit"));
}

TEST_F(SessionTest, aScanThatChangesWhileItIsInUseElsewhereIsClosedOnlyAfterwards) {
  if (!mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  openWhileIndexed();
  loadEverything();
  ASSERT_EQ(_session->scans().numbers().size(), 1U);
  std::ofstream(_folder.path("long.las")) << "no scan any more";
  const auto look = [this](std::chrono::seconds time) {
    for (auto end = std::chrono::steady_clock::now() + time; std::chrono::steady_clock::now() < end;) {
      _session->loadNextChunks(1ms, [] { return true; });
      std::this_thread::sleep_for(10ms);
    }
  };
  _inUse = true;
  look(3s);
  EXPECT_EQ(_session->scans().numbers().size(), 1U);
  EXPECT_EQ(errors(), "");
  _inUse = false;
  look(1s);
  EXPECT_THAT(_session->scans().numbers(), ElementsAre());
  EXPECT_THAT(errors(), HasSubstr("long.las: the file has changed while it was open: it has 16 bytes"));
}

TEST_F(SessionTest, aScanThatIsStillBeingWrittenStaysOpen) {
  if (!mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  openWhileIndexed();
  _session->noteChange(1, "it is empty");
  std::ofstream(_folder.path("long.las")) << "the begin";
  _session->loadNextChunks(1ms, [] { return true; });
  ASSERT_THAT(_session->scans().numbers(), ElementsAre(1U));
  EXPECT_TRUE(_session->isReplacing());
  write("long.las", kIndexedPoints + 1);
  loadUntil([this] { return _session->scans().info(1).pointCount == kIndexedPoints + 1 && _detail.isOpen(1); });
  EXPECT_THAT(errors(), HasSubstr("; the index is built again"));
}

TEST_F(SessionTest, aScanThatHasBeenOpenedAgainIsStillWatched) {
  if (!mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  openWhileIndexed();
  loadEverything();
  write("long.las", 0);
  loadUntil([this] { return _session->scans().info(1).pointCount == 0; });
  loadEverything();
  write("long.las", kIndexedPoints);
  loadUntil([this] { return _session->scans().info(1).pointCount == kIndexedPoints && _detail.isOpen(1); });
  EXPECT_THAT(errors(), HasSubstr("bytes, not 227; the index is built again")) << "the header has 227 bytes";
}

TEST_F(SessionTest, withoutAnIndexNothingIsCancelled) {
  open({write("a.las", 11)});
  EXPECT_FALSE(_session->cancelIndex());
  loadEverything();
  EXPECT_FALSE(_session->cancelIndex());
  EXPECT_EQ(_session->pointCountText(), "11 points");
}

TEST_F(SessionTest, progressIsShownOnlyIfThereIsTimeForAFrameAndOnceForTheSamePoints) {
  open({write("a.las", 11)});
  WorkerGate gate(QuorOsgUtils::FileCmd::Normal);
  _session->add(write("b.las", 5));
  const auto end = std::chrono::steady_clock::now() + 60s;
  while (!_cloud.boundsOf(1).valid() && std::chrono::steady_clock::now() < end) {
    _session->loadNextChunks(1ms, [] { return false; });
  }
  EXPECT_EQ(_viewer.redraws, 0);
  for (int call = 0; call < 2; ++call) {
    _session->loadNextChunks(1ms, [] { return true; });
    EXPECT_EQ(_viewer.redraws, 1);
  }
  gate.open();
  loadEverything();
}

}  // namespace
