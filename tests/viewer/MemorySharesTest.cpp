#include "viewer/session/MemoryShares.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using QuorViewer::MemoryShares;

constexpr std::uint64_t kBytes = 1 << 20;

/// The user of the shares who takes as much as possible each time.
class Greedy {
 public:
  explicit Greedy(unsigned seed) : _random(seed) {}

  void step() {
    switch (_random() % 5) {
      case 0:
        return _load();
      case 1:
        return _startBuild();
      case 2:
        return _endBuild();
      case 3:
        _held -= _part(_held);
        return;
      default:
        _whole -= _part(_whole);
    }
  }
  std::uint64_t used() const { return _whole + _held + _build; }

 private:
  std::uint64_t _part(std::uint64_t bytes) { return std::uniform_int_distribution<std::uint64_t>(0, bytes)(_random); }
  void _load() {
    const std::uint64_t reserved = _shares.besideWhole(_held, _build);
    _whole += _part(kBytes - std::min(kBytes, reserved + _whole));
  }
  void _startBuild() {
    if (_build == 0) {
      _build = _part(_shares.forBuild(_whole, _held));
      _index = std::min(_build, _part(_shares.forIndex(_whole, _held)));
    }
  }
  void _endBuild() {
    _held += _index;
    _build = _index = 0;
  }

  MemoryShares _shares{kBytes};
  std::mt19937 _random;
  std::uint64_t _whole = 0, _held = 0, _build = 0;
  std::uint64_t _index = 0;  // that the build will leave in memory
};

TEST(MemorySharesTest, nodesAndEverythingElseTogetherStayWithinTheMemory) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    Greedy greedy(seed);
    for (int step = 0; step < 200; ++step) {
      greedy.step();
      ASSERT_LE(greedy.used() + MemoryShares(kBytes).forNodes(greedy.used()), kBytes) << seed << ", " << step;
    }
  }
}

TEST(MemorySharesTest, nodesGetWhatNothingElseUsesAndAtLeastAQuarter) {
  const MemoryShares shares(kBytes);
  EXPECT_EQ(shares.forNodes(0), kBytes);
  EXPECT_EQ(shares.forNodes(1000), kBytes - 1000);
  EXPECT_EQ(shares.forNodes(2 * kBytes), kBytes / 4);
}

TEST(MemorySharesTest, aBuildGetsBetweenAnEighthAndHalf) {
  const MemoryShares shares(kBytes);
  EXPECT_EQ(shares.forBuild(0, 0), kBytes / 2);
  EXPECT_EQ(shares.forBuild(kBytes / 8, kBytes / 8), kBytes / 4);
  EXPECT_EQ(shares.forBuild(kBytes, 0), kBytes / 8);
}

TEST(MemorySharesTest, indexesInMemoryGetAQuarterTogether) {
  const MemoryShares shares(kBytes);
  EXPECT_EQ(shares.forIndex(0, 0), kBytes / 4);
  EXPECT_EQ(shares.forIndex(0, kBytes / 4 - 10), 10U);
  EXPECT_EQ(shares.forIndex(kBytes / 2, 0), kBytes / 8);
  EXPECT_EQ(shares.forIndex(kBytes, 0), 0U);
}

TEST(MemorySharesTest, thereAreTreesOnlyBesidePointsThatLeaveEnough) {
  EXPECT_TRUE(MemoryShares(kBytes).allowsTrees(kBytes * 5 / 8));
  EXPECT_FALSE(MemoryShares(kBytes).allowsTrees(kBytes * 5 / 8 + 1));
}

}  // namespace
