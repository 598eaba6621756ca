#include "tests/viewer/SceneFixture.h"
#include "tests/viewer/SyntheticTree.h"
#include "viewer/render/FrameLoop.h"
#include "viewer/session/LevelOfDetail.h"

#include <osg/Math>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace QuorTests;
using namespace QuorViewer;
using Seconds = std::chrono::duration<double>;

constexpr std::uint64_t kMemoryBytes = std::uint64_t{1} << 30U;
constexpr std::uint64_t kMostPoints = kMemoryBytes / LevelOfDetail::kBytesPerPoint;
constexpr std::uint64_t kFewPoints = 100000;  // an eighth of what the view can show
constexpr int kFrames = 32;
constexpr double kStepDegrees = 0.25;
constexpr double kSide = 512.0;

/// Hills about the origin, in many small nodes: 32 by 32 points with irregular distances in each square of a level.
class HillTree : public PointTree {
 public:
  HillTree() : _tree(makeHills({{-0.5 * kSide, -0.5 * kSide, -0.5 * kSide}, kSide}, 4000, 1000, 7)) {
    _tree.info.rootSpacing = kSide / kPointsAlongNode;
    auto points = std::make_shared<std::vector<std::vector<osg::Vec3f>>>();
    for (std::uint32_t node = 0; node < _tree.nodes.size(); ++node) {
      points->push_back(_pointsIn(node));
      _tree.nodes[node].pointCount = static_cast<std::uint32_t>(points->back().size());
    }
    _points = points;
  }

  const TreeInfo& info() const override { return _tree.info; }
  const std::vector<TreeNode>& nodes() const override { return _tree.nodes; }
  NodePoints read(std::uint32_t node) override {
    const std::vector<osg::Vec3f>& from = (*_points)[node];
    const auto count = static_cast<unsigned int>(from.size());
    NodePoints points;
    points.origin = _tree.cubeOf(node)._min;
    points.positions = new osg::Vec3Array(from.begin(), from.end());
    points.colours = new osg::Vec4ubArray(count);
    points.intensities = new osg::UShortArray(count);
    points.classesReturns = new osg::Vec2ubArray(count);
    points.records = new osg::UIntArray(count);
    for (const osg::Vec3f& position : from) {
      points.bounds.expandBy(position);
    }
    return points;
  }
  std::unique_ptr<PointTree> clone() const override { return std::make_unique<HillTree>(*this); }

 private:
  static constexpr int kPointsAlongNode = 32;

  /// Relative to the node's cube.
  std::vector<osg::Vec3f> _pointsIn(std::uint32_t node) const {
    const NodeKey& key = _tree.nodes[node].key;
    const double size = _tree.info.cube.sizeAt(key.level);
    std::mt19937 random(node);
    std::uniform_real_distribution<double> share(0.0, 1.0);
    std::vector<osg::Vec3f> points;
    for (int i = 0; i < kPointsAlongNode * kPointsAlongNode; ++i) {
      const double x = (i % kPointsAlongNode + share(random)) / kPointsAlongNode * size;
      const double y = (i / kPointsAlongNode + share(random)) / kPointsAlongNode * size;
      const double height = kSide * hillHeight((key.x * size + x) / kSide, (key.y * size + y) / kSide);
      const double z = height - key.z * size;
      if (z >= 0.0 && z < size) {
        points.emplace_back(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z));
      }
    }
    return points;
  }

  SyntheticTree _tree;
  std::shared_ptr<const std::vector<std::vector<osg::Vec3f>>> _points;  // by node
};

/// From one frame to the next, in pixels.
struct Step {
  int points = 0;        // of the first frame
  int lost = 0;          // that show the background in the second
  int lostByMotion = 0;  // that show it if the second frame draws the nodes of the first
  bool isOtherSelection = false;
};

struct Drawing {
  FrameBudget budget;
  bool widensPoints = true;
  double variation = 1.0;  // of the time of frames, as a factor
};

struct Shares {
  double mean = 0.0, worst = 0.0;

  void add(int pixels, int of, std::size_t steps) {
    const double share = std::max(pixels, 0) / static_cast<double>(of);
    mean += share / static_cast<double>(steps);
    worst = std::max(worst, share);
  }
};

/// Turns the view about a large scan and counts the pixels that change from points to the background.
class SlowOrbitGLTest : public SceneFixture {
 protected:
  void SetUp() override {
    SceneFixture::SetUp();
    if (IsSkipped()) {
      return;
    }
    _loop = std::make_unique<FrameLoop>(*_viewer, osgViewer::ViewerBase::SingleThreaded);
    _loop->remove(_scene->cloud.node(), _scene->cloud.release(1));
    _viewer->setCameraManipulator(nullptr);
    _viewer->getCamera()->setProjectionMatrixAsPerspective(40.0, double(kWidth) / kHeight, 1.0, 1e4);
    _scene->cloud.setPointSizePixels(2.0f);
  }
  void TearDown() override { _loop.reset(); }

  /// Opens the scan in a new level of detail, and refines the first view.
  std::unique_ptr<LevelOfDetail> show(const Drawing& drawing) {
    const auto fail = [](unsigned int /*scan*/, const std::string& error) { ADD_FAILURE() << error; };
    const LevelOfDetail::Dependencies dependencies = {
        _scene->cloud, [this](osg::Group* parent, osg::Node* child) { _loop->removePart(parent, child); }, fail, fail,
        [](const std::string& error) { ADD_FAILURE() << error; }};
    auto detail = std::make_unique<LevelOfDetail>(kMemoryBytes, drawing.budget, dependencies);
    detail->setWidensPoints(drawing.widensPoints);
    detail->open(1, _tree.clone(), {});
    lookFrom(0);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (!detail->isComplete() && std::chrono::steady_clock::now() < end) {
      detail->receive();
      detail->prepareFrame(*_viewer->getCamera(), {});
      noteDuration(*detail, 1.0);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(detail->isComplete());
    drawPrepared(*detail, 1.0);
    return detail;
  }
  void close(LevelOfDetail& detail) {
    detail.close(1);
    _loop->remove(_scene->cloud.node(), _scene->cloud.release(1));
    _loop->draw();
  }

  void lookFrom(int frame) {
    constexpr double kDistance = 350.0, kHeight = 180.0;
    const double angle = frame * kStepDegrees * osg::PI / 180.0;
    _viewer->getCamera()->setViewMatrixAsLookAt({kDistance * std::cos(angle), kDistance * std::sin(angle), kHeight}, {},
                                                {0.0, 0.0, 1.0});
  }
  /// A frame seems to take the time of 3 million points in a second, times `slowness`.
  static void noteDuration(LevelOfDetail& detail, double slowness) {
    constexpr double kPointsPerSecond = 3e6;
    detail.endFrame(Seconds(slowness * static_cast<double>(detail.drawnPoints()) / kPointsPerSecond));
  }
  void drawPrepared(LevelOfDetail& detail, double slowness) {
    detail.receive();
    detail.prepareFrame(*_viewer->getCamera(), {});
    _loop->draw();
    noteDuration(detail, slowness);
  }
  std::vector<bool> pointPixels() {
    const std::vector<unsigned int>& identifiers = frame().itemIDs;
    std::vector<bool> isPoint;
    for (std::size_t first = 0; first < identifiers.size(); first += 4) {
      isPoint.push_back(identifiers[first] != 0);
    }
    return isPoint;
  }
  static int lost(const std::vector<bool>& before, const std::vector<bool>& after) {
    int count = 0;
    for (std::size_t pixel = 0; pixel < before.size(); ++pixel) {
      count += before[pixel] && !after[pixel] ? 1 : 0;
    }
    return count;
  }

  std::vector<Step> orbit(const Drawing& drawing) {
    const std::unique_ptr<LevelOfDetail> detail = show(drawing);
    std::uniform_real_distribution<double> slowness(1.0 / drawing.variation, drawing.variation);
    std::mt19937 random(11);
    std::vector<Step> steps;
    std::vector<bool> before = pointPixels();
    for (int number = 1; number <= kFrames; ++number) {
      lookFrom(number);
      _loop->draw();
      const std::vector<bool> withSameNodes = pointPixels();
      const std::uint64_t drawnBefore = detail->drawnPoints();
      drawPrepared(*detail, slowness(random));
      const std::vector<bool> after = pointPixels();
      const int points = static_cast<int>(std::count(before.begin(), before.end(), true));
      EXPECT_GT(points, kWidth * kHeight / 4);
      steps.push_back({points, lost(before, after), lost(before, withSameNodes), detail->drawnPoints() != drawnBefore});
      before = after;
    }
    close(*detail);
    return steps;
  }

  HillTree _tree;
  std::unique_ptr<FrameLoop> _loop;
};

/// The pixels that show the background beyond those that the motion uncovers, as a share of the points.
Shares beyondMotion(const std::vector<Step>& steps) {
  Shares shares;
  for (const Step& step : steps) {
    shares.add(step.lost - step.lostByMotion, step.points, steps.size());
  }
  return shares;
}

void record(const std::string& name, const Shares& shares) {
  testing::Test::RecordProperty(name + "MeanPercent", std::to_string(100.0 * shares.mean));
  testing::Test::RecordProperty(name + "WorstPercent", std::to_string(100.0 * shares.worst));
}

TEST_F(SlowOrbitGLTest, onAverageLessThanOnePercentOfThePixelsLoseTheirPointsBeyondWhatTheMotionUncovers) {
  const std::vector<std::pair<std::string, Drawing>> drawings = {{"fixedNumber", {{kFewPoints, true}, true, 1.0}},
                                                                 {"timedFrames", {{kMostPoints, false}, true, 1.2}}};
  for (const auto& [name, drawing] : drawings) {
    const std::vector<Step> steps = orbit(drawing);
    const auto changes =
        std::count_if(steps.begin(), steps.end(), [](const Step& step) { return step.isOtherSelection; });
    EXPECT_GT(changes, kFrames / 8) << "otherwise nothing is measured";
    const Shares shares = beyondMotion(steps);
    record(name, shares);
    EXPECT_LT(shares.mean, 0.01) << name;
  }
  // Without widened points there are gaps wherever fewer points are drawn, so the measurement does notice them.
  const Shares ofSmallPoints = beyondMotion(orbit({{kMostPoints, false}, false, 1.2}));
  record("timedFramesOfSmallPoints", ofSmallPoints);
  EXPECT_GT(ofSmallPoints.mean, 0.01);
}

}  // namespace
