#include "viewer/render/NodeResidency.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <optional>
#include <random>
#include <set>

namespace {

using namespace QuorViewer;
using Priority = NodeResidency::Priority;
using State = NodeResidency::State;
using Ids = std::vector<std::uint32_t>;

constexpr std::uint32_t kNone = WantedNode::kNone;

ScanNode nodeOf(std::uint32_t id) {
  return {1, id};
}

WantedNode visible(std::uint32_t id, std::uint64_t bytes = 10, std::uint32_t parent = kNone) {
  return {nodeOf(id), parent, bytes, false};
}

WantedNode prefetched(std::uint32_t id, std::uint64_t bytes = 10, std::uint32_t parent = kNone) {
  return {nodeOf(id), parent, bytes, true};
}

Ids idsOf(const std::vector<ScanNode>& nodes) {
  Ids ids;
  for (const ScanNode& node : nodes) {
    ids.push_back(node.node);
  }
  return ids;
}

Ids idsOf(const std::vector<NodeRequest>& requests) {
  Ids ids;
  for (const NodeRequest& request : requests) {
    ids.push_back(request.node.node);
  }
  return ids;
}

ResidencyLimits limitsOf(std::uint64_t memoryBytes, std::size_t requestsInFlight = 100) {
  return {memoryBytes, memoryBytes, requestsInFlight};
}

/// Updates until everything that is requested has been read.
void settle(NodeResidency& residency, const std::vector<WantedNode>& wanted) {
  std::vector<NodeRequest> requests = residency.update(wanted).requests;
  while (!requests.empty()) {
    for (const NodeRequest& request : requests) {
      const auto of =
          std::find_if(wanted.begin(), wanted.end(), [&](const WantedNode& node) { return node.node == request.node; });
      ASSERT_TRUE(residency.arrived(request.node, of->bytes));
    }
    requests = residency.update(wanted).requests;
  }
}

TEST(NodeResidencyTest, aWantedNodeIsRequestedOnceAndDrawnWhenItHasArrived) {
  NodeResidency residency(limitsOf(100));
  EXPECT_EQ(residency.stateOf(nodeOf(5)), State::Absent);
  EXPECT_EQ(idsOf(residency.update({visible(5)}).requests), Ids{5});
  EXPECT_EQ(residency.stateOf(nodeOf(5)), State::Requested);
  EXPECT_TRUE(residency.isIncomplete());
  EXPECT_TRUE(residency.update({visible(5)}).requests.empty());
  EXPECT_TRUE(residency.update({visible(5)}).drawn.empty());
  EXPECT_TRUE(residency.arrived(nodeOf(5), 10));
  EXPECT_EQ(residency.stateOf(nodeOf(5)), State::Loaded);
  EXPECT_EQ(idsOf(residency.update({visible(5)}).drawn), Ids{5});
  EXPECT_TRUE(residency.update({visible(5)}).requests.empty());
  EXPECT_FALSE(residency.isIncomplete());
}

TEST(NodeResidencyTest, nodesOfDifferentScansAreDifferent) {
  NodeResidency residency(limitsOf(100));
  const std::vector<WantedNode> wanted = {{{1, 7}, kNone, 10, false}, {{2, 7}, kNone, 10, false}};
  EXPECT_EQ(residency.update(wanted).requests.size(), 2U);
  EXPECT_TRUE(residency.arrived({2, 7}, 10));
  const std::vector<ScanNode> expected = {{2, 7}};
  EXPECT_EQ(residency.update(wanted).drawn, expected);
}

TEST(NodeResidencyTest, aNodeIsDrawnOnlyWithItsParent) {
  NodeResidency residency(limitsOf(100));
  const std::vector<WantedNode> wanted = {visible(0), visible(1, 10, 0), visible(2, 10, 1)};
  residency.update(wanted);
  EXPECT_TRUE(residency.arrived(nodeOf(2), 10));
  EXPECT_TRUE(residency.arrived(nodeOf(0), 10));
  EXPECT_EQ(idsOf(residency.update(wanted).drawn), Ids{0});
  EXPECT_TRUE(residency.arrived(nodeOf(1), 10));
  EXPECT_EQ(idsOf(residency.update(wanted).drawn), (Ids{0, 1, 2}));
}

TEST(NodeResidencyTest, requestsInFlightAreLimitedAndInTheOrderOfTheList) {
  NodeResidency residency(limitsOf(100, 2));
  const std::vector<WantedNode> wanted = {visible(4), visible(3), visible(2), visible(1)};
  EXPECT_EQ(idsOf(residency.update(wanted).requests), (Ids{4, 3}));
  EXPECT_TRUE(residency.update(wanted).requests.empty());
  EXPECT_TRUE(residency.arrived(nodeOf(3), 10));
  EXPECT_EQ(residency.requestsInFlight(), 1U);
  EXPECT_EQ(idsOf(residency.update(wanted).requests), Ids{2});
}

TEST(NodeResidencyTest, aRequestThatIsNoLongerWantedMakesWayForANewOne) {
  NodeResidency residency(limitsOf(20, 2));
  residency.update({visible(0), visible(1)});
  const NodeResidency::Decision& decision = residency.update({visible(1), visible(2)});
  EXPECT_EQ(idsOf(decision.dropped), Ids{0});
  EXPECT_EQ(idsOf(decision.requests), Ids{2});
  EXPECT_EQ(residency.stateOf(nodeOf(0)), State::Absent);
  EXPECT_FALSE(residency.arrived(nodeOf(0), 10)) << "it was dropped";
  EXPECT_EQ(residency.bytes(), 20U);
  EXPECT_EQ(idsOf(residency.update({visible(0)}).requests), Ids{0}) << "it can be requested again";
}

TEST(NodeResidencyTest, nodesThatCoverHaveTheHighestPriorityThenRefinementsThenPrefetchedOnes) {
  NodeResidency residency(limitsOf(1000));
  const std::vector<WantedNode> wanted = {visible(0), visible(1, 10, 0), visible(2, 10, 1),
                                          visible(3), visible(4, 10, 3), prefetched(5, 10, 1)};
  settle(residency, {visible(0), visible(1, 10, 0)});
  const std::vector<NodeRequest> requests = residency.update(wanted).requests;
  ASSERT_EQ(idsOf(requests), (Ids{2, 3, 4}));
  EXPECT_EQ(requests[0].priority, Priority::Normal) << "its parent is drawn";
  EXPECT_EQ(requests[1].priority, Priority::High) << "nothing is drawn in its place";
  EXPECT_EQ(requests[2].priority, Priority::High) << "its parent is missing";
  for (const std::uint32_t id : {2U, 3U, 4U}) {
    EXPECT_TRUE(residency.arrived(nodeOf(id), 10));
  }
  const auto& later = residency.update(wanted).requests;
  ASSERT_EQ(idsOf(later), Ids{5});
  EXPECT_EQ(later[0].priority, Priority::Low);
}

TEST(NodeResidencyTest, nodesArePrefetchedOnlyWhenNoNodeToBeDrawnIsMissing) {
  NodeResidency residency(limitsOf(100));
  const std::vector<WantedNode> wanted = {visible(0), visible(1, 10, 0), prefetched(2, 10, 0)};
  EXPECT_EQ(idsOf(residency.update(wanted).requests), (Ids{0, 1}));
  EXPECT_TRUE(residency.arrived(nodeOf(0), 10));
  EXPECT_TRUE(residency.update(wanted).requests.empty()) << "one has been requested, but has not arrived";
  residency.failed(nodeOf(1));
  EXPECT_EQ(idsOf(residency.update(wanted).requests), Ids{2});
  EXPECT_TRUE(residency.update({visible(0), visible(3, 10, 0), prefetched(2, 10, 0)}).dropped.empty());
}

TEST(NodeResidencyTest, aPrefetchedNodeThatCannotBeReadIsRequestedAgainOnceItIsVisible) {
  NodeResidency residency(limitsOf(100));
  settle(residency, {visible(0)});
  EXPECT_EQ(idsOf(residency.update({visible(0), prefetched(1, 10, 0)}).requests), Ids{1});
  residency.failed(nodeOf(1));
  EXPECT_EQ(residency.stateOf(nodeOf(1)), State::Absent);
  EXPECT_EQ(residency.bytes(), 10U);
  EXPECT_EQ(idsOf(residency.update({visible(0), visible(1, 10, 0)}).requests), Ids{1});
}

TEST(NodeResidencyTest, prefetchedNodesReplaceOldOnesButNoPlannedOnes) {
  NodeResidency residency(limitsOf(40));
  settle(residency, {visible(0), visible(9)});
  const std::vector<WantedNode> wanted = {visible(0), visible(1), visible(2), prefetched(3), prefetched(4)};
  settle(residency, wanted);
  EXPECT_EQ(residency.stateOf(nodeOf(9)), State::Absent) << "it made way";
  EXPECT_EQ(residency.stateOf(nodeOf(3)), State::Loaded);
  EXPECT_EQ(residency.stateOf(nodeOf(4)), State::Absent) << "there is no room for it";
  EXPECT_EQ(idsOf(residency.update(wanted).drawn), (Ids{0, 1, 2}));
}

TEST(NodeResidencyTest, theDescendantOfAMissingNodeRefinesAnAncestorThatIsDrawn) {
  NodeResidency residency(limitsOf(1000));
  settle(residency, {visible(0)});
  const auto& requests = residency.update({visible(0), visible(1, 10, 0), visible(2, 10, 1)}).requests;
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[1].priority, Priority::Normal);
}

TEST(NodeResidencyTest, prefetchedNodesAreNotDrawnUntilTheyAreVisible) {
  NodeResidency residency(limitsOf(100));
  settle(residency, {visible(0), prefetched(1, 10, 0)});
  EXPECT_EQ(residency.stateOf(nodeOf(1)), State::Loaded);
  EXPECT_EQ(idsOf(residency.update({visible(0), prefetched(1, 10, 0)}).drawn), Ids{0});
  EXPECT_EQ(idsOf(residency.update({visible(0), visible(1, 10, 0)}).drawn), (Ids{0, 1}));
}

TEST(NodeResidencyTest, aRequestToPrefetchIsReplacedWhenTheNodeIsVisible) {
  NodeResidency residency(limitsOf(20));
  residency.update({prefetched(0), prefetched(1)});
  const NodeResidency::Decision& decision = residency.update({visible(0), prefetched(1)});
  EXPECT_EQ(idsOf(decision.dropped), Ids{0});
  ASSERT_EQ(idsOf(decision.requests), Ids{0});
  EXPECT_EQ(decision.requests[0].priority, Priority::High);
  EXPECT_EQ(residency.bytes(), 20U);
  EXPECT_TRUE(residency.update({visible(0), prefetched(1)}).dropped.empty());
  EXPECT_TRUE(residency.update({prefetched(0), prefetched(1)}).dropped.empty()) << "a higher priority does no harm";
}

TEST(NodeResidencyTest, missingPrefetchedNodesDoNotMakeAPictureIncomplete) {
  NodeResidency residency(limitsOf(100));
  residency.update({visible(0), prefetched(1)});
  EXPECT_TRUE(residency.isIncomplete());
  EXPECT_TRUE(residency.arrived(nodeOf(0), 10));
  residency.update({visible(0), prefetched(1)});
  EXPECT_FALSE(residency.isIncomplete());
}

TEST(NodeResidencyTest, requestedBytesCountAsMemory) {
  NodeResidency residency(limitsOf(25));
  const std::vector<WantedNode> wanted = {visible(0), visible(1), visible(2)};
  EXPECT_EQ(idsOf(residency.update(wanted).requests), (Ids{0, 1})) << "a third does not fit";
  EXPECT_EQ(residency.bytes(), 20U);
  EXPECT_TRUE(residency.arrived(nodeOf(0), 4));
  EXPECT_EQ(residency.bytes(), 14U);
  EXPECT_EQ(idsOf(residency.update(wanted).requests), Ids{2}) << "there is room, because the first was smaller";
}

TEST(NodeResidencyTest, theLeastRecentlyWantedNodesAreEvictedFirst) {
  NodeResidency residency(limitsOf(50));
  settle(residency, {visible(0), visible(1)});
  settle(residency, {visible(2), visible(3)});
  settle(residency, {visible(1), visible(4)});
  const Ids byAge = {0, 3, 2, 4, 1};  // of the same update, the later in the list
  for (std::uint32_t next = 0; next < byAge.size(); ++next) {
    std::vector<WantedNode> wanted;
    for (std::uint32_t i = 0; i <= next; ++i) {
      wanted.push_back(visible(10 + i));
    }
    EXPECT_EQ(idsOf(residency.update(wanted).evicted), Ids{byAge[next]});
    EXPECT_TRUE(residency.arrived(nodeOf(10 + next), 10));
  }
}

TEST(NodeResidencyTest, nothingIsEvictedBeforeItsMemoryIsNeeded) {
  NodeResidency residency(limitsOf(30));
  settle(residency, {visible(0), visible(1)});
  EXPECT_TRUE(residency.update({}).evicted.empty());
  EXPECT_TRUE(residency.update({visible(2)}).evicted.empty());
  EXPECT_EQ(residency.bytes(), 30U);
  EXPECT_EQ(idsOf(residency.update({visible(2), visible(3, 1)}).evicted), Ids{1});
}

TEST(NodeResidencyTest, wantedNodesThatDoNotFitMakeWayForMoreImportantOnes) {
  NodeResidency residency(limitsOf(30));
  const WantedNode a = visible(0);
  const WantedNode b = visible(1, 10, 0);
  const WantedNode c = visible(2, 10, 0);
  settle(residency, {a, b, c});
  const WantedNode d = visible(3, 10, 0);
  const NodeResidency::Decision& decision = residency.update({a, c, d, b});
  EXPECT_EQ(idsOf(decision.evicted), Ids{1});
  EXPECT_EQ(idsOf(decision.requests), Ids{3});
  EXPECT_EQ(idsOf(decision.drawn), (Ids{0, 2}));
}

TEST(NodeResidencyTest, theDescendantsOfANodeThatDoesNotFitAreLeftOut) {
  NodeResidency residency(limitsOf(30));
  const std::vector<WantedNode> wanted = {visible(0), visible(1, 40, 0), visible(2, 5, 1), visible(3, 5, 0)};
  EXPECT_EQ(idsOf(residency.update(wanted).requests), (Ids{0, 3}));
  EXPECT_TRUE(residency.arrived(nodeOf(0), 10));
  EXPECT_TRUE(residency.arrived(nodeOf(3), 5));
  EXPECT_EQ(idsOf(residency.update(wanted).drawn), (Ids{0, 3}));
  EXPECT_FALSE(residency.isIncomplete()) << "what is missing does not fit";
}

TEST(NodeResidencyTest, aFailedNodeIsNotRequestedAgainAndItsDescendantsAreDrawn) {
  NodeResidency residency(limitsOf(30));
  const std::vector<WantedNode> wanted = {visible(0), visible(1, 10, 0), visible(2, 10, 1), visible(3, 10, 2)};
  residency.update(wanted);
  EXPECT_TRUE(residency.arrived(nodeOf(0), 10));
  residency.failed(nodeOf(1));
  EXPECT_EQ(residency.stateOf(nodeOf(1)), State::Failed);
  EXPECT_TRUE(residency.arrived(nodeOf(2), 10));
  const NodeResidency::Decision& decision = residency.update(wanted);
  EXPECT_EQ(idsOf(decision.requests), Ids{3}) << "the failed node needs no memory";
  EXPECT_EQ(idsOf(decision.drawn), (Ids{0, 2}));
  EXPECT_TRUE(residency.arrived(nodeOf(3), 10));
  EXPECT_EQ(idsOf(residency.update(wanted).drawn), (Ids{0, 2, 3}));
  EXPECT_FALSE(residency.isIncomplete());
}

TEST(NodeResidencyTest, aPostponedNodeIsRequestedAgainOnlyWhenToldTo) {
  NodeResidency residency(limitsOf(30));
  const std::vector<WantedNode> wanted = {visible(0), visible(1, 10, 0), visible(2, 10, 0)};
  residency.update(wanted);
  EXPECT_TRUE(residency.arrived(nodeOf(0), 10));
  residency.postponed(nodeOf(1));
  residency.failed(nodeOf(2));
  EXPECT_TRUE(residency.update(wanted).requests.empty());
  EXPECT_FALSE(residency.isIncomplete());
  residency.retryPostponed();
  EXPECT_EQ(idsOf(residency.update(wanted).requests), Ids{1});
  EXPECT_TRUE(residency.isIncomplete());
  EXPECT_EQ(residency.bytes(), 20U);
  residency.retryPostponed();
  EXPECT_TRUE(residency.arrived(nodeOf(1), 10)) << "it is requested now";
}

TEST(NodeResidencyTest, theFailureOfADroppedRequestIsIgnored) {
  NodeResidency residency(limitsOf(30));
  residency.update({visible(0)});
  residency.update({});
  residency.failed(nodeOf(0));
  EXPECT_EQ(residency.stateOf(nodeOf(0)), State::Absent);
  EXPECT_EQ(idsOf(residency.update({visible(0)}).requests), Ids{0});
}

TEST(NodeResidencyTest, drawnNodesStayDrawnUntilTheNewViewIsComplete) {
  NodeResidency residency(limitsOf(100));
  const WantedNode root = visible(0);
  settle(residency, {root, visible(1, 10, 0), visible(2, 10, 1)});
  const std::vector<WantedNode> moved = {root, visible(3, 10, 0)};
  EXPECT_EQ(idsOf(residency.update(moved).drawn), (Ids{0, 1, 2}));
  EXPECT_EQ(idsOf(residency.update(moved).drawn), (Ids{0, 1, 2}));
  EXPECT_TRUE(residency.arrived(nodeOf(3), 10));
  EXPECT_EQ(idsOf(residency.update(moved).drawn), (Ids{0, 3}));
  EXPECT_EQ(residency.stateOf(nodeOf(2)), State::Loaded);
}

TEST(NodeResidencyTest, drawnNodesStayDrawnUntilTheirSuccessorsAreUploaded) {
  NodeResidency residency(limitsOf(100));
  settle(residency, {visible(0), visible(1, 10, 0), prefetched(2, 10, 0), prefetched(3, 10, 0), prefetched(4, 10, 0)});
  residency.setLimits({100, 100, 100, 15});
  const std::vector<WantedNode> moved = {visible(0), visible(2, 10, 0), visible(3, 10, 0), visible(4, 10, 0)};
  EXPECT_EQ(idsOf(residency.update(moved).drawn), (Ids{0, 2, 3, 1}));
  EXPECT_TRUE(residency.isUploading());
  EXPECT_FALSE(residency.isIncomplete()) << "everything is loaded";
  EXPECT_EQ(idsOf(residency.update(moved).drawn), (Ids{0, 2, 3, 4}));
  EXPECT_FALSE(residency.isUploading());
}

TEST(NodeResidencyTest, aNodeThatIsLoadedAgainIsUploadedAgain) {
  NodeResidency residency({40, 40, 100, 5});
  const std::vector<WantedNode> both = {visible(0), visible(1)};
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(idsOf(residency.update(both).requests), (Ids{0, 1}));
    EXPECT_TRUE(residency.arrived(nodeOf(0), 10));
    EXPECT_TRUE(residency.arrived(nodeOf(1), 10));
    EXPECT_EQ(idsOf(residency.update(both).drawn), Ids{0});
    EXPECT_TRUE(residency.isUploading());
    EXPECT_EQ(idsOf(residency.update(both).drawn), (Ids{0, 1}));
    EXPECT_FALSE(residency.isUploading());
    EXPECT_EQ(idsOf(residency.update({visible(2, 40)}).evicted), (Ids{1, 0}));
  }
}

TEST(NodeResidencyTest, keptNodesRespectTheLimitOfDrawnBytes) {
  NodeResidency residency({100, 35, 100});
  settle(residency, {visible(0), visible(1, 10, 0), visible(2, 10, 0), visible(3, 5, 1)});
  settle(residency, {visible(0), visible(4, 10, 0)});
  const std::vector<WantedNode> all = {visible(0), visible(1, 10, 0), visible(2, 10, 0), visible(3, 5, 1)};
  EXPECT_EQ(idsOf(residency.update(all).drawn), (Ids{0, 1, 2, 3}));
  const std::vector<WantedNode> moved = {visible(0), visible(4, 10, 0), visible(5, 10, 0)};
  EXPECT_EQ(idsOf(residency.update(moved).drawn), (Ids{0, 4, 1, 3})) << "30 bytes; a second of 10 exceeds the limit";
}

TEST(NodeResidencyTest, drawnNodesLeaveWhenTheirMemoryIsNeeded) {
  NodeResidency residency(limitsOf(40));
  settle(residency, {visible(0), visible(1, 10, 0), visible(2, 10, 1)});
  const NodeResidency::Decision& decision = residency.update({visible(0), visible(3, 20, 0)});
  EXPECT_EQ(idsOf(decision.evicted), Ids{2});
  EXPECT_EQ(idsOf(decision.drawn), (Ids{0, 1}));
}

TEST(NodeResidencyTest, aNodeLargerThanAnnouncedIsRefusedIfItDoesNotFit) {
  NodeResidency residency(limitsOf(30));
  const std::vector<WantedNode> wanted = {visible(0), visible(1)};
  residency.update(wanted);
  EXPECT_TRUE(residency.arrived(nodeOf(0), 12)) << "it fits";
  EXPECT_FALSE(residency.arrived(nodeOf(1), 19));
  EXPECT_EQ(residency.bytes(), 12U);
  EXPECT_TRUE(residency.update(wanted).requests.empty()) << "its size is known now";
  EXPECT_FALSE(residency.isIncomplete());
  EXPECT_EQ(idsOf(residency.update({visible(1)}).requests), Ids{1}) << "it fits in place of the other";
  EXPECT_EQ(residency.bytes(), 19U);
  EXPECT_TRUE(residency.arrived(nodeOf(1), 19));
}

TEST(NodeResidencyTest, lowerLimitsTakeEffectInTheNextUpdate) {
  NodeResidency residency(limitsOf(60, 3));
  const std::vector<WantedNode> wanted = {visible(0), visible(1), visible(2)};
  settle(residency, wanted);
  residency.update({visible(0), visible(1), visible(2), visible(3), visible(4)});
  residency.setLimits(limitsOf(25, 3));
  const NodeResidency::Decision& decision = residency.update(wanted);
  EXPECT_EQ(idsOf(decision.dropped), (Ids{3, 4}));
  EXPECT_EQ(idsOf(decision.evicted), Ids{2});
  EXPECT_EQ(idsOf(decision.drawn), (Ids{0, 1}));
  EXPECT_EQ(residency.bytes(), 20U);
}

TEST(NodeResidencyTest, aForgottenScanLeavesNothingBehind) {
  NodeResidency residency(limitsOf(100));
  const WantedNode other = {{2, 0}, kNone, 10, false};
  const std::vector<WantedNode> wanted = {visible(0), visible(1, 10, 0), visible(2, 10, 0), other};
  residency.update(wanted);
  EXPECT_TRUE(residency.arrived(nodeOf(0), 10));
  EXPECT_TRUE(residency.arrived({2, 0}, 10));
  residency.failed(nodeOf(1));
  residency.update(wanted);
  residency.forget(1);
  EXPECT_EQ(residency.bytes(), 10U);
  EXPECT_EQ(residency.requestsInFlight(), 0U);
  EXPECT_EQ(residency.stateOf(nodeOf(1)), State::Absent);
  EXPECT_FALSE(residency.arrived(nodeOf(2), 10));
  const NodeResidency::Decision& decision = residency.update({other});
  EXPECT_TRUE(decision.dropped.empty());
  EXPECT_EQ(decision.drawn, std::vector<ScanNode>{other.node});
  EXPECT_EQ(residency.update({{{2, 1}, kNone, 91, false}}).evicted, std::vector<ScanNode>{other.node});
}

/// Nodes, some of which cannot be read.
struct World {
  std::vector<std::uint32_t> parents;
  std::vector<std::uint64_t> bytes;
  std::vector<bool> readable;

  explicit World(std::mt19937& random) {
    constexpr std::uint32_t kNodes = 80;
    for (std::uint32_t id = 0; id < kNodes; ++id) {
      parents.push_back(id < 3 ? kNone : static_cast<std::uint32_t>(random()) % id);
      bytes.push_back(1 + random() % 20);
      readable.push_back(random() % 25 != 0);
    }
  }
  std::uint32_t size() const { return static_cast<std::uint32_t>(parents.size()); }
};

/// A wanted list that changes a little from step to step.
class WantedWalk {
 public:
  WantedWalk(const World& world, std::mt19937& random) : _world(world), _random(random) {
    for (std::uint32_t id = 0; id < world.size(); ++id) {
      _importance.push_back(random());
    }
  }

  std::vector<WantedNode> next() {
    const std::size_t changes = _random() % 10 == 0 ? _visible.size() : _random() % 3;
    for (std::size_t i = 0; i < changes; ++i) {
      _visible[_random() % _visible.size()] = _anyNode();
      _soon[_random() % _soon.size()] = _anyNode();
      _importance[_anyNode()] = _random();
    }
    std::vector<WantedNode> wanted;
    _indexOf.clear();
    _append(_visible, false, wanted);
    _append(_soon, true, wanted);
    return wanted;
  }

 private:
  std::uint32_t _anyNode() { return static_cast<std::uint32_t>(_random()) % _world.size(); }

  // Adds the nodes with their ancestors, by importance, but parents before their children.
  void _append(const std::vector<std::uint32_t>& nodes, bool prefetch, std::vector<WantedNode>& wanted) {
    std::set<std::pair<std::vector<std::mt19937::result_type>, std::uint32_t>> ordered;
    for (std::uint32_t id : nodes) {
      for (; id != kNone; id = _world.parents[id]) {
        ordered.emplace(_pathImportance(id), id);
      }
    }
    for (const auto& [path, id] : ordered) {
      const std::uint32_t parent = _world.parents[id];
      if (_indexOf.emplace(id, wanted.size()).second) {
        wanted.push_back({nodeOf(id), parent == kNone ? kNone : _indexOf.at(parent), _world.bytes[id], prefetch});
      }
    }
  }

  std::vector<std::mt19937::result_type> _pathImportance(std::uint32_t id) const {
    std::vector<std::mt19937::result_type> path;
    for (; id != kNone; id = _world.parents[id]) {
      path.insert(path.begin(), _importance[id]);
    }
    return path;
  }

  const World& _world;
  std::mt19937& _random;
  std::vector<std::mt19937::result_type> _importance;
  std::vector<std::uint32_t> _visible = std::vector<std::uint32_t>(8, 0);
  std::vector<std::uint32_t> _soon = std::vector<std::uint32_t>(3, 0);
  std::map<std::uint32_t, std::uint32_t> _indexOf;
};

/// Carries out decisions, and checks each of them against plain sets.
class Checker {
 public:
  Checker(const World& world, const ResidencyLimits& limits) : residency(limits), _world(world), _limits(limits) {}

  void update(const std::vector<WantedNode>& wanted) {
    ++_updates;
    _plan(wanted);
    const NodeResidency::Decision decision = residency.update(wanted);
    _checkDropped(idsOf(decision.dropped));
    _checkEvicted(idsOf(decision.evicted));
    _checkRequests(decision.requests);
    _checkBytes();
    _checkThatEvictionsWereNeeded(idsOf(decision.evicted));
    _checkDrawn(wanted, idsOf(decision.drawn));
  }

  /// Delivers a request, or one that was dropped.
  void deliver(std::uint32_t id) {
    const bool isExpected = requested.erase(id) == 1;
    if (!_world.readable[id]) {
      residency.failed(nodeOf(id));
      if (isExpected && _priorities[id] != Priority::Low) {
        failed.insert(id);
      }
      return;
    }
    EXPECT_EQ(residency.arrived(nodeOf(id), _world.bytes[id]), isExpected);
    if (isExpected) {
      loaded.insert(id);
    }
    _checkBytes();
  }

  /// Whether anything is still to be read or drawn. Requests ahead of nodes that cannot be read never end.
  bool isUnfinished() const {
    return residency.isUploading() || std::any_of(requested.begin(), requested.end(), [this](std::uint32_t id) {
             return _world.readable[id] || _visible.count(id) == 1;
           });
  }

  /// Of a view at rest: all that is wanted and fits is drawn, and nothing else but what is wanted.
  void checkAtRest() const {
    EXPECT_FALSE(residency.isIncomplete());
    for (const std::uint32_t id : _visible) {
      EXPECT_TRUE(_planned.count(id) == 0 || failed.count(id) == 1 || _drawn.count(id) == 1);
    }
    for (const std::uint32_t id : _drawn) {
      EXPECT_EQ(_visible.count(id), 1U);
    }
  }

  NodeResidency residency;
  std::set<std::uint32_t> requested, loaded, failed;
  std::vector<std::uint32_t> droppedOnce;  // those that may still arrive

 private:
  using Recentness = std::pair<int, int>;  // less: longer ago

  std::uint64_t _bytesOf(const std::set<std::uint32_t>& nodes) const {
    return std::accumulate(nodes.begin(), nodes.end(), std::uint64_t{0},
                           [&](std::uint64_t sum, std::uint32_t id) { return sum + _world.bytes[id]; });
  }

  void _plan(const std::vector<WantedNode>& wanted) {
    _planned.clear();
    _visible.clear();
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      const std::uint32_t id = wanted[i].node.node;
      const std::uint64_t bytes = failed.count(id) == 1 ? 0 : _world.bytes[id];
      if (sum + bytes <= _limits.memoryBytes &&
          (_world.parents[id] == kNone || _planned.count(_world.parents[id]) == 1)) {
        sum += bytes;
        _planned.insert(id);
      }
      if (!wanted[i].prefetch) {
        _visible.insert(id);
      }
      _wantedLast[id] = {_updates, -static_cast<int>(i)};
    }
  }

  void _checkDropped(const Ids& dropped) {
    for (const std::uint32_t id : dropped) {
      EXPECT_EQ(requested.erase(id), 1U);
      EXPECT_TRUE(_planned.count(id) == 0 || (_priorities[id] == Priority::Low && _visible.count(id) == 1));
      droppedOnce.push_back(id);
    }
    for (const std::uint32_t id : requested) {
      EXPECT_EQ(_planned.count(id), 1U) << "it should have been dropped";
    }
  }

  void _checkEvicted(const Ids& evicted) {
    for (const std::uint32_t id : evicted) {
      EXPECT_EQ(loaded.erase(id), 1U);
      EXPECT_EQ(_planned.count(id), 0U);
      for (const std::uint32_t other : loaded) {
        EXPECT_TRUE(_planned.count(other) == 1 || _wantedLast[id] < _wantedLast[other]) << "another is older";
      }
    }
  }

  void _checkRequests(const std::vector<NodeRequest>& requests) {
    for (const NodeRequest& request : requests) {
      const std::uint32_t id = request.node.node;
      EXPECT_EQ(_planned.count(id), 1U);
      EXPECT_EQ(loaded.count(id) + failed.count(id), 0U);
      EXPECT_TRUE(requested.insert(id).second) << "requested twice";
      EXPECT_EQ(request.priority == Priority::Low, _visible.count(id) == 0);
      EXPECT_TRUE(_visible.count(id) == 1 || !_isAnyMissing());
      _priorities[id] = request.priority;
    }
    EXPECT_LE(requested.size(), _limits.requestsInFlight);
    EXPECT_EQ(residency.requestsInFlight(), requested.size());
  }

  bool _isAnyMissing() const {
    return std::any_of(_visible.begin(), _visible.end(), [this](std::uint32_t id) {
      return _planned.count(id) == 1 && loaded.count(id) + failed.count(id) == 0;
    });
  }

  void _checkBytes() const {
    EXPECT_EQ(residency.bytes(), _bytesOf(loaded) + _bytesOf(requested));
    EXPECT_LE(residency.bytes(), _limits.memoryBytes);
  }

  void _checkThatEvictionsWereNeeded(const Ids& evicted) const {
    if (!evicted.empty()) {
      EXPECT_GT(residency.bytes() + _world.bytes[evicted.back()], _limits.memoryBytes);
    }
  }

  bool _isShown(std::uint32_t parent, const std::set<std::uint32_t>& drawn) const {
    return parent == kNone || drawn.count(parent) == 1 ||
           (failed.count(parent) == 1 && _isShown(_world.parents[parent], drawn));
  }

  void _checkDrawn(const std::vector<WantedNode>& wanted, const Ids& ids) {
    std::set<std::uint32_t> drawn;
    for (const std::uint32_t id : ids) {
      EXPECT_EQ(loaded.count(id), 1U);
      EXPECT_TRUE(_isShown(_world.parents[id], drawn)) << "its parent is not drawn before it";
      EXPECT_TRUE(drawn.insert(id).second) << "drawn twice";
      EXPECT_TRUE(_visible.count(id) == 1 || (_drawn.count(id) == 1 && _keepsNodes()));
    }
    for (const WantedNode& node : wanted) {
      const std::uint32_t id = node.node.node;
      EXPECT_TRUE(node.prefetch || loaded.count(id) == 0 || drawn.count(id) == 1 ||
                  !_isShown(_world.parents[id], drawn) || residency.isUploading());
    }
    _checkKept(drawn);
    _drawn = drawn;
  }

  bool _keepsNodes() const { return residency.isIncomplete() || residency.isUploading(); }

  // Those that were drawn before are kept as far as they may be.
  void _checkKept(const std::set<std::uint32_t>& drawn) const {
    const bool anyKept =
        std::any_of(drawn.begin(), drawn.end(), [&](std::uint32_t id) { return _visible.count(id) == 0; });
    EXPECT_TRUE(!anyKept || _bytesOf(drawn) <= _limits.drawnBytes);
    for (const std::uint32_t id : _drawn) {
      const bool mayBeDrawn = _keepsNodes() && loaded.count(id) == 1 && _isShown(_world.parents[id], drawn);
      EXPECT_TRUE(!mayBeDrawn || drawn.count(id) == 1 || _bytesOf(drawn) + _world.bytes[id] > _limits.drawnBytes);
    }
  }

  const World& _world;
  ResidencyLimits _limits;
  int _updates = 0;
  std::set<std::uint32_t> _planned, _visible, _drawn;
  std::map<std::uint32_t, Recentness> _wantedLast;
  std::map<std::uint32_t, Priority> _priorities;
};

/// Delivers some of the requests in any order, and sometimes one that was dropped.
void deliverSome(Checker& checker, std::mt19937& random) {
  const std::vector<std::uint32_t> requested(checker.requested.begin(), checker.requested.end());
  for (const std::uint32_t id : requested) {
    if (random() % 3 == 0) {
      checker.deliver(id);
    }
  }
  if (!checker.droppedOnce.empty() && random() % 2 == 0) {
    const std::uint32_t id = checker.droppedOnce[random() % checker.droppedOnce.size()];
    if (checker.failed.count(id) == 0 && checker.requested.count(id) == 0) {
      EXPECT_FALSE(checker.residency.arrived(nodeOf(id), 1));
    }
  }
}

void comeToRest(Checker& checker, const std::vector<WantedNode>& wanted) {
  for (int i = 0; i < 200; ++i) {
    checker.update(wanted);
    const std::vector<std::uint32_t> requested(checker.requested.begin(), checker.requested.end());
    if (!checker.isUnfinished()) {
      return checker.checkAtRest();
    }
    for (const std::uint32_t id : requested) {
      checker.deliver(id);
    }
  }
  FAIL() << "requests never end";
}

class NodeResidencyWalkTest : public testing::TestWithParam<unsigned int> {};

TEST_P(NodeResidencyWalkTest, everyDecisionOfARandomWalkKeepsTheRules) {
  std::mt19937 random(GetParam());
  const World world(random);
  const ResidencyLimits limits = {80 + 60 * (GetParam() % 5), 60 + 50 * (GetParam() % 4), 1 + GetParam() % 7,
                                  10 + 30 * (GetParam() % 3)};
  Checker checker(world, limits);
  WantedWalk walk(world, random);
  for (int round = 0; round < 20 && !testing::Test::HasFailure(); ++round) {
    std::vector<WantedNode> wanted;
    for (int step = 0; step < 50; ++step) {
      wanted = walk.next();
      checker.update(wanted);
      deliverSome(checker, random);
    }
    comeToRest(checker, wanted);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, NodeResidencyWalkTest, testing::Range(1U, 21U));

}  // namespace
