#include "viewer/SyntheticTree.h"
#include "viewer/TreeCamera.h"
#include "viewer/render/NodeSelection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <set>

namespace {

using namespace QuorTests;
using namespace QuorViewer;

constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};
const RootCube kTown = {{448262.5, 5411932.25, 200.0}, 512.0};  // in map coordinates
const osg::Vec3d kTownCentre = kTown.least + osg::Vec3d(256.0, 256.0, 256.0);

using Node = std::pair<unsigned int, std::uint32_t>;

std::vector<Node> nodesOf(const std::vector<SelectedNode>& selection) {
  std::vector<Node> nodes;
  for (const SelectedNode& selected : selection) {
    nodes.emplace_back(selected.node.scan, selected.node.node);
  }
  return nodes;
}

std::set<Node> setOf(const std::vector<SelectedNode>& selection) {
  const std::vector<Node> nodes = nodesOf(selection);
  return {nodes.begin(), nodes.end()};
}

std::vector<ScanNode> scanNodesOf(const std::vector<SelectedNode>& selection) {
  std::vector<ScanNode> nodes;
  for (const SelectedNode& selected : selection) {
    nodes.push_back(selected.node);
  }
  return nodes;
}

std::uint64_t pointsOf(const std::vector<SelectedNode>& selection) {
  return std::accumulate(selection.begin(), selection.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const SelectedNode& selected) { return sum + selected.drawnPoints; });
}

std::vector<std::uint32_t> drawnPointsOf(const std::vector<SelectedNode>& selection) {
  std::vector<std::uint32_t> points;
  for (const SelectedNode& selected : selection) {
    points.push_back(selected.drawnPoints);
  }
  return points;
}

SelectionSettings settingsOf(std::uint64_t budgetPoints, double leastSpacingPixels = 0.0) {
  SelectionSettings settings;
  settings.budgetPoints = budgetPoints;
  settings.leastSpacingPixels = leastSpacingPixels;
  return settings;
}

// The nodes to draw without a budget: parents are visited first.
std::set<Node> expectedNodes(const SyntheticTree& tree, const CubeCamera& camera, const SelectionSettings& settings) {
  CubeProjection projection;
  projection.set(camera, settings.clipPlanes);
  std::set<Node> expected;
  std::vector<std::uint32_t> open = {0};
  while (!open.empty()) {
    const std::uint32_t node = open.back();
    open.pop_back();
    const osg::BoundingBoxd cube = tree.cubeOf(node);
    const double parentPixels = projection.pixelsOf(2.0 * tree.spacingOf(node), cube);
    if (!projection.isVisible(cube) || (node != 0 && parentPixels <= settings.leastSpacingPixels)) {
      continue;
    }
    expected.emplace(1, node);
    std::copy_if(tree.nodes[node].children.begin(), tree.nodes[node].children.end(), std::back_inserter(open),
                 [](std::uint32_t child) { return child != TreeNode::kNone; });
  }
  return expected;
}

std::vector<CubeCamera> camerasAround(const osg::Vec3d& origin) {
  std::vector<CubeCamera> cameras;
  for (int i = 0; i < 6; ++i) {
    const osg::Vec3d eye(300.0 * std::cos(i * 1.1), 300.0 * std::sin(i * 1.1), 40.0 + 30.0 * i);
    cameras.push_back(perspectiveCamera(eye, {}));
    cameras.push_back(orthographicCamera(eye, {}, 200.0));
  }
  for (CubeCamera& camera : cameras) {
    camera.origin = origin;
  }
  return cameras;
}

TEST(NodeSelectionTest, withoutALimitAllVisibleNodesAreSelected) {
  const SyntheticTree tree = makeHills(kTown, 3000, 1000, 1);
  NodeSelection selection;
  for (const CubeCamera& camera : camerasAround(kTownCentre)) {
    const SelectionSettings settings = settingsOf(kNoLimit);
    const std::set<Node> expected = expectedNodes(tree, camera, settings);
    EXPECT_GT(expected.size(), 100U);
    EXPECT_LT(expected.size(), tree.nodes.size());
    EXPECT_EQ(setOf(selection.select({tree.selectable(1)}, camera, settings)), expected);
  }
}

TEST(NodeSelectionTest, nodesAreRefinedWhereTheirPointsAreFurtherApartThanTheLeastSpacing) {
  const SyntheticTree tree = makeHills(kTown, 3000, 1000, 2);
  NodeSelection selection;
  for (const CubeCamera& camera : camerasAround(kTownCentre)) {
    const SelectionSettings settings = settingsOf(kNoLimit, 2.5);
    const std::set<Node> expected = expectedNodes(tree, camera, settings);
    EXPECT_LT(expected.size(), expectedNodes(tree, camera, settingsOf(kNoLimit)).size());
    EXPECT_EQ(setOf(selection.select({tree.selectable(1)}, camera, settings)), expected);
  }
}

// The root's spacing is 2 and the child's cube is from y = 50 on: 2 / distance × 1000 / (2 tan 20°) is 2.5 pixels.
TEST(NodeSelectionTest, aChildIsWantedUpToTheDistanceWhereTheSpacingOfItsParentIsTheLeast) {
  SyntheticTree tree({{-50.0, 0.0, -50.0}, 100.0}, 2.0, 10);
  tree.add(0, 0b010, 10);
  const double distance = 2.0 * kViewHeightPixels / (2.0 * halfAngleTangent() * 2.5);
  NodeSelection selection;
  for (const double share : {0.999, 1.001}) {
    const CubeCamera camera = perspectiveCamera({-10.0, 50.0 - share * distance, -10.0}, {-10.0, 50.0, -10.0});
    const auto& selected = selection.select({tree.selectable(1)}, camera, settingsOf(kNoLimit, 2.5));
    EXPECT_EQ(selected.size(), share < 1.0 ? 2U : 1U);
  }
}

TEST(NodeSelectionTest, theBudgetIsNeverExceededAndParentsPrecedeTheirChildren) {
  const SyntheticTree hills = makeHills(kTown, 3000, 1000, 3);
  const SyntheticTree others = makeHills({kTown.least + osg::Vec3d(300.0, 0.0, 0.0), 400.0}, 2000, 300, 4);
  const std::vector<SelectableTree> trees = {hills.selectable(7), others.selectable(2)};
  NodeSelection selection;
  for (const CubeCamera& camera : camerasAround(kTownCentre)) {
    for (const std::uint64_t budget : {0, 400, 1500, 5000, 60000, 200000}) {
      const auto& selected = selection.select(trees, camera, settingsOf(budget, 1.0));
      EXPECT_LE(pointsOf(selected), budget);
      EXPECT_EQ(selection.pointCount(), pointsOf(selected));
      EXPECT_EQ(setOf(selected).size(), selected.size()) << "a node was selected twice";
      for (std::size_t i = 0; i < selected.size(); ++i) {
        const std::vector<TreeNode>& nodes = selected[i].node.scan == 7 ? hills.nodes : others.nodes;
        ASSERT_EQ(selected[i].parent == SelectedNode::kNone, selected[i].node.node == 0);
        EXPECT_EQ(selected[i].pointCount, nodes[selected[i].node.node].pointCount);
        if (selected[i].parent != SelectedNode::kNone) {
          EXPECT_EQ(selected[i].drawnPoints, selected[i].pointCount);
          ASSERT_LT(selected[i].parent, i);
          EXPECT_EQ(nodes[selected[selected[i].parent].node.node].key, nodes[selected[i].node.node].key.parent());
          EXPECT_EQ(selected[selected[i].parent].node.scan, selected[i].node.scan);
        }
      }
    }
  }
}

TEST(NodeSelectionTest, nodesWithTheWidestPointsComeFirst) {
  const SyntheticTree tree = makeHills(kTown, 2000, 1000, 5);
  NodeSelection selection;
  for (const CubeCamera& camera : camerasAround(kTownCentre)) {
    const auto& selected = selection.select({tree.selectable(1)}, camera, settingsOf(kNoLimit));
    for (std::size_t i = 1; i < selected.size(); ++i) {
      const float limit = selected[i].parent == i - 1 ? 1e9f : selected[i - 1].weight;
      EXPECT_LE(selected[i].weight, limit) << "only the children of the previous node may have more weight";
    }
  }
}

TEST(NodeSelectionTest, theWeightIsTheProjectedSpacingLessAtTheEdges) {
  const SyntheticTree tree({{-1.0, 0.0, -1.0}, 2.0}, 0.25, 10);
  NodeSelection selection;
  const double atDistance50 = 0.25 * kViewHeightPixels / (2.0 * halfAngleTangent() * 50.0);
  const auto weightFrom = [&](const osg::Vec3d& eye) {
    const CubeCamera camera = perspectiveCamera(eye, eye + osg::Vec3d(0.0, 1.0, 0.0));
    return selection.select({tree.selectable(1)}, camera, settingsOf(kNoLimit)).at(0).weight;
  };
  EXPECT_NEAR(weightFrom({0.0, -50.0, 0.0}), atDistance50, 1e-5);
  const double offAxis = 1.0 + std::sqrt(3.0) + 24.0;  // more than half the height of the view away
  const double toEdge = std::hypot(50.0, offAxis - 1.0);
  EXPECT_NEAR(weightFrom({offAxis, -50.0, 0.0}), 0.7 * atDistance50 * 50.0 / toEdge, 1e-5);
}

TEST(NodeSelectionTest, ofNodesAtTheSameDistanceTheOneInTheMiddleComesFirst) {
  SyntheticTree tree({{-64.0, 0.0, -64.0}, 128.0}, 4.0, 10);
  const std::uint32_t left = tree.add(0, 0b000, 10);
  const std::uint32_t right = tree.add(0, 0b001, 10);
  const std::uint32_t farLeft = tree.add(left, 0b000, 10);
  const std::uint32_t farRight = tree.add(right, 0b001, 10);
  NodeSelection selection;
  for (const double x : {-40.0, 40.0}) {
    const CubeCamera camera = orthographicCamera({x, -200.0, -32.0}, {x, 0.0, -32.0}, 130.0);
    const auto& selected = selection.select({tree.selectable(1)}, camera, settingsOf(40));
    const std::vector<Node> expected = x < 0.0 ? std::vector<Node>{{1, 0}, {1, left}, {1, right}, {1, farLeft}}
                                               : std::vector<Node>{{1, 0}, {1, right}, {1, left}, {1, farRight}};
    EXPECT_EQ(nodesOf(selected), expected);
  }
}

TEST(NodeSelectionTest, nodesWithoutPointsCostNothingAndAreTraversed) {
  SyntheticTree tree({{-64.0, -64.0, -64.0}, 128.0}, 4.0, 0);
  const std::uint32_t coarse = tree.add(0, 7, 30);
  const std::uint32_t empty = tree.add(coarse, 0, 0);
  const std::uint32_t fine = tree.add(empty, 0, 20);
  const std::uint32_t finest = tree.add(fine, 0, 10);
  NodeSelection selection;
  const CubeCamera camera = perspectiveCamera({200.0, 200.0, 200.0}, {});
  const auto& selected = selection.select({tree.selectable(1)}, camera, settingsOf(60));
  ASSERT_EQ(nodesOf(selected), (std::vector<Node>{{1, coarse}, {1, fine}, {1, finest}}));
  EXPECT_EQ(selected[0].parent, SelectedNode::kNone);
  EXPECT_EQ(selected[1].parent, 0U) << "of the nearest ancestor with points";
  EXPECT_EQ(selected[2].parent, 1U);
}

TEST(NodeSelectionTest, everyScanIsShownBeforeAnyIsRefined) {
  const SyntheticTree nearby = makeHills({{0.0, 0.0, 0.0}, 100.0}, 2000, 1000, 6);
  SyntheticTree distant({{0.0, 9000.0, 0.0}, 100.0}, 0.5, 0);  // its root is empty
  const std::uint32_t farWest = distant.add(0, 0, 1000);
  const std::uint32_t farEast = distant.add(0, 1, 1000);
  NodeSelection selection;
  const CubeCamera camera = perspectiveCamera({50.0, -30.0, 80.0}, {50.0, 60.0, 60.0});
  const std::uint64_t budget = nearby.nodes[0].pointCount + 2000 + 5000;
  const auto& selected =
      selection.select({nearby.selectable(1), distant.selectable(2)}, camera, settingsOf(budget, 1.0));
  ASSERT_GT(selected.size(), 4U);
  EXPECT_EQ(nodesOf(selected)[0], Node(1, 0));
  EXPECT_EQ((std::set<Node>{nodesOf(selected)[1], nodesOf(selected)[2]}), (std::set<Node>{{2, farWest}, {2, farEast}}));
}

TEST(NodeSelectionTest, scansThatExceedTheBudgetTogetherAreThinnedByTheSameShare) {
  const SyntheticTree nearby({{0.0, 0.0, 0.0}, 100.0}, 1.0, 971);
  const SyntheticTree middle({{0.0, 200.0, 0.0}, 100.0}, 1.0, 51);
  const SyntheticTree distant({{0.0, 400.0, 0.0}, 100.0}, 1.0, 31);
  const std::vector<SelectableTree> trees = {nearby.selectable(1), middle.selectable(2), distant.selectable(3)};
  NodeSelection selection;
  const CubeCamera camera = perspectiveCamera({50.0, -100.0, 50.0}, {50.0, 0.0, 50.0});
  const std::vector<Node> all = {{1, 0}, {2, 0}, {3, 0}};
  EXPECT_EQ(drawnPointsOf(selection.select(trees, camera, settingsOf(971 + 51 + 31))),
            (std::vector<std::uint32_t>{971, 51, 31}));
  EXPECT_FALSE(selection.isLimited());
  // A tenth of what each has besides its first point.
  const auto& selected = selection.select(trees, camera, settingsOf(3 + 97 + 5 + 3));
  EXPECT_EQ(nodesOf(selected), all);
  EXPECT_EQ(drawnPointsOf(selected), (std::vector<std::uint32_t>{1 + 97, 1 + 5, 1 + 3}));
  EXPECT_TRUE(selection.isLimited());
  EXPECT_EQ(drawnPointsOf(selection.select(trees, camera, settingsOf(3))), (std::vector<std::uint32_t>{1, 1, 1}));
  EXPECT_EQ(drawnPointsOf(selection.select(trees, camera, settingsOf(2))), (std::vector<std::uint32_t>{1, 1}));
}

// In this view a world unit is a pixel.
TEST(NodeSelectionTest, aThinnedScanNeedsOnlyThePointsThatTheImageCanShow) {
  const SyntheticTree wide({{-256.0, -256.0, -256.0}, 512.0}, 2.0, 1001);
  const SyntheticTree dense({{-32.0, -32.0, -32.0}, 64.0}, 0.25, 1601);  // a 16th of them is 1 pixel apart
  NodeSelection selection;
  const CubeCamera camera = orthographicCamera({0.0, -2000.0, 0.0}, {}, kViewHeightPixels);
  const auto pointsWith = [&](std::uint64_t budget) {
    return drawnPointsOf(selection.select({wide.selectable(1), dense.selectable(2)}, camera, settingsOf(budget, 1.0)));
  };
  EXPECT_EQ(pointsWith(2 + 1000 + 100), (std::vector<std::uint32_t>{1001, 101}));
  EXPECT_EQ(pointsWith(2 + 500 + 50), (std::vector<std::uint32_t>{501, 51}));
}

TEST(NodeSelectionTest, ofManyScansEachIsDrawnWithinTheBudget) {
  constexpr unsigned int kScans = 30;
  std::mt19937 random(21);
  std::vector<SyntheticTree> scans;
  for (unsigned int scan = 0; scan < kScans; ++scan) {
    const osg::Vec3d least(120.0 * (scan % 6), 150.0 * (scan / 6), 0.0);
    scans.push_back(makeHills({least, 100.0}, 200, 20000 + static_cast<std::uint32_t>(random()) % 40000, scan));
  }
  std::vector<SelectableTree> trees;
  for (unsigned int scan = 0; scan < kScans; ++scan) {
    trees.push_back(scans[scan].selectable(scan + 1));
  }
  NodeSelection selection;
  const CubeCamera camera = perspectiveCamera({300.0, -1500.0, 400.0}, {300.0, 300.0, 50.0});
  for (const std::uint64_t budget : {30, 1000, 100000, 500000}) {
    const auto& selected = selection.select(trees, camera, settingsOf(budget, 1.0));
    EXPECT_LE(pointsOf(selected), budget);
    EXPECT_GE(pointsOf(selected), budget / 2);
    std::set<unsigned int> drawn;
    for (const SelectedNode& node : selected) {
      EXPECT_GT(node.drawnPoints, 0U);
      drawn.insert(node.node.scan);
    }
    EXPECT_EQ(drawn.size(), kScans);
  }
}

TEST(NodeSelectionTest, aLargeRefinementThatDoesNotFitEndsOnlyItsBranch) {
  SyntheticTree tree({{-50.0, -50.0, -50.0}, 100.0}, 2.0, 100);
  const std::uint32_t large = tree.add(0, 0, 5000);
  tree.add(large, 0, 1);
  const std::uint32_t small = tree.add(0, 7, 50);  // further away
  NodeSelection selection;
  const CubeCamera camera = perspectiveCamera({-200.0, -200.0, -120.0}, {});
  EXPECT_EQ(nodesOf(selection.select({tree.selectable(1)}, camera, settingsOf(1000))),
            (std::vector<Node>{{1, 0}, {1, small}}));
}

TEST(NodeSelectionTest, theFirstOrdinaryRefinementThatDoesNotFitEndsTheSelection) {
  SyntheticTree tree({{-50.0, -50.0, -50.0}, 100.0}, 2.0, 951);
  tree.add(0, 0, 50);
  const std::uint32_t small = tree.add(0, 7, 10);  // further away
  NodeSelection selection;
  const CubeCamera camera = perspectiveCamera({-200.0, -200.0, -120.0}, {});
  const auto isSmallSelected = [&](std::uint64_t budget) {
    const std::set<Node> selected = setOf(selection.select({tree.selectable(1)}, camera, settingsOf(budget)));
    return selected.count({1, small}) == 1;
  };
  EXPECT_FALSE(isSmallSelected(951 + 49)) << "the other has 50 points, less than 1000 / 16";
  EXPECT_TRUE(isSmallSelected(951 + 60)) << "both fit";
  tree.nodes[0].pointCount = 900;
  tree.nodes[1].pointCount = 101;
  EXPECT_TRUE(isSmallSelected(1000)) << "the other has 101 points, more than 1000 / 16";
}

TEST(NodeSelectionTest, aLargerBudgetContinuesTheSameSelection) {
  const SyntheticTree tree = makeHills(kTown, 3000, 20, 7);
  NodeSelection selection;
  for (const CubeCamera& camera : camerasAround(kTownCentre)) {
    const std::vector<Node> all = nodesOf(selection.select({tree.selectable(1)}, camera, settingsOf(kNoLimit)));
    for (const std::uint64_t budget : {500, 1000, 3000, 9000}) {
      const std::vector<Node> part = nodesOf(selection.select({tree.selectable(1)}, camera, settingsOf(budget)));
      ASSERT_LE(part.size(), all.size());
      EXPECT_TRUE(std::equal(part.begin(), part.end(), all.begin()));
      EXPECT_TRUE(part.size() == all.size() ||
                  pointsOf(selection.select({tree.selectable(1)}, camera, settingsOf(budget))) > budget - 31)
          << "the largest nodes have 30 points";
    }
  }
}

TEST(NodeSelectionTest, clippedNodesAreSkippedWithTheirDescendants) {
  const SyntheticTree tree = makeHills(kTown, 3000, 1000, 8);
  SelectionSettings settings = settingsOf(kNoLimit);
  // A box from -60 to 40 along X and from -30 to 90 along Y, about the camera's origin.
  settings.clipPlanes = {osg::Plane(1.0, 0.0, 0.0, 60.0), osg::Plane(-2.0, 0.0, 0.0, 80.0),
                         osg::Plane(0.0, 1.0, 0.0, 30.0), osg::Plane(0.0, -3.0, 0.0, 270.0)};
  const auto isKept = [&](const osg::BoundingBoxd& cube) {
    return cube.xMax() - kTownCentre.x() >= -60.0 && cube.xMin() - kTownCentre.x() <= 40.0 &&
           cube.yMax() - kTownCentre.y() >= -30.0 && cube.yMin() - kTownCentre.y() <= 90.0;
  };
  NodeSelection selection;
  for (const CubeCamera& camera : camerasAround(kTownCentre)) {
    std::set<Node> expected = expectedNodes(tree, camera, settingsOf(kNoLimit));
    for (auto node = expected.begin(); node != expected.end();) {
      node = isKept(tree.cubeOf(node->second)) ? std::next(node) : expected.erase(node);
    }
    EXPECT_EQ(setOf(selection.select({tree.selectable(1)}, camera, settings)), expected);
  }
}

TEST(NodeSelectionTest, nearAndFarMakeNoDifference) {
  const SyntheticTree tree = makeHills({{0.0, 0.0, 0.0}, 256.0}, 3000, 1000, 9);
  const osg::Vec3d eye(100.0, 90.0, 150.0);  // among the points
  const osg::Vec3d target(110.0, 200.0, 100.0);
  NodeSelection selection;
  const std::set<Node> selected =
      setOf(selection.select({tree.selectable(1)}, perspectiveCamera(eye, target, 0.01, 1e6), settingsOf(300000, 1.0)));
  EXPECT_GT(selected.size(), 50U);
  EXPECT_EQ(selected, setOf(selection.select({tree.selectable(1)}, perspectiveCamera(eye, target, 60.0, 61.0),
                                             settingsOf(300000, 1.0))));
}

TEST(NodeSelectionTest, ofTwoEqualNodesTheOneDrawnBeforeIsKept) {
  SyntheticTree tree({{-50.0, -50.0, -50.0}, 100.0}, 2.0, 900);
  const std::uint32_t left = tree.add(0, 0, 100);
  const std::uint32_t right = tree.add(0, 1, 100);
  NodeSelection selection;
  for (const double x : {-3.0, 3.0}) {  // a little nearer to one of them
    const CubeCamera camera = perspectiveCamera({x, -300.0, -25.0}, {x, 0.0, -25.0});
    for (const std::uint32_t drawn : {left, right}) {
      const auto& selected = selection.select({tree.selectable(1)}, camera, settingsOf(1000), {{1, 0}, {1, drawn}});
      EXPECT_EQ(nodesOf(selected), (std::vector<Node>{{1, 0}, {1, drawn}}));
    }
    const std::uint32_t nearer = x < 0.0 ? left : right;
    EXPECT_EQ(nodesOf(selection.select({tree.selectable(1)}, camera, settingsOf(1000))),
              (std::vector<Node>{{1, 0}, {1, nearer}}))
        << "the drawn nodes of the last call are forgotten";
  }
}

TEST(NodeSelectionTest, theBonusDoesNotKeepANodeOfMuchLessWeight) {
  SyntheticTree tree({{-50.0, -50.0, -50.0}, 100.0}, 2.0, 900);
  const std::uint32_t front = tree.add(0, 0b000, 100);
  const std::uint32_t back = tree.add(0, 0b010, 100);
  NodeSelection selection;
  const CubeCamera camera = perspectiveCamera({-25.0, -100.0, -25.0}, {-25.0, 0.0, -25.0});
  EXPECT_EQ(nodesOf(selection.select({tree.selectable(1)}, camera, settingsOf(1000), {{1, 0}, {1, back}})),
            (std::vector<Node>{{1, 0}, {1, front}}));
}

TEST(NodeSelectionTest, drawnNodesOfUnknownScansAreIgnored) {
  const SyntheticTree tree = makeHills(kTown, 500, 1000, 10);
  const CubeCamera camera = camerasAround(kTownCentre).front();
  NodeSelection selection;
  const std::vector<SelectableTree> trees = {tree.selectable(4)};
  const std::vector<Node> expected = nodesOf(selection.select(trees, camera, settingsOf(30000)));
  EXPECT_EQ(nodesOf(selection.select(trees, camera, settingsOf(30000), {{3, 1}, {5, 0}, {4, 500}, {4, ~0U}})),
            expected);
}

TEST(NodeSelectionTest, aViewAtRestKeepsItsSelection) {
  const SyntheticTree hills = makeHills(kTown, 3000, 1000, 11);
  const SyntheticTree others = makeHills({kTown.least + osg::Vec3d(300.0, 0.0, 0.0), 400.0}, 2000, 300, 12);
  const std::vector<SelectableTree> trees = {hills.selectable(1), others.selectable(2)};
  NodeSelection selection;
  for (const CubeCamera& camera : camerasAround(kTownCentre)) {
    for (const std::uint64_t budget : {5000, 50000, 200000}) {
      std::vector<SelectedNode> selected = selection.select(trees, camera, settingsOf(budget, 0.1));
      const std::set<Node> first = setOf(selected);
      for (int frame = 0; frame < 3; ++frame) {
        selected = selection.select(trees, camera, settingsOf(budget, 0.1), scanNodesOf(selected));
        EXPECT_EQ(setOf(selected), first);
      }
    }
  }
}

TEST(NodeSelectionTest, noTreesAndTreesWithoutNodesGiveNothing) {
  NodeSelection selection;
  const CubeCamera camera = perspectiveCamera({0.0, -100.0, 0.0}, {});
  EXPECT_TRUE(selection.select({}, camera, settingsOf(kNoLimit)).empty());
  const TreeInfo info;
  const std::vector<TreeNode> nodes;
  EXPECT_TRUE(selection.select({{1, &info, &nodes}}, camera, settingsOf(kNoLimit)).empty());
  EXPECT_EQ(selection.pointCount(), 0U);
}

/// Counts the nodes that return within ten frames after they have left.
class ReturnCount {
 public:
  void add(const std::set<Node>& drawn) {
    constexpr int kFrames = 10;
    for (const Node& node : drawn) {
      const auto left = _leftIn.find(node);
      _returns += _drawn.count(node) == 0 && left != _leftIn.end() && _frame - left->second <= kFrames ? 1 : 0;
    }
    for (const Node& node : _drawn) {
      if (drawn.count(node) == 0) {
        _leftIn[node] = _frame;
      }
    }
    _drawn = drawn;
    ++_frame;
  }
  int returns() const { return _returns; }

 private:
  std::set<Node> _drawn;
  std::map<Node, int> _leftIn;
  int _frame = 0;
  int _returns = 0;
};

// Orbits by a quarter of a degree from frame to frame.
int returnsInOrbit(const SyntheticTree& tree, std::uint64_t budget, double drawnBonus) {
  SelectionSettings settings = settingsOf(budget);
  settings.drawnBonus = drawnBonus;
  NodeSelection selection;
  std::vector<ScanNode> drawn;
  ReturnCount count;
  for (int frame = 0; frame < 360; ++frame) {
    const double angle = frame * 0.25 * 3.14159265358979 / 180.0;
    CubeCamera camera = perspectiveCamera({350.0 * std::cos(angle), 350.0 * std::sin(angle), 180.0}, {});
    camera.origin = kTownCentre;
    const auto& selected = selection.select({tree.selectable(1)}, camera, settings, drawn);
    drawn = scanNodesOf(selected);
    count.add(setOf(selected));
  }
  return count.returns();
}

TEST(NodeSelectionTest, theBonusPreventsFlickerInASlowOrbit) {
  const SyntheticTree tree = makeHills(kTown, 20000, 1000, 13);
  int without = 0;
  int with = 0;
  for (const std::uint64_t budget : {200000, 400000, 1000000}) {
    without += returnsInOrbit(tree, budget, 1.0);
    with += returnsInOrbit(tree, budget, SelectionSettings().drawnBonus);
  }
  EXPECT_GT(without, 100);
  EXPECT_LT(10 * with, without);
}

}  // namespace
