#include "scan/Scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <set>

namespace {

using QuorViewer::PointChunk;
using QuorViewer::ScanInfo;
using QuorViewer::ScanReader;

/// Known facts about a real scan, from its publication and from other software. The box is accurate to `boxStep`.
struct KnownScan {
  const char* file;
  std::uint64_t points;
  const char* format;
  osg::BoundingBoxd box;
  double boxStep;
  bool coloured;
  unsigned greatestIntensity;
  std::set<unsigned> classes;  // empty where they are not known
};

void PrintTo(const KnownScan& scan, std::ostream* to) {
  *to << scan.file;
}

constexpr unsigned kAnyIntensity = 65536;
constexpr double kWide = 1e5;

const std::array<KnownScan, 8> kKnownScans = {{
    {"haystack_rock.las",
     21932,
     "LAS 1.2, point format 0",
     {2230738.84, 252070.78, -1.32, 2231104.52, 252410.10, 80.82},
     0.006,
     false,
     kAnyIntensity,
     {}},
    {"autzen_trim.las",
     110000,
     "LAS 1.2, point format 3",
     {6e5, 8e5, 0, 7e5, 9e5, 1000},
     kWide,
     true,
     kAnyIntensity,
     {}},
    {"autzen-full.laz",
     10653336,
     "LAS 1.4, point format 7, compressed (LAZ)",
     {6e5, 8e5, 0, 7e5, 9e5, 1000},
     kWide,
     true,
     254,
     {}},
    {"lone-star.laz",
     518862,
     "LAS 1.1, point format 1, compressed (LAZ)",
     {515368, 4918340, 2323, 515401, 4918381, 2339},
     1,
     false,
     2744,
     {}},
    {"lone-star.copc.laz",
     518862,
     "LAS 1.4, point format 6, compressed (LAZ)",
     {515368, 4918340, 2323, 515401, 4918381, 2339},
     1,
     false,
     2744,
     {}},
    {"lone-star-ept",
     518862,
     "EPT, 13 tiles, LAS 1.2, point format 1, compressed (LAZ)",
     {515368, 4918340, 2323, 515401, 4918381, 2339},
     1,
     false,
     2744,
     {}},
    {"ign-2023.laz",
     289055,
     "LAS 1.4, point format 6, compressed (LAZ)",
     {292000, 6832000, 0, 293000, 6833000, 200},
     kWide,
     false,
     65535,
     {1, 2, 3, 4, 5, 6, 17, 64, 66, 67}},
    {"ahn3.laz",
     260807,
     "LAS 1.2, point format 3, compressed (LAZ)",
     {131785, 549624, -100, 132785, 550624, 100},
     kWide,
     false,
     kAnyIntensity,
     {1, 2, 9, 26}},
}};

/// A summary of all points of a scan.
struct Seen {
  std::uint64_t points = 0;
  osg::BoundingBoxd box;
  unsigned greatestIntensity = 0;
  std::set<unsigned> classes;
};

void addChunk(const PointChunk& chunk, const osg::Vec3d& origin, Seen& seen) {
  seen.points += chunk.positions->size();
  seen.box.expandBy(osg::Vec3d(chunk.bounds._min) + origin);
  seen.box.expandBy(osg::Vec3d(chunk.bounds._max) + origin);
  for (std::size_t index = 0; index < chunk.positions->size(); ++index) {
    seen.greatestIntensity = std::max<unsigned>(seen.greatestIntensity, (*chunk.intensities)[index]);
    seen.classes.insert((*chunk.classesReturns)[index].x());
  }
}

// One chunk at a time, as in the viewer, so that ten million points need no more memory than half a million.
Seen readToTheLastPoint(ScanReader& reader) {
  constexpr std::uint64_t chunkPoints = 500000;
  Seen seen;
  const ScanInfo& info = reader.info();
  for (std::uint64_t first = 0; first < info.pointCount; first += chunkPoints) {
    const auto count = static_cast<std::uint32_t>(std::min(chunkPoints, info.pointCount - first));
    addChunk(reader.read(first, count, info.origin), info.origin, seen);
  }
  return seen;
}

class ScansFolder : public testing::TestWithParam<KnownScan> {
 protected:
  void SetUp() override {
    const char* folder = std::getenv("QUOR_SCANS");
    if (folder == nullptr) {
      GTEST_SKIP() << "QUOR_SCANS is not set to a folder";
    }
    _path = (std::filesystem::path(folder) / GetParam().file).string();
    if (!std::filesystem::exists(_path)) {
      GTEST_SKIP() << GetParam().file << " is not in the folder QUOR_SCANS";
    }
  }

  std::string _path;
};

TEST_P(ScansFolder, theScanReadsToItsLastPointWithinItsBox) {
  const KnownScan& known = GetParam();
  const auto reader = ScanReader::open(_path);
  EXPECT_EQ(reader->info().format, known.format);
  EXPECT_EQ(reader->info().hasColour, known.coloured);
  const Seen seen = readToTheLastPoint(*reader);
  EXPECT_EQ(seen.points, known.points);
  for (int axis = 0; axis < 3; ++axis) {
    EXPECT_NEAR(seen.box._min[axis], known.box._min[axis], known.boxStep);
    EXPECT_NEAR(seen.box._max[axis], known.box._max[axis], known.boxStep);
  }
  if (known.greatestIntensity != kAnyIntensity) {
    EXPECT_EQ(seen.greatestIntensity, known.greatestIntensity);
  }
  if (!known.classes.empty()) {
    EXPECT_EQ(seen.classes, known.classes);
  }
}

TEST_P(ScansFolder, theLastPointStandsWithinTheBox) {
  const auto reader = ScanReader::open(_path);
  const osg::Vec3d last = reader->coordinates(reader->info().pointCount - 1);
  for (int axis = 0; axis < 3; ++axis) {
    EXPECT_GE(last[axis], GetParam().box._min[axis] - GetParam().boxStep);
    EXPECT_LE(last[axis], GetParam().box._max[axis] + GetParam().boxStep);
  }
}

std::string nameOf(const testing::TestParamInfo<KnownScan>& info) {
  std::string name = info.param.file;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c == '.' || c == '-' || c == '_'; }, 'x');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Known, ScansFolder, testing::ValuesIn(kKnownScans), nameOf);

// A folder may hold more than the scans known here; each must at least open and read to its end.
TEST(ScansFolderAsAWhole, everyScanInTheFolderReadsToItsLastPoint) {
  const char* folder = std::getenv("QUOR_SCANS");
  if (folder == nullptr) {
    GTEST_SKIP() << "QUOR_SCANS is not set to a folder";
  }
  const std::set<std::string> extensions = {".las", ".laz", ".ply", ".asc"};
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (extensions.count(entry.path().extension().string()) == 0 ||
        std::any_of(kKnownScans.begin(), kKnownScans.end(),
                    [&](const KnownScan& known) { return entry.path().filename() == known.file; })) {
      continue;
    }
    SCOPED_TRACE(entry.path().string());
    const auto reader = ScanReader::open(entry.path().string());
    EXPECT_EQ(readToTheLastPoint(*reader).points, reader->info().pointCount);
  }
}

}  // namespace
