#include "tests/scan/ScanBytes.h"
#include "tests/scan/ScanDouble.h"
#include "viewer/session/ScanTrees.h"

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <thread>

namespace {

using namespace QuorTests;
using namespace QuorViewer;
using namespace std::chrono_literals;

using ScanBytes::kPlenty;

/// Holds up threads until it is opened.
class Barrier {
 public:
  void pass() {
    std::unique_lock<std::mutex> held(_mutex);
    ++_arrived;
    _changed.notify_all();
    _changed.wait(held, [this] { return _open; });
  }
  bool waitForArrival() {
    std::unique_lock<std::mutex> held(_mutex);
    return _changed.wait_for(held, 60s, [this] { return _arrived > 0; });
  }
  void open() {
    const std::lock_guard<std::mutex> held(_mutex);
    _open = true;
    _changed.notify_all();
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  int _arrived = 0;
  bool _open = false;
};

class ScanTreesTest : public testing::Test {
 protected:
  /// A build that ends up waiting at the barrier would wait for ever.
  void TearDown() override { _barrier->open(); }

  std::unique_ptr<ScanReader> open(const std::string& name) {
    return ScanReader::open(_folder.write(name, ScanBytes::file({4, 7}, ScanBytes::variedPoints(3000, 7))));
  }
  /// Starts a build that waits at the barrier.
  void startHeldUp(unsigned int scan) {
    const ScanDouble reader(open("held.las"), [barrier = _barrier] { barrier->pass(); });
    _trees.build(scan, reader, osg::Vec3d());
    ASSERT_TRUE(_barrier->waitForArrival());
  }
  /// Cancels on another thread, so that the test cannot hang.
  bool cancelsAtOnce(unsigned int scan) {
    _cancelling = std::async(std::launch::async, [this, scan] { _trees.cancel(scan); });
    return _cancelling.wait_for(5s) == std::future_status::ready;
  }
  std::optional<ScanTrees::Built> waitForTree() {
    const auto end = std::chrono::steady_clock::now() + 60s;
    std::optional<ScanTrees::Built> built;
    while (!built && std::chrono::steady_clock::now() < end) {
      built = _trees.pollBuilt();
      std::this_thread::sleep_for(1ms);
    }
    return built;
  }

  ScanBytes::Folder _folder;
  std::shared_ptr<Barrier> _barrier = std::make_shared<Barrier>();
  ScanTrees _trees{TreeSettings{true, _folder.path("index"), kPlenty, kPlenty}};
  std::future<void> _cancelling;
};

TEST_F(ScanTreesTest, aBuildIsCancelledWithoutWaitingForItsEnd) {
  startHeldUp(1);
  EXPECT_EQ(_trees.current(), 1U);
  EXPECT_TRUE(_trees.isBuilding(1));
  ASSERT_TRUE(cancelsAtOnce(1));
  EXPECT_EQ(_trees.current(), std::nullopt);
  EXPECT_FALSE(_trees.isBuilding(1));
  EXPECT_FALSE(_trees.pollBuilt());
}

TEST_F(ScanTreesTest, aCancelledBuildThatHasEndedHoldsNothing) {
  startHeldUp(1);
  EXPECT_GT(_barrier.use_count(), 1);
  ASSERT_TRUE(cancelsAtOnce(1));
  _barrier->open();
  const auto end = std::chrono::steady_clock::now() + 60s;
  while (_barrier.use_count() > 1 && std::chrono::steady_clock::now() < end) {
    _trees.forgetEnded();
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_EQ(_barrier.use_count(), 1) << "the scan is closed";
  EXPECT_FALSE(_trees.pollBuilt());
}

TEST_F(ScanTreesTest, theNextBuildStartsWhenTheCancelledOneHasEnded) {
  startHeldUp(1);
  _trees.build(2, *open("next.las"), osg::Vec3d());
  EXPECT_TRUE(_trees.isBuilding(2)) << "it waits";
  ASSERT_TRUE(cancelsAtOnce(1));
  EXPECT_FALSE(_trees.pollBuilt());
  EXPECT_EQ(_trees.current(), std::nullopt);
  _barrier->open();
  const std::optional<ScanTrees::Built> built = waitForTree();
  ASSERT_TRUE(built && built->tree);
  EXPECT_EQ(built->scan, 2U);
  EXPECT_EQ(built->tree->info().pointCount, 3000U);
}

TEST_F(ScanTreesTest, aTreeThatMayNotBeHeldInMemoryGoesToTheCache) {
  const auto reader = open("scan.las");
  for (const std::uint64_t left : {3000 * 24, 3000 * 24 - 1}) {
    _trees.setMemory({kPlenty, left});
    _trees.build(1, *reader, osg::Vec3d());
    const std::optional<ScanTrees::Built> built = waitForTree();
    ASSERT_TRUE(built && built->tree);
    const bool isHeld = left == 3000 * 24;
    EXPECT_THAT(built->text, testing::MatchesRegex(isHeld ? "" : ".*scan-.*\\.quoridx \\(0\\.0 MiB\\)"));
    EXPECT_EQ(built->tree->heldBytes() > 0, isHeld);
    EXPECT_LE(built->tree->heldBytes(), left);
  }
}

TEST_F(ScanTreesTest, theMemoryOfABuildCountsUntilItHasEnded) {
  EXPECT_EQ(_trees.buildBytes(), 0U);
  startHeldUp(1);
  EXPECT_EQ(_trees.buildBytes(), 3000U * 104);
  ASSERT_TRUE(cancelsAtOnce(1));
  EXPECT_EQ(_trees.buildBytes(), 3000U * 104) << "it still runs";
  _barrier->open();
  const auto end = std::chrono::steady_clock::now() + 60s;
  while (_trees.buildBytes() > 0 && std::chrono::steady_clock::now() < end) {
    _trees.forgetEnded();
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_EQ(_trees.buildBytes(), 0U);
}

TEST_F(ScanTreesTest, aBuildWithoutMemorySaysSo) {
  _trees.build(1, ScanDouble(open("scan.las"), [] { throw std::bad_alloc(); }), osg::Vec3d());
  const std::optional<ScanTrees::Built> built = waitForTree();
  ASSERT_TRUE(built && !built->tree);
  EXPECT_THAT(built->text, testing::EndsWith("scan.las: not enough memory to build its index"));
}

TEST_F(ScanTreesTest, smallScansAreDrawnAsTreesOnceThereAreMany) {
  ScanInfo small;
  small.pointCount = ScanTrees::kMostPointsWithoutTree;
  for (unsigned int scan = 1; scan <= 8; ++scan) {
    EXPECT_FALSE(_trees.wants(scan, small)) << scan;
  }
  EXPECT_FALSE(_trees.wants(1, small)) << "the same once more";
  EXPECT_TRUE(_trees.wants(9, small));
  ScanInfo large;
  large.pointCount = ScanTrees::kMostPointsWithoutTree + 1;
  EXPECT_TRUE(_trees.wants(10, large));
  _trees.forget(3);
  EXPECT_FALSE(_trees.wants(11, small)) << "in the place of a closed one";
}

TEST_F(ScanTreesTest, aWaitingBuildIsCancelled) {
  startHeldUp(1);
  _trees.build(2, *open("next.las"), osg::Vec3d());
  _trees.cancel(2);
  EXPECT_FALSE(_trees.isBuilding(2));
  EXPECT_EQ(_trees.current(), 1U);
}

TEST_F(ScanTreesTest, aBuildThatCouldNotStartIsForgottenWhenItIsCancelled) {
  const std::unique_ptr<ScanReader> scan = open("gone.las");
  std::filesystem::rename(_folder.path("gone.las"), _folder.path("elsewhere.las"));
  for (const unsigned int number : {1U, 2U}) {
    _trees.build(number, *scan, osg::Vec3d());
  }
  _trees.cancel(1);
  const std::optional<ScanTrees::Built> built = _trees.pollBuilt();
  ASSERT_TRUE(built);
  EXPECT_EQ(built->scan, 2U);
  EXPECT_FALSE(_trees.pollBuilt());
  EXPECT_FALSE(_trees.isBuilding());
}

}  // namespace
