#include "tests/viewer/SyntheticTree.h"
#include "tests/viewer/TreeCamera.h"
#include "tests/viewer/WorkerGate.h"
#include "viewer/session/LevelOfDetail.h"
#include "viewer/session/WatchedTree.h"

#include <osg/Geometry>

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace QuorTests;
using namespace QuorViewer;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kMemoryBytes = std::uint64_t{1} << 30U;
constexpr std::uint64_t kMostPoints = kMemoryBytes / LevelOfDetail::kBytesPerPoint;

/// What happens when a node is read.
enum class Reading { Succeeds, HasNoMemory, HasNoDisk, FindsAChange, FindsDamage };

/// A tree in memory, whose points are rows at the bottom of their cubes. Counts what is read.
class TreeInMemory : public PointTree {
 public:
  /// Holds `token`, like its clones.
  TreeInMemory(SyntheticTree tree, std::atomic<int>& reads, const std::atomic<Reading>& reading,
               std::shared_ptr<int> token)
      : _tree(std::move(tree)), _reads(reads), _reading(reading), _token(std::move(token)) {}

  const TreeInfo& info() const override { return _tree.info; }
  const std::vector<TreeNode>& nodes() const override { return _tree.nodes; }
  NodePoints read(std::uint32_t node) override {
    ++_reads;
    _failAsToldTo();
    const unsigned int count = _tree.nodes[node].pointCount;
    const auto step = static_cast<float>(_tree.info.cube.sizeAt(_tree.nodes[node].key.level) / count);
    NodePoints points;
    points.origin = _tree.cubeOf(node)._min;
    points.positions = new osg::Vec3Array(count);
    points.colours = new osg::Vec4ubArray(count);
    points.intensities = new osg::UShortArray(count);
    points.classesReturns = new osg::Vec2ubArray(count);
    points.records = new osg::UIntArray(count);
    for (unsigned int i = 0; i < count; ++i) {
      (*points.positions)[i].set(static_cast<float>(i) * step, 0.0f, 0.0f);
      points.bounds.expandBy((*points.positions)[i]);
    }
    return points;
  }
  std::unique_ptr<PointTree> clone() const override { return std::make_unique<TreeInMemory>(*this); }

 private:
  void _failAsToldTo() const {
    switch (_reading) {
      case Reading::Succeeds:
        return;
      case Reading::HasNoMemory:
        throw std::bad_alloc();
      case Reading::HasNoDisk:
        throw ScanReadError("no disk");
      case Reading::FindsAChange:
        throw ScanChanged("another file");
      case Reading::FindsDamage:
        throw ScanError("a wrong byte");
    }
  }

  SyntheticTree _tree;
  std::atomic<int>& _reads;
  const std::atomic<Reading>& _reading;
  std::shared_ptr<int> _token;
};

/// Levels of detail without a window: frames are prepared, but not drawn.
class LevelOfDetailTest : public testing::Test {
 protected:
  void SetUp() override {
    _camera->setViewport(0, 0, 1500, 1000);
    _camera->setProjectionMatrix(osg::Matrixd::perspective(kAngleOfViewDegrees, kAspectRatio, 1.0, 1e5));
  }
  void TearDown() override {
    _detail.reset();
    EXPECT_THAT(_reports, IsEmpty());
  }

  void create(const FrameBudget& budget, std::uint64_t memoryBytes = kMemoryBytes) {
    const LevelOfDetail::Dependencies dependencies = {
        _cloud,
        [this](osg::Group* parent, osg::Node* child) {
          parent->removeChild(child);
          ++_removed;
          _isFrameRequested = true;
        },
        [this](unsigned int scan, const std::string& error) { report("damaged", scan, error); },
        [this](unsigned int scan, const std::string& change) { report("changed", scan, change); },
        [this](const std::string& error) { _reports.insert(error); }};
    _detail = std::make_unique<LevelOfDetail>(memoryBytes, budget, dependencies);
  }
  void report(const std::string& what, unsigned int scan, const std::string& text) {
    _reports.insert(what + " scan " + std::to_string(scan) + ": " + text);
  }
  void open(unsigned int scan, SyntheticTree tree) {
    _detail->open(scan, std::make_unique<TreeInMemory>(std::move(tree), _reads, _reading, _token), {});
  }
  void look(const osg::Vec3d& eye, const osg::Vec3d& target) {
    _camera->setViewMatrixAsLookAt(eye, target, {0.0, 0.0, 1.0});
  }
  void prepare() {
    _detail->prepareFrame(*_camera, {});
    _isFrameRequested = false;
  }
  /// As the viewer does after frames, until nothing is missing and a time has passed in which nothing was read. How
  /// many frames were due.
  int framesDueUntilIdle(std::chrono::milliseconds idle = 500ms) {
    int frames = 0;
    int reads = -1;
    for (auto end = std::chrono::steady_clock::now() + idle; std::chrono::steady_clock::now() < end;) {
      const bool arrived = _detail->receive();
      const bool freesMemory = _detail->readAhead();
      if (arrived || freesMemory || _detail->mayRefine() || _isFrameRequested) {
        ++frames;
        prepare();
      }
      if (std::exchange(reads, _reads) != _reads || !_detail->isComplete()) {
        end = std::chrono::steady_clock::now() + idle;
      }
      std::this_thread::sleep_for(1ms);
    }
    return frames;
  }
  void prepareUntilComplete() {
    prepare();
    while (!_detail->isComplete()) {
      _detail->receive();
      prepare();
    }
  }
  /// The visible nodes of a scan, with the points that they draw.
  std::map<osg::Node*, std::uint64_t> drawnNodesOf(unsigned int scan) {
    std::map<osg::Node*, std::uint64_t> drawn;
    osg::Group& nodes = *_cloud.groupOf(scan);
    for (unsigned int i = 0; i < nodes.getNumChildren(); ++i) {
      osg::Node* const node = nodes.getChild(i);
      if (node->getNodeMask() != 0) {
        drawn[node] = node->asGroup()->getChild(0)->asGeometry()->getPrimitiveSet(0)->getNumIndices();
      }
    }
    return drawn;
  }
  std::uint64_t drawnPointsOf(unsigned int scan) {
    std::uint64_t points = 0;
    for (const auto& node : drawnNodesOf(scan)) {
      points += node.second;
    }
    return points;
  }

  PointCloud _cloud;
  std::atomic<int> _reads{0};
  std::atomic<Reading> _reading{Reading::Succeeds};
  std::shared_ptr<int> _token = std::make_shared<int>();  // held by the trees
  std::multiset<std::string> _reports;
  int _removed = 0;
  bool _isFrameRequested = false;  // by the removal of nodes
  osg::ref_ptr<osg::Camera> _camera = new osg::Camera;
  std::unique_ptr<LevelOfDetail> _detail;
};

// 30 scans with 20,000 points in the root of each, and a machine so slow that a frame may draw 100,000 points.
TEST_F(LevelOfDetailTest, whileTheViewMovesManyScansAreAllDrawnWithinTheBudget) {
  constexpr unsigned int kScans = 30;
  create(FrameBudget(kMostPoints, false));
  for (unsigned int scan = 1; scan <= kScans; ++scan) {
    const osg::Vec3d least(120.0 * (scan % 6), 150.0 * (scan / 6), 0.0);
    open(scan, SyntheticTree({least, 100.0}, 1.0, 20000));
  }
  const osg::Vec3d target(300.0, 300.0, 50.0);
  look({300.0, -1500.0, 400.0}, target);
  prepare();
  framesDueUntilIdle();
  EXPECT_EQ(_detail->drawnPoints(), std::uint64_t{kScans} * 20000) << "all of them at rest";
  for (int frame = 0; frame < 100; ++frame) {
    look({300.0 + frame, -1500.0, 400.0}, target);
    prepare();
    _detail->endFrame(1s);
  }
  std::uint64_t drawn = 0;
  for (unsigned int scan = 1; scan <= kScans; ++scan) {
    EXPECT_GT(drawnPointsOf(scan), 1000U);
    drawn += drawnPointsOf(scan);
  }
  EXPECT_EQ(_detail->drawnPoints(), drawn);
  EXPECT_LE(drawn, FrameBudget::kFewestPoints);
  prepare();
  framesDueUntilIdle();
  EXPECT_EQ(_detail->drawnPoints(), std::uint64_t{kScans} * 20000) << "and again";
}

TEST_F(LevelOfDetailTest, scansLeftOutForLackOfMemoryAreReportedOnce) {
  create(FrameBudget(kMostPoints, true), 7000 * LevelOfDetail::kBytesPerPoint);
  for (unsigned int scan = 1; scan <= 5; ++scan) {
    open(scan, SyntheticTree({{120.0 * scan, 0.0, 0.0}, 100.0}, 1.0, 2000));
  }
  look({360.0, -900.0, 300.0}, {360.0, 50.0, 50.0});
  prepareUntilComplete();
  EXPECT_EQ(_detail->loadedPoints(), 6000U);
  prepareUntilComplete();
  EXPECT_THAT(std::exchange(_reports, {}),
              ElementsAre("not enough memory to show 2 of 5 large scans; zoom in, close scans "
                          "or give more memory"))
      << "once";
}

TEST_F(LevelOfDetailTest, theNodesOfAClosedScanDoNotCountAsDrawn) {
  create(FrameBudget(kMostPoints, true));
  open(1, SyntheticTree({{0.0, 0.0, 0.0}, 100.0}, 1.0, 3000));
  open(2, SyntheticTree({{150.0, 0.0, 0.0}, 100.0}, 1.0, 2000));
  look({125.0, -500.0, 200.0}, {125.0, 50.0, 50.0});
  prepare();
  framesDueUntilIdle();
  EXPECT_EQ(_detail->drawnPoints(), 5000U);
  _detail->close(1);
  EXPECT_EQ(_detail->drawnPoints(), 2000U);
  _detail->close(2);
  EXPECT_EQ(_detail->drawnPoints(), 0U);
}

TEST_F(LevelOfDetailTest, afterARestASmallTurnNeedsNoNodeThatIsNotLoaded) {
  for (const bool rests : {true, false}) {
    create(FrameBudget(kMostPoints, true));
    open(1, makeHills({{-256.0, -256.0, -256.0}, 512.0}, 3000, 500, 1));
    look({0.0, -300.0, 150.0}, {0.0, 0.0, 0.0});
    prepareUntilComplete();
    const std::uint64_t drawn = _detail->drawnPoints();
    if (rests) {
      EXPECT_EQ(framesDueUntilIdle(), 0) << "nothing changes in the picture";
      EXPECT_TRUE(_detail->isComplete());
      EXPECT_EQ(_detail->drawnPoints(), drawn);
      EXPECT_GT(_detail->loadedPoints(), drawn);
    }
    look({0.0, -300.0, 150.0}, {15.0, 0.0, 0.0});
    prepare();
    EXPECT_EQ(_detail->isComplete(), rests);
    _detail->close(1);
  }
}

TEST_F(LevelOfDetailTest, whatIsReadAheadIsAnEighthOfTheMemoryAndReplacesWhatIsNotNeeded) {
  const SyntheticTree tree = makeHills({{-256.0, -256.0, -256.0}, 512.0}, 3000, 500, 2);
  const std::uint64_t memoryPoints = 180000;
  create(FrameBudget(150000, true), memoryPoints * LevelOfDetail::kBytesPerPoint);
  open(1, tree);
  int frames = 0;
  for (const double x : {0.0, 150.0, -150.0, 40.0}) {
    look({x, -300.0, 150.0}, {x, 0.0, 0.0});
    prepareUntilComplete();
    const std::uint64_t loaded = _detail->loadedPoints();
    frames += framesDueUntilIdle();
    EXPECT_LE(_detail->loadedPoints(), memoryPoints);
    EXPECT_LE(_detail->loadedPoints(), loaded + memoryPoints / 8);
    EXPECT_EQ(framesDueUntilIdle(), 0) << "at rest no frame is due";
  }
  EXPECT_GT(_removed, 0);
  EXPECT_LE(frames, 4) << "one for each view, to free memory";
}

TEST_F(LevelOfDetailTest, nodesReadAheadAreUploadedOverSeveralFrames) {
  constexpr std::uint64_t kNodePoints = 20000;
  constexpr std::uint64_t kMostNewPoints = 600000 + kNodePoints * 3 / 2;  // with one frame
  create(FrameBudget(kMostPoints, true));
  open(1, makeHills({{-256.0, -256.0, -256.0}, 512.0}, 1000, kNodePoints, 5));
  look({0.0, -160.0, 80.0}, {0.0, 0.0, 0.0});
  prepareUntilComplete();
  framesDueUntilIdle();
  std::map<osg::Node*, std::uint64_t> known = drawnNodesOf(1);
  look({0.0, -200.0, 100.0}, {0.0, 0.0, 0.0});
  int frames = 0;
  std::uint64_t uploaded = 0;
  do {
    prepare();
    std::uint64_t fresh = 0;
    for (const auto& node : drawnNodesOf(1)) {
      fresh += known.insert(node).second ? node.second : 0;
    }
    EXPECT_LE(fresh, kMostNewPoints);
    uploaded += fresh;
    ++frames;
  } while (_detail->mayRefine());
  EXPECT_GT(uploaded, kMostNewPoints) << "too few for this test";
  EXPECT_GT(frames, 1);
}

TEST_F(LevelOfDetailTest, nodesThatCouldNotBeReadAheadAreReadWhenTheyAreNeeded) {
  create(FrameBudget(kMostPoints, true));
  open(1, makeHills({{-256.0, -256.0, -256.0}, 512.0}, 3000, 500, 6));
  look({0.0, -300.0, 150.0}, {0.0, 0.0, 0.0});
  prepareUntilComplete();
  _reading = Reading::HasNoMemory;
  const int before = _reads;
  framesDueUntilIdle();
  EXPECT_GT(_reads, before);
  EXPECT_LE(_reads, before + 16) << "those that were requested already";
  _reading = Reading::Succeeds;
  look({0.0, -300.0, 150.0}, {15.0, 0.0, 0.0});
  prepareUntilComplete();
  const std::uint64_t drawn = _detail->drawnPoints();
  _detail->close(1);
  create(FrameBudget(kMostPoints, true));
  open(1, makeHills({{-256.0, -256.0, -256.0}, 512.0}, 3000, 500, 6));
  prepareUntilComplete();
  EXPECT_EQ(_detail->drawnPoints(), drawn) << "as in a viewer that has always had memory";
}

TEST_F(LevelOfDetailTest, damageAndChangesAreReportedApart) {
  for (const auto& [reading, expected] : {std::pair{Reading::FindsDamage, "damaged scan 7: a wrong byte"},
                                          std::pair{Reading::FindsAChange, "changed scan 7: another file"}}) {
    create(FrameBudget(kMostPoints, true));
    open(7, SyntheticTree({{0.0, 0.0, 0.0}, 100.0}, 1.0, 3000));
    look({125.0, -500.0, 200.0}, {50.0, 50.0, 50.0});
    _reading = reading;
    prepare();
    framesDueUntilIdle();
    EXPECT_THAT(std::exchange(_reports, {}), ElementsAre(expected));
  }
}

TEST_F(LevelOfDetailTest, nodesThatCouldNotBeReadAreReadWhenTheViewMoves) {
  for (const auto& [reading, expected] : {std::pair{Reading::HasNoMemory, "not enough memory to load more points"},
                                          std::pair{Reading::HasNoDisk, "no disk"}}) {
    create(FrameBudget(kMostPoints, true));
    open(1, makeHills({{-256.0, -256.0, -256.0}, 512.0}, 300, 500, 6));
    look({0.0, -300.0, 150.0}, {0.0, 0.0, 0.0});
    _reading = reading;
    prepare();
    framesDueUntilIdle();
    EXPECT_EQ(_detail->drawnPoints(), 0U);
    EXPECT_TRUE(_detail->isComplete()) << "nothing more is read";
    EXPECT_THAT(std::exchange(_reports, {}), ElementsAre(expected)) << "once";
    _reading = Reading::Succeeds;
    prepare();
    framesDueUntilIdle();
    EXPECT_EQ(_detail->drawnPoints(), 0U) << "the view rests";
    look({0.0, -300.0, 150.0}, {1.0, 0.0, 0.0});
    prepareUntilComplete();
    EXPECT_GT(_detail->drawnPoints(), 0U);
  }
}

TEST_F(LevelOfDetailTest, theTreeOfAClosedScanIsReleasedWithoutWaitingForOtherReads) {
  create(FrameBudget(kMostPoints, true));
  for (const unsigned int scan : {1U, 2U}) {
    open(scan, SyntheticTree({{0.0, 0.0, 0.0}, 100.0}, 1.0, 3000));
  }
  WorkerGate gate(QuorOsgUtils::FileCmd::High);
  look({125.0, -500.0, 200.0}, {50.0, 50.0, 50.0});
  prepare();
  auto released = std::async(std::launch::async, [future = _detail->close(1)] { future.wait(); });
  EXPECT_EQ(released.wait_for(5s), std::future_status::ready);
  gate.open();
}

TEST_F(LevelOfDetailTest, theTreeOfAClosedScanIsReleasedWhenItsNodeHasBeenRead) {
  create(FrameBudget(kMostPoints, true));
  open(1, makeHills({{-256.0, -256.0, -256.0}, 512.0}, 3000, 500, 6));
  look({0.0, -300.0, 150.0}, {0.0, 0.0, 0.0});
  prepare();
  while (_reads == 0) {
    std::this_thread::sleep_for(1ms);
  }
  _detail->close(1).wait();
  EXPECT_EQ(_token.use_count(), 1);
}

TEST_F(LevelOfDetailTest, aScanCanBeClosedWhileItIsReadAhead) {
  create(FrameBudget(kMostPoints, true));
  open(1, makeHills({{-256.0, -256.0, -256.0}, 512.0}, 3000, 500, 3));
  open(2, makeHills({{0.0, -256.0, -256.0}, 512.0}, 3000, 500, 4));
  look({0.0, -300.0, 150.0}, {0.0, 0.0, 0.0});
  prepareUntilComplete();
  const int before = _reads;
  while (_reads == before) {
    _detail->readAhead();
    std::this_thread::sleep_for(1ms);
  }
  _detail->close(1);
  _detail->receive();
  EXPECT_FALSE(_detail->readAhead()) << "not before the next frame";
  prepare();
  framesDueUntilIdle();
  EXPECT_TRUE(_detail->isComplete());
  EXPECT_EQ(_detail->drawnPoints(), drawnPointsOf(2));
}

}  // namespace
