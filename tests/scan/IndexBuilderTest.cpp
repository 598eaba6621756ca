#include "scan/index/IndexBuilder.h"
#include "scan/index/IndexTree.h"
#include "scan/index/SubtreeBuilder.h"
#include "tests/scan/LasFile.h"
#include "tests/scan/MessageOf.h"
#include "tests/scan/PointTreeCheck.h"
#include "tests/scan/ScanBytes.h"
#include "tests/scan/ScanDouble.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace QuorViewer;
using PointTreeCheck::Found;
using Records = std::map<std::uint32_t, Found>;

using ScanBytes::kPlenty;
constexpr std::uint64_t kVeryLittle = 1000;  // chunks get their least size
constexpr double kCells = 128.0;

class IndexBuilderTest : public testing::Test {
 protected:
  std::unique_ptr<PointTree> build(const std::string& scan, std::uint64_t memoryBytes = kPlenty, unsigned threads = 2) {
    _scan = ScanReader::open(scan);
    MemoryIndex index;
    IndexSettings settings;
    settings.memoryBytes = memoryBytes;
    settings.threads = threads;
    settings.temporaryPath = _folder.path("temporary");
    IndexProgress progress;
    buildIndex(*_scan, {scan, 1, 2, _scan->info().pointCount}, index, settings, progress);
    EXPECT_EQ(progress.steps, progress.all);
    EXPECT_FALSE(std::filesystem::exists(settings.temporaryPath)) << "is deleted at the end";
    return std::make_unique<IndexTree>(index.bytes());
  }

  /// The points of the preview by their records.
  std::map<std::uint64_t, osg::Vec3d> previewOf(const std::string& path, std::uint64_t mostPoints) {
    const auto scan = ScanReader::open(path);
    std::map<std::uint64_t, osg::Vec3d> shown;
    std::mutex mutex;
    MemoryIndex index;
    IndexSettings settings;
    settings.threads = 2;
    settings.preview.mostPoints = mostPoints;
    settings.preview.origin = scan->info().origin;
    settings.preview.show = [&](const PointChunk& chunk) {
      const std::lock_guard<std::mutex> held(mutex);
      for (std::uint32_t place = 0; place < chunk.points.count; ++place) {
        const osg::Vec3d position = osg::Vec3d((*chunk.positions)[place]) + scan->info().origin;
        EXPECT_TRUE(shown.emplace(chunk.points.at(place), position).second) << "shown twice";
      }
    };
    IndexProgress progress;
    buildIndex(*scan, {path, 1, 2, scan->info().pointCount}, index, settings, progress);
    return shown;
  }

  /// Points on a rough surface, `size` steps wide, like a survey from the air.
  std::string writeSurface(std::uint32_t count, std::int32_t size, const std::string& name = "surface.las") {
    std::uniform_int_distribution<std::int32_t> along(0, size - 1);
    std::vector<ScanBytes::Point> points;
    for (std::uint32_t i = 0; i < count; ++i) {
      ScanBytes::Point point = ScanBytes::variedPoint(i, 7);
      point.x = along(_random);
      point.y = along(_random);
      point.z = static_cast<std::int32_t>(200.0 * std::sin(point.x * 0.001) + static_cast<double>(_random() % 50));
      points.push_back(point);
    }
    return _folder.write(name, ScanBytes::file(settingsOf(7), points));
  }
  std::vector<std::string> filesInFolder() const {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(_folder.path("."))) {
      files.push_back(_folder.path(entry.path().filename().string()));
    }
    return files;
  }
  static ScanBytes::FileSettings settingsOf(unsigned format) {
    ScanBytes::FileSettings settings;
    settings.format = format;
    settings.scale = {0.01, 0.01, 0.01};
    settings.offset = {431000.0, 5412000.0, 300.0};
    return settings;
  }
  std::string writePoints(const std::vector<std::array<std::int32_t, 3>>& grid) {
    std::vector<ScanBytes::Point> points;
    for (const auto& [x, y, z] : grid) {
      points.push_back(ScanBytes::variedPoint(static_cast<unsigned>(points.size()), 7));
      points.back().x = x;
      points.back().y = y;
      points.back().z = z;
    }
    return _folder.write("points.las", ScanBytes::file(settingsOf(7), points));
  }

  /// Positions relative to their node are rounded to single precision; the root's is the largest.
  static double floatTolerance(const PointTree& tree) { return tree.info().cube.size * std::pow(2.0, -23); }

  /// What holds for any scan; `tolerance` for rounding, in world units.
  Records expectWholeTree(PointTree& tree, double tolerance) {
    Records records = PointTreeCheck::recordsOf(tree);
    PointTreeCheck::expectLinked(tree);
    PointTreeCheck::expectInsideTheirCubes(tree, records, tolerance);
    PointTreeCheck::expectSameAsScan(*_scan, records, tolerance);
    EXPECT_EQ(tree.info().pointCount, records.size());
    return records;
  }

  using Cell = std::array<std::int64_t, 3>;
  static Cell cellOf(const PointTree& tree, std::uint32_t level, const osg::Vec3d& position) {
    const double size = tree.info().cube.sizeAt(level) / kCells;
    const osg::Vec3d from = (position - tree.info().cube.least) / size;
    return {static_cast<std::int64_t>(std::floor(from.x())), static_cast<std::int64_t>(std::floor(from.y())),
            static_cast<std::int64_t>(std::floor(from.z()))};
  }
  static osg::Vec3d centreOf(const PointTree& tree, std::uint32_t level, const Cell& cell) {
    const double size = tree.info().cube.sizeAt(level) / kCells;
    return tree.info().cube.least + osg::Vec3d(static_cast<double>(cell[0]) + 0.5, static_cast<double>(cell[1]) + 0.5,
                                               static_cast<double>(cell[2]) + 0.5) *
                                        size;
  }
  static bool isBelow(const NodeKey& key, const NodeKey& ancestor) {
    NodeKey above = key;
    while (above.level > ancestor.level) {
      above = above.parent();
    }
    return above == ancestor;
  }

  /// In each inner node, each cell that has points in or below the node has one point, and none below is nearer to the
  /// cell's centre.
  static void expectNearestToCentres(const PointTree& tree, const Records& records) {
    for (std::uint32_t node = 0; node < tree.nodes().size(); ++node) {
      const TreeNode& inner = tree.nodes()[node];
      if (inner.isLeaf()) {
        continue;
      }
      std::map<Cell, double> held;
      std::map<Cell, double> nearestBelow;
      for (const auto& [record, found] : records) {
        const NodeKey& key = tree.nodes()[found.node].key;
        if (!isBelow(key, inner.key)) {
          continue;
        }
        const Cell cell = cellOf(tree, inner.key.level, found.position);
        const double distance = (found.position - centreOf(tree, inner.key.level, cell)).length();
        if (found.node == node) {
          EXPECT_TRUE(held.emplace(cell, distance).second) << "two points in a cell";
        } else {
          const auto [place, first] = nearestBelow.emplace(cell, distance);
          place->second = std::min(place->second, distance);
        }
      }
      for (const auto& [cell, distance] : nearestBelow) {
        ASSERT_EQ(held.count(cell), 1U) << "a cell with points below has none in the node";
        ASSERT_LE(held.at(cell), distance + 1e-5);
      }
    }
  }

  static std::map<std::tuple<unsigned, unsigned, unsigned, unsigned>, std::set<std::uint32_t>> contentsOf(
      const PointTree& tree, const Records& records) {
    std::map<std::tuple<unsigned, unsigned, unsigned, unsigned>, std::set<std::uint32_t>> contents;
    for (const auto& [record, found] : records) {
      const NodeKey& key = tree.nodes()[found.node].key;
      contents[{key.level, key.x, key.y, key.z}].insert(record);
    }
    return contents;
  }

  ScanBytes::Folder _folder;
  std::mt19937 _random{20};
  std::unique_ptr<ScanReader> _scan;
};

TEST_F(IndexBuilderTest, everyRecordIsInOneNodeWithItsPositionAndAttributes) {
  const auto tree = build(writeSurface(60000, 50000));
  const Records records = expectWholeTree(*tree, 1e-4);
  EXPECT_EQ(records.size(), 60000U);
  EXPECT_GT(tree->nodes().size(), 4U);
}

TEST_F(IndexBuilderTest, innerNodesHoldThePointNearestToTheCentreOfEachCell) {
  const auto tree = build(writeSurface(60000, 5000));
  expectNearestToCentres(*tree, PointTreeCheck::recordsOf(*tree));
}

TEST_F(IndexBuilderTest, aLeafHoldsAtMostItsNumberOfPoints) {
  const auto tree = build(writeSurface(100000, 50000));
  for (const TreeNode& node : tree->nodes()) {
    if (node.isLeaf()) {
      EXPECT_LE(node.pointCount, SubtreeBuilder::kLeafPoints);
    }
  }
}

TEST_F(IndexBuilderTest, theTreeDependsNeitherOnTheMemoryNorOnTheThreads) {
  const std::string scan = writeSurface(400000, 100000);
  const auto inMemory = build(scan, kPlenty, 1);
  const auto outOfCore = build(scan, kVeryLittle, 3);
  const Records records = expectWholeTree(*outOfCore, 1e-4);
  EXPECT_EQ(contentsOf(*outOfCore, records), contentsOf(*inMemory, PointTreeCheck::recordsOf(*inMemory)));
}

TEST_F(IndexBuilderTest, theSpacingHalvesFromLevelToLevel) {
  const auto tree = build(writeSurface(60000, 50000));
  EXPECT_NEAR(tree->info().rootSpacing, tree->info().cube.size / 128.0, 1e-12);
  EXPECT_GE(tree->info().cube.size, 500.0);
  EXPECT_LE(tree->info().cube.size, 501.0);
}

TEST_F(IndexBuilderTest, noOneAndTwoPointsHaveATree) {
  EXPECT_TRUE(build(writePoints({}))->nodes().empty());
  const auto one = build(writePoints({{5, 6, 7}}));
  EXPECT_EQ(expectWholeTree(*one, 1e-6).size(), 1U);
  EXPECT_NEAR((one->info().bounds.center() - osg::Vec3d(431000.05, 5412000.06, 300.07)).length(), 0.0, 1e-6);
  EXPECT_EQ(expectWholeTree(*build(writePoints({{5, 6, 7}, {-500, 60, 7}})), 1e-6).size(), 2U);
}

TEST_F(IndexBuilderTest, aMillionPointsAtOneCoordinateAreAllThere) {
  constexpr std::uint32_t kCount = 1000000;
  QuorTests::writeHollowLasFile(_folder.path("same.las"), kCount);
  const auto tree = build(_folder.path("same.las"), kVeryLittle);
  EXPECT_EQ(tree->info().pointCount, kCount);
  std::vector<bool> found(kCount, false);
  for (std::uint32_t node = 0; node < tree->nodes().size(); ++node) {
    const NodePoints points = tree->read(node);
    for (const unsigned record : *points.records) {
      found.at(record) = true;
    }
  }
  EXPECT_EQ(std::count(found.begin(), found.end(), true), kCount);
}

TEST_F(IndexBuilderTest, morePointsAtOnePlaceThanFitIntoMemoryAreRefused) {
  QuorTests::writeHollowLasFile(_folder.path("same.las"), 5000000);
  EXPECT_THAT(ReaderSupport::messageOf([this] { build(_folder.path("same.las"), kVeryLittle); }),
              testing::EndsWith("same.las: 5000000 points at one place; an index holds at most 4000000 there"));
}

TEST_F(IndexBuilderTest, fewFarOutliersAroundASmallScanDoNotCoarsenIt) {
  std::vector<std::array<std::int32_t, 3>> grid = {{2000000000, 0, 0}, {-2000000000, 5, 5}, {0, 2000000000, 9}};
  std::uniform_int_distribution<std::int32_t> along(0, 3000);
  for (int i = 0; i < 300000; ++i) {
    grid.push_back({along(_random), along(_random), along(_random) % 100});
  }
  const std::string scan = writePoints(grid);
  for (const std::uint64_t memory : {kPlenty, kVeryLittle}) {
    const auto tree = build(scan, memory);
    const Records records = expectWholeTree(*tree, floatTolerance(*tree));
    EXPECT_EQ(records.size(), grid.size());
    EXPECT_LE(tree->nodes()[0].pointCount, 12U) << "the small scan is in few cells of the root";
  }
}

TEST_F(IndexBuilderTest, flatAndLinearScansHaveATree) {
  std::vector<std::array<std::int32_t, 3>> flat, linear;
  for (int i = 0; i < 300; ++i) {
    for (int j = 0; j < 300; ++j) {
      flat.push_back({i, j, 0});
      linear.push_back({300 * i + j, 0, 0});
    }
  }
  for (const auto& grid : {flat, linear}) {
    const auto tree = build(writePoints(grid), kVeryLittle);
    const Records records = expectWholeTree(*tree, floatTolerance(*tree));
    EXPECT_EQ(records.size(), 90000U);
    expectNearestToCentres(*tree, records);
  }
}

TEST_F(IndexBuilderTest, coordinatesOfTenMillionKeepTheirMillimetres) {
  ScanBytes::FileSettings settings = settingsOf(7);
  settings.scale = {0.001, 0.001, 0.001};
  settings.offset = {9876543.0, 10000000.0, 0.0};
  std::vector<ScanBytes::Point> points;
  for (unsigned i = 0; i < 30000; ++i) {
    points.push_back(ScanBytes::variedPoint(i, 7));
  }
  const auto tree = build(_folder.write("far.las", ScanBytes::file(settings, points)));
  expectWholeTree(*tree, floatTolerance(*tree));
}

TEST_F(IndexBuilderTest, wrongBoundsInTheHeaderDoNoHarm) {
  std::string scan = writeSurface(30000, 20000);
  // Greatest and least of X, Y and Z: a plausible box that contains a few of the points only.
  for (const std::array<double, 6>& box : {std::array<double, 6>{431010, 431000, 5412010, 5412000, 310, 290},
                                           std::array<double, 6>{441000, 421000, 5422000, 5402000, 1300, -700}}) {
    std::fstream file(scan, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(179).write(reinterpret_cast<const char*>(box.data()), sizeof box);
    file.close();
    const auto tree = build(scan, kVeryLittle);
    EXPECT_EQ(expectWholeTree(*tree, 1e-3).size(), 30000U);
    EXPECT_LE(tree->info().bounds._max.x() - tree->info().bounds._min.x(), 200.0) << "bounds are those of the points";
  }
}

TEST_F(IndexBuilderTest, pointsWithoutCoordinatesAreLeftOut) {
  const std::string text =
      "ply\nformat ascii 1.0\nelement vertex 4\nproperty double x\nproperty double y\n"
      "property double z\nend_header\n1 2 3\nnan 0 0\n4.25 5 6\n-7 8 9.125\n";
  const auto tree = build(_folder.write("points.ply", text));
  EXPECT_EQ(expectWholeTree(*tree, 1e-6).size(), 3U);
}

TEST_F(IndexBuilderTest, thePreviewShowsEveryNthRecordOnceInItsPlace) {
  const std::string path = writeSurface(200000, 50000);
  const std::map<std::uint64_t, osg::Vec3d> shown = previewOf(path, 1000);
  const auto scan = ScanReader::open(path);
  ASSERT_EQ(shown.size(), 1000U);
  for (std::uint64_t record = 0; record < 200000; record += 200) {
    ASSERT_EQ(shown.count(record), 1U) << record;
    EXPECT_LT((shown.at(record) - scan->coordinates(record)).length(), 1e-3) << record;
  }
}

TEST_F(IndexBuilderTest, aScanThatIsReadTwiceHasItsPreviewOnce) {
  const std::string text =
      "ply\nformat ascii 1.0\nelement vertex 4\nproperty double x\nproperty double y\n"
      "property double z\nend_header\n1 2 3\nnan 0 0\n4.25 5 6\n-7 8 9.125\n";
  const std::map<std::uint64_t, osg::Vec3d> shown = previewOf(_folder.write("points.ply", text), 2);
  ASSERT_EQ(shown.size(), 2U);
  EXPECT_EQ(shown.at(0), osg::Vec3d(1.0, 2.0, 3.0));
  EXPECT_EQ(shown.at(2), osg::Vec3d(4.25, 5.0, 6.0));
}

/// An index file whose build is cancelled when a few nodes have been written.
class CancellingSink : public IndexSink {
 public:
  CancellingSink(const std::string& path, IndexProgress& progress, int appends)
      : _file(path), _progress(progress), _left(appends) {}

  std::uint64_t append(const std::vector<unsigned char>& bytes) override {
    _progress.cancelled = --_left <= 0;
    return _file.append(bytes);
  }
  void finish(const std::vector<unsigned char>& header) override { _file.finish(header); }

 private:
  IndexFileSink _file;
  IndexProgress& _progress;
  int _left;
};

TEST_F(IndexBuilderTest, aBuildCancelledWhileTheScanIsReadLeavesNothing) {
  const std::string path = writeSurface(300000, 50000);
  IndexProgress progress;
  std::vector<std::string> files;
  const QuorTests::ScanDouble scan(ScanReader::open(path), [&] {
    files = filesInFolder();
    progress.cancelled = files.size() == 3;
  });
  auto sink = std::make_unique<IndexFileSink>(_folder.path("index"));
  EXPECT_THROW(buildIndex(scan, {}, *sink, {kVeryLittle, 1, _folder.path("temporary"), {}}, progress), IndexCancelled);
  sink.reset();
  EXPECT_THAT(files, testing::SizeIs(3)) << "the scan, the index and the points";
  EXPECT_THAT(filesInFolder(), testing::ElementsAre(path));
}

TEST_F(IndexBuilderTest, aBuildCancelledWhileNodesAreWrittenLeavesNothing) {
  const std::string path = writeSurface(300000, 50000);
  const auto scan = ScanReader::open(path);
  for (const int appends : {1, 2, 5}) {
    IndexProgress progress;
    auto sink = std::make_unique<CancellingSink>(_folder.path("index"), progress, appends);
    EXPECT_THROW(buildIndex(*scan, {}, *sink, {kVeryLittle, 2, _folder.path("temporary"), {}}, progress),
                 IndexCancelled);
    sink.reset();
    EXPECT_THAT(filesInFolder(), testing::ElementsAre(path)) << appends;
  }
}

}  // namespace
