#include "viewer/SyntheticTree.h"
#include "viewer/TreeCamera.h"
#include "viewer/render/NodePrefetch.h"
#include "viewer/render/NodeResidency.h"

#include <osg/Math>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>
#include <vector>

namespace {

using namespace QuorTests;
using namespace QuorViewer;

constexpr std::uint64_t kNoLimit = ~std::uint64_t{0} / 2;
const RootCube kTown = {{-256.0, -256.0, -256.0}, 512.0};

SelectionSettings settingsOf(std::uint64_t budgetPoints) {
  SelectionSettings settings;
  settings.budgetPoints = budgetPoints;
  settings.leastSpacingPixels = 2.0;
  return settings;
}

/// A view from the south, turned to the left by an angle.
CubeCamera viewOf(double degrees, const osg::Vec3d& eye = {0.0, -300.0, 150.0}) {
  const double angle = degrees * osg::PI / 180.0;
  return perspectiveCamera(eye, eye + osg::Vec3d(-300.0 * std::sin(angle), 300.0 * std::cos(angle), -150.0));
}

std::set<std::uint32_t> setOf(const std::vector<SelectedNode>& nodes) {
  std::set<std::uint32_t> set;
  for (const SelectedNode& node : nodes) {
    EXPECT_TRUE(set.insert(node.node.node).second) << "listed twice";
  }
  return set;
}

std::uint64_t pointsOf(const std::vector<SelectedNode>& nodes) {
  std::uint64_t points = 0;
  for (const SelectedNode& node : nodes) {
    points += node.pointCount;
  }
  return points;
}

// Whether a node would be selected by a camera without a budget, from the root down.
bool isWanted(const SyntheticTree& tree, const std::vector<std::uint32_t>& parents, std::uint32_t node,
              const CubeProjection& projection, double leastSpacingPixels) {
  const osg::BoundingBoxd cube = tree.cubeOf(node);
  const bool fineEnough = projection.pixelsOf(2.0 * tree.spacingOf(node), cube) <= leastSpacingPixels;
  if (!projection.isVisible(cube) || (node != 0 && fineEnough)) {
    return false;
  }
  return node == 0 || isWanted(tree, parents, parents[node], projection, leastSpacingPixels);
}

std::vector<std::uint32_t> parentsOf(const SyntheticTree& tree) {
  std::vector<std::uint32_t> parents(tree.nodes.size(), TreeNode::kNone);
  for (std::uint32_t node = 0; node < tree.nodes.size(); ++node) {
    for (const std::uint32_t child : tree.nodes[node].children) {
      if (child != TreeNode::kNone) {
        parents[child] = node;
      }
    }
  }
  return parents;
}

/// The same view with a wider angle, in a higher image.
CubeCamera widerView(CubeCamera camera) {
  const double degrees = 2.0 * std::atan(1.3 * halfAngleTangent()) * 180.0 / osg::PI;
  camera.projection = osg::Matrixd::perspective(degrees, kAspectRatio, 0.1, 1e5);
  camera.viewportHeightPixels *= 1.3;
  return camera;
}

TEST(NodePrefetchTest, withoutALimitItListsWhatAWiderAndFinerViewNeedsBesidesTheSelection) {
  const SyntheticTree tree = makeHills(kTown, 4000, 1000, 1);
  const std::vector<std::uint32_t> parents = parentsOf(tree);
  const std::vector<SelectableTree> trees = {tree.selectable(1)};
  NodeSelection selection;
  NodePrefetch prefetch;
  for (const double degrees : {0.0, 25.0, -35.0}) {
    const CubeCamera camera = viewOf(degrees);
    const std::set<std::uint32_t> selected = setOf(selection.select(trees, camera, settingsOf(kNoLimit)));
    CubeProjection wider;
    wider.set(widerView(camera), {});
    std::set<std::uint32_t> expected;
    for (std::uint32_t node = 0; node < tree.nodes.size(); ++node) {
      if (selected.count(node) == 0 && isWanted(tree, parents, node, wider, 0.7 * 2.0)) {
        expected.insert(node);
      }
    }
    EXPECT_GT(expected.size(), 5U);
    EXPECT_EQ(setOf(prefetch.select(trees, camera, settingsOf(kNoLimit), selection.selected(), kNoLimit)), expected);
  }
}

TEST(NodePrefetchTest, theLimitHoldsAndEachNodeComesAfterItsParent) {
  const SyntheticTree tree = makeHills(kTown, 4000, 1000, 2);
  const std::vector<std::uint32_t> parents = parentsOf(tree);
  const std::vector<SelectableTree> trees = {tree.selectable(1)};
  NodeSelection selection;
  NodePrefetch prefetch;
  for (const std::uint64_t most : {0, 900, 20000, 100000}) {
    for (const std::uint64_t budget : {50000, 200000}) {
      std::vector<SelectedNode> nodes = selection.select(trees, viewOf(0.0), settingsOf(budget));
      const std::size_t selected = nodes.size();
      const auto& listed = prefetch.select(trees, viewOf(0.0), settingsOf(budget), selection.selected(), most);
      EXPECT_LE(pointsOf(listed), most);
      EXPECT_TRUE(most < 20000 || pointsOf(listed) > most / 2) << "there is more than enough to list";
      nodes.insert(nodes.end(), listed.begin(), listed.end());
      setOf(nodes);
      for (std::size_t i = selected; i < nodes.size(); ++i) {
        ASSERT_LT(nodes[i].parent, i);
        EXPECT_EQ(nodes[nodes[i].parent].node.node, parents[nodes[i].node.node]);
      }
    }
  }
}

TEST(NodePrefetchTest, nodesWithTheWidestPointsComeFirst) {
  const SyntheticTree tree = makeHills(kTown, 4000, 1000, 3);
  const std::vector<SelectableTree> trees = {tree.selectable(1)};
  NodeSelection selection;
  NodePrefetch prefetch;
  const std::size_t selected = selection.select(trees, viewOf(0.0), settingsOf(kNoLimit)).size();
  const auto& listed = prefetch.select(trees, viewOf(0.0), settingsOf(kNoLimit), selection.selected(), kNoLimit);
  for (std::size_t i = 1; i < listed.size(); ++i) {
    const bool followsItsParent = listed[i].parent == selected + i - 1;
    EXPECT_TRUE(followsItsParent || listed[i].weight <= listed[i - 1].weight);
  }
}

/// A view that rests until everything has been read, then the requests of the next one.
class Rest {
 public:
  Rest(const SyntheticTree& tree, std::uint64_t prefetchedPoints)
      : _trees({tree.selectable(1)}), _prefetchedPoints(prefetchedPoints) {
    const SelectionSettings settings = settingsOf(kNoLimit);
    std::vector<WantedNode> wanted = _wanted(_selection.select(_trees, viewOf(0.0), settings), false);
    const auto& ahead = _prefetch.select(_trees, viewOf(0.0), settings, _selection.selected(), _prefetchedPoints);
    const std::vector<WantedNode> more = _wanted(ahead, true);
    wanted.insert(wanted.end(), more.begin(), more.end());
    _drawn = _selection.selected().size();
    for (bool any = true; any;) {
      const std::vector<NodeRequest> requests = _residency.update(wanted).requests;
      for (const NodeRequest& request : requests) {
        EXPECT_TRUE(_residency.arrived(request.node, tree.nodes[request.node.node].pointCount));
      }
      any = !requests.empty();
    }
  }

  std::size_t drawn() const { return _drawn; }
  std::size_t requestsOf(const CubeCamera& camera) {
    return _residency.update(_wanted(_selection.select(_trees, camera, settingsOf(kNoLimit)), false)).requests.size();
  }

 private:
  static std::vector<WantedNode> _wanted(const std::vector<SelectedNode>& nodes, bool prefetch) {
    std::vector<WantedNode> wanted;
    for (const SelectedNode& node : nodes) {
      wanted.push_back({node.node, node.parent, node.pointCount, prefetch});
    }
    return wanted;
  }

  std::vector<SelectableTree> _trees;
  std::uint64_t _prefetchedPoints;
  NodeSelection _selection;
  NodePrefetch _prefetch;
  NodeResidency _residency{{kNoLimit, kNoLimit, 16}};
  std::size_t _drawn = 0;
};

TEST(NodePrefetchTest, afterARestASmallMovementFindsItsNodesLoaded) {
  const SyntheticTree tree = makeHills(kTown, 8000, 1000, 4);
  const osg::Vec3d eye(0.0, -300.0, 150.0);
  const std::vector<CubeCamera> next = {viewOf(3.0), viewOf(-3.0), viewOf(0.0, eye + osg::Vec3d(15.0, 0.0, 0.0)),
                                        viewOf(0.0, eye + osg::Vec3d(0.0, 0.0, -8.0)),
                                        viewOf(0.0, eye + osg::Vec3d(0.0, 12.0, -6.0))};
  std::size_t without = 0;
  for (const CubeCamera& camera : next) {
    Rest withPrefetch(tree, kNoLimit);
    EXPECT_GT(withPrefetch.drawn(), 100U);
    EXPECT_EQ(withPrefetch.requestsOf(camera), 0U);
    Rest withoutPrefetch(tree, 0);
    const std::size_t requests = withoutPrefetch.requestsOf(camera);
    EXPECT_GT(requests, 0U);
    without += requests;
  }
  RecordProperty("requestsWithoutPrefetch", static_cast<int>(without));
}

}  // namespace
