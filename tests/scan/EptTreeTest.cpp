#include "scan/ChunkBuilder.h"
#include "scan/edit/ScanCrop.h"
#include "scan/index/StoredTree.h"
#include "tests/scan/EptFiles.h"
#include "tests/scan/LazFile.h"
#include "tests/scan/ReaderSupport.h"
#include "tests/scan/TreeSupport.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace TreeSupport;
using QuorTests::contentOf;
using QuorTests::eptFile;
using QuorTests::sampleTiles;
using QuorTests::TreeFileNode;
using QuorTests::treeSettings;
using QuorTests::writeEpt;
using QuorViewer::openStoredTree;
using QuorViewer::ScanCrop;
using QuorViewer::ScanError;
using QuorViewer::ScanWriteError;
using ReaderSupport::messageOf;
using ScanBytes::Bytes;
using ScanBytes::FileSettings;
using ScanBytes::Folder;
using ScanBytes::Point;
using testing::HasSubstr;
using testing::StartsWith;

namespace fs = std::filesystem;

/// All points in the order in which an EPT scan numbers them.
std::vector<Point> pointsByKey(std::vector<TreeFileNode> nodes) {
  std::sort(nodes.begin(), nodes.end(), [](const auto& one, const auto& other) { return one.key < other.key; });
  std::vector<Point> points;
  for (const TreeFileNode& node : nodes) {
    points.insert(points.end(), node.points.begin(), node.points.end());
  }
  return points;
}

osg::Vec3d coordinatesOf(const Point& point, const FileSettings& settings) {
  return {point.x * settings.scale[0] + settings.offset[0], point.y * settings.scale[1] + settings.offset[1],
          point.z * settings.scale[2] + settings.offset[2]};
}

class EptOfEachFormat : public testing::TestWithParam<unsigned> {
 protected:
  unsigned _format = GetParam();
  FileSettings _settings = treeSettings(_format < 6 ? 2 : 4, _format);
  Folder _folder;
  std::vector<TreeFileNode> _nodes = sampleTiles(_format);
  std::string _path = writeEpt(_folder, _settings, _nodes);
};
INSTANTIATE_TEST_SUITE_P(Formats, EptOfEachFormat, testing::Values(0U, 1U, 2U, 3U, 6U, 7U, 8U));

TEST_P(EptOfEachFormat, everyTileHasThePointsThatWereWritten) {
  const auto tree = openStoredTree(_path);
  ASSERT_TRUE(tree);
  expectWrittenTree(*tree, _nodes, _settings);
  EXPECT_NEAR(tree->info().rootSpacing, QuorTests::treeCube(_settings).size / 128, 1e-9);
}

TEST_P(EptOfEachFormat, everyRecordIsInOneNodeAsTheReaderReadsIt) {
  const auto tree = openStoredTree(_path);
  ASSERT_TRUE(tree);
  expectTreeOfReader(*tree, *ScanReader::open(_path));
}

TEST_P(EptOfEachFormat, recordsAreNumberedTileByTileInTheOrderOfTheKeys) {
  const std::vector<Point> points = pointsByKey(_nodes);
  const auto reader = ScanReader::open(_path);
  ASSERT_EQ(reader->info().pointCount, points.size());
  for (std::size_t record = 0; record < points.size(); ++record) {
    ASSERT_EQ(reader->coordinates(record), coordinatesOf(points[record], _settings)) << record;
  }
}

TEST_P(EptOfEachFormat, everyNthPointIsReadAcrossTiles) {
  const std::vector<Point> points = pointsByKey(_nodes);
  const auto reader = ScanReader::open(_path)->clone();
  const QuorViewer::PointRange range = {5, 300, 7};
  QuorViewer::ChunkBuilder builder = reader->startChunk(range, osg::Vec3d());
  reader->decode({range.first, range.step, range.count}, builder);
  const QuorViewer::PointChunk chunk = builder.finish();
  ASSERT_EQ(chunk.positions->size(), 300U);
  for (std::uint32_t place = 0; place < 300; ++place) {
    const Point& point = points[range.at(place)];
    EXPECT_LT((osg::Vec3d((*chunk.positions)[place]) - coordinatesOf(point, _settings)).length(), 1e-3);
    EXPECT_EQ((*chunk.intensities)[place], point.intensity);
  }
}

TEST_P(EptOfEachFormat, aCroppedFileHasThePointsInsideOfAllTiles) {
  const auto reader = ScanReader::open(_path);
  const std::string target = _folder.path("inside.las");
  const auto isInside = [](const osg::Vec3d& at) { return at.x() > 1000.0 && at.z() < 60.0; };
  ScanCrop crop(*reader, target, isInside);
  while (!crop.finished()) {
    crop.step(std::chrono::milliseconds(100));
  }
  std::vector<Point> expected;
  for (const Point& point : pointsByKey(_nodes)) {
    if (isInside(coordinatesOf(point, _settings))) {
      expected.push_back(point);
    }
  }
  const auto cropped = ScanReader::open(target);
  ASSERT_EQ(cropped->info().pointCount, expected.size());
  const QuorViewer::PointChunk chunk =
      cropped->read(0, static_cast<std::uint32_t>(expected.size()), cropped->info().origin);
  for (std::size_t place = 0; place < expected.size(); ++place) {
    EXPECT_EQ(cropped->coordinates(place), coordinatesOf(expected[place], _settings));
    EXPECT_EQ((*chunk.intensities)[place], expected[place].intensity);
    EXPECT_EQ((*chunk.classesReturns)[place].x(), expected[place].classification);
  }
}

class EptTest : public testing::Test {
 protected:
  std::string _file(const std::string& name) const { return eptFile(_path, name); }

  void _replaceIn(const std::string& name, const std::string& from, const std::string& to) const {
    const Bytes bytes = contentOf(_file(name));
    std::string text(bytes.begin(), bytes.end());
    const std::size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    text.replace(at, from.size(), to);
    _folder.write("ept/" + name, text);
  }

  Folder _folder;
  FileSettings _settings = treeSettings(2, 3);
  std::vector<TreeFileNode> _nodes = sampleTiles(3);
  std::string _path = writeEpt(_folder, _settings, _nodes);
};

TEST_F(EptTest, theInformationIsThatOfTheDescriptionAndTheTiles) {
  const QuorViewer::ScanInfo info = ScanReader::open(_path)->info();
  EXPECT_EQ(info.path, _path);
  EXPECT_EQ(info.format, "EPT, 9 tiles, LAS 1.2, point format 3, compressed (LAZ)");
  EXPECT_EQ(info.pointCount, pointsByKey(_nodes).size());
  EXPECT_EQ(info.scale, osg::Vec3d(0.01, 0.01, 0.01));
  EXPECT_EQ(info.offset, osg::Vec3d(1000, 2000, 30));
  EXPECT_TRUE(info.hasColour);
  EXPECT_TRUE(info.hasIntensity);
  EXPECT_TRUE(info.hasClassification);
  EXPECT_EQ(info.coordinateSystem.text(), "EPSG:2056 (CH1903+ / LV95)");
  const QuorViewer::RootCube cube = QuorTests::treeCube(_settings);
  EXPECT_NEAR(info.bounds.xMin(), cube.least.x() + 0.01, 1e-9);
  EXPECT_NEAR(info.bounds.zMax(), cube.least.z() + cube.size - 0.01, 1e-9);
}

TEST_F(EptTest, theFolderItsPathWithASeparatorAndItsDescriptionOpenTheSameScan) {
  for (const std::string& path : {_path, _path + "/", _file("ept.json")}) {
    EXPECT_EQ(ScanReader::open(path)->info().path, _path);
    const auto tree = openStoredTree(path);
    ASSERT_TRUE(tree);
    EXPECT_EQ(tree->nodes().size(), _nodes.size());
  }
}

TEST_F(EptTest, otherFoldersAreRefused) {
  const std::string path = _file("ept-data");
  EXPECT_EQ(messageOf([&] { ScanReader::open(path); }), path + ": this is a folder, not a file");
  EXPECT_EQ(messageOf([&] { openStoredTree(path); }), path + ": this is a folder, not a file");
}

TEST_F(EptTest, boundsAndCoordinateSystemMayBeMissing) {
  _replaceIn("ept.json", "boundsConforming", "otherBounds");
  _replaceIn("ept.json", "srs", "other");
  const QuorViewer::ScanInfo info = ScanReader::open(_path)->info();
  EXPECT_FALSE(info.bounds.valid());
  EXPECT_FALSE(info.coordinateSystem.isKnown());
}

TEST_F(EptTest, aCloneReadsTheSameAfterItsSourceIsGone) {
  auto source = openStoredTree(_path);
  ASSERT_TRUE(source);
  source->read(1);
  const auto clone = source->clone();
  source.reset();
  expectWrittenTree(*clone, _nodes, _settings);
}

TEST_F(EptTest, aTileThatDisappearsIsReportedAndTheOthersStayReadable) {
  const auto tree = openStoredTree(_path);
  ASSERT_TRUE(tree);
  fs::remove(_file("ept-data/1-0-0-1.laz"));
  for (std::uint32_t node = 0; node < tree->nodes().size(); ++node) {
    const bool removed = tree->nodes()[node].key == QuorViewer::NodeKey{1, 0, 0, 1};
    EXPECT_EQ(messageOf([&] { tree->read(node); }),
              removed ? _file("ept-data/1-0-0-1.laz") + ": no such file" : "no error");
  }
}

// There may be hundreds of thousands of tiles. The reader samples those with the first 16,384 points when it is opened.
TEST_F(EptTest, tilesBeyondTheSampleAreCheckedWhenTheyAreRead) {
  const QuorViewer::NodeKey child{1, 0, 0, 1};
  constexpr std::uint32_t kRootPoints = 17000;
  const std::vector<TreeFileNode> nodes = {{{}, QuorTests::pointsInNode({}, kRootPoints, 3, 1), 0, {}},
                                           {child, QuorTests::pointsInNode(child, 57, 3, 1), 0, {}}};
  writeEpt(_folder, _settings, nodes);
  const std::string tile = _file("ept-data/1-0-0-1.laz");
  fs::resize_file(tile, 100);
  const auto reader = ScanReader::open(_path);
  EXPECT_EQ(reader->read(0, kRootPoints, osg::Vec3d()).positions->size(), kRootPoints);
  const std::string message = messageOf([&] { reader->coordinates(kRootPoints); });
  EXPECT_THAT(message, StartsWith(tile + ": "));
  const auto tree = openStoredTree(_path);
  ASSERT_TRUE(tree);
  EXPECT_EQ(messageOf([&] { tree->read(1); }), message);
}

TEST_F(EptTest, savingIntoTheFolderOfTheScanIsRefused) {
  const auto reader = ScanReader::open(_path);
  const auto everything = [](const osg::Vec3d&) { return true; };
  for (const char* name : {"ept-data/0-0-0-0.laz", "new.las"}) {
    EXPECT_THAT(messageOf<ScanWriteError>([&] { ScanCrop(*reader, _file(name), everything); }),
                HasSubstr("this is in the folder of the scan being copied"));
  }
  EXPECT_FALSE(fs::exists(_file("new.las.part")));
}

/// One kind of damage: in a file, a text is replaced, or the file is removed if the text is empty. Then the message
/// must name a file and contain a text.
struct Damage {
  const char* name;
  const char* file;
  const char* from;
  const char* to;
  const char* reportedFile;
  const char* message;
};

void PrintTo(const Damage& damage, std::ostream* to) {
  *to << damage.name;
}

constexpr const char* kDescription = "ept.json";
constexpr const char* kRootPage = "ept-hierarchy/0-0-0-0.json";
constexpr const char* kPage1 = "ept-hierarchy/1-1-0-1.json";
constexpr const char* kPage2 = "ept-hierarchy/3-6-3-4.json";

const std::vector<Damage> kDamages = {
    {"descriptionNotJson", kDescription, "{", "[", kDescription, "not valid JSON, at byte "},
    {"textAfterTheDescription", kDescription, "{\n\"bounds\"", "7 x", kDescription, "not valid JSON, at byte 2"},
    {"numberTooLarge", kDescription, "128", "1e999", kDescription, "a number in the JSON text is too large"},
    {"binaryTiles", kDescription, "laszip", "binary", kDescription,
     "field \"dataType\": \"binary\" found, only \"laszip\" is supported"},
    {"zstandardTiles", kDescription, "laszip", "zstandard", kDescription,
     "field \"dataType\": \"zstandard\" found, only \"laszip\" is supported"},
    {"dataTypeMissing", kDescription, "dataType", "other", kDescription, "the field \"dataType\" is missing"},
    {"otherHierarchy", kDescription, "\"json\"", "\"gzip\"", kDescription,
     "field \"hierarchyType\": \"gzip\" found, only \"json\" is supported"},
    {"pointsMissing", kDescription, "points", "other", kDescription, "the field \"points\" is missing"},
    {"pointsNegative", kDescription, "\"points\": ", "\"points\": -", kDescription, "a number of points expected"},
    {"morePointsStated", kDescription, "\"points\": ", "\"points\": 1", kDescription,
     "the hierarchy does not match the field \"points\": 2496 points in 9 nodes, 12496 stated"},
    {"boundsOfFiveNumbers", kDescription, "\"bounds\": [840, ", "\"bounds\": [", kDescription, "field \"bounds\": "},
    {"boundsOfText", kDescription, "\"bounds\": [840", "\"bounds\": [\"840\"", kDescription, "6 numbers expected"},
    {"boundsNotACube", kDescription, "\"bounds\": [840", "\"bounds\": [840.1", kDescription,
     "not a cube: its sides differ in length"},
    {"boundsWithoutSize", kDescription, "\"bounds\": [840", "\"bounds\": [1160", kDescription,
     "not a cube: its size is not positive"},
    {"boundsTooFar", kDescription, "\"bounds\": [840", "\"bounds\": [-1e38", kDescription,
     "not a cube: its corners are not finite, or too far from the origin"},
    {"spanZero", kDescription, "128", "0", kDescription, "field \"span\": 0 found, a number of at least 1 expected"},
    {"spanOfText", kDescription, "128", "\"128\"", kDescription, "a number of at least 1 expected"},
    {"rootPageMissing", kRootPage, "", "", kRootPage, "no such file"},
    {"pageMissing", kPage2, "", "", kPage2, "no such file"},
    {"pageNotJson", kPage1, ":", "", kPage1, "not valid JSON, at byte "},
    {"pageNotAnObject", kPage2, "{\n\"3-6-3-4\": 9,\n\"4-12-6-9\": 1\n}", "[1]", kPage2, "not a JSON object"},
    {"pageWithoutItsFirstNode", kPage2, "3-6-3-4", "3-6-3-5", kPage2, "the page lacks its first node 3-6-3-4"},
    {"pageRefersToItself", kPage2, "\"3-6-3-4\": 9", "\"3-6-3-4\": -1", kPage2,
     "field \"3-6-3-4\": -1 found, but something else refers to this page"},
    {"pageRefersToAnEarlierOne", kPage2, "\"4-12-6-9\": 1", "\"1-1-0-1\": -1", kPage2,
     "field \"1-1-0-1\": -1 found, but something else refers to this page"},
    {"keyNotAKey", kPage2, "4-12-6-9", "4-12-6", kPage2, "invalid key \"4-12-6\""},
    {"keyWithMore", kPage2, "4-12-6-9", "4-12-6-9-1", kPage2, "invalid key \"4-12-6-9-1\""},
    {"keyNegative", kPage2, "4-12-6-9", "4-12-6--9", kPage2, "invalid key \"4-12-6--9\""},
    {"levelTooDeep", kPage2, "4-12-6-9", "32-0-0-0", kPage2, "its level is outside the range 0 to 31"},
    {"keyOutsideItsLevel", kPage2, "4-12-6-9", "4-16-6-9", kPage2,
     "it is outside its level, which has 16 cells along each axis"},
    {"parentMissing", kPage2, "4-12-6-9", "4-0-0-0", kPage2, "invalid node 4-0-0-0: its parent 3-0-0-0 is missing"},
    {"keyTwice", kPage2, "4-12-6-9", "1-1-0-1", kPage2, "invalid node 1-1-0-1: it occurs twice"},
    {"countZero", kPage2, "\"4-12-6-9\": 1", "\"4-12-6-9\": 0", kPage2,
     "field \"4-12-6-9\": 0 found, a number of points"},
    {"countNegative", kPage2, "\"4-12-6-9\": 1", "\"4-12-6-9\": -2", kPage2, "field \"4-12-6-9\": -2 found, "},
    {"countTooLarge", kPage2, "\"4-12-6-9\": 1", "\"4-12-6-9\": 4294967296", kPage2, "a number of points from 1 to"},
    {"countNotWhole", kPage2, "\"4-12-6-9\": 1", "\"4-12-6-9\": 1.5", kPage2, "field \"4-12-6-9\": 1.5 found, "},
    {"countOfText", kPage2, "\"4-12-6-9\": 1", "\"4-12-6-9\": \"1\"", kPage2, "field \"4-12-6-9\": \"1\" found, "},
    {"fewerPointsInATile", kPage2, "\"3-6-3-4\": 9,\n\"4-12-6-9\": 1", "\"3-6-3-4\": 8,\n\"4-12-6-9\": 2",
     "ept-data/3-6-3-4.laz",
     "the tile does not match the hierarchy, at byte 107 (field \"number of point records\"): 9 points found, 8 "
     "expected"},
    {"tileMissing", "ept-data/2-3-1-2.laz", "", "", "ept-data/2-3-1-2.laz", "no such file"},
    {"tileOfAnotherFormat", "ept-data/2-3-1-2.laz", "LASF", "LASE", "ept-data/2-3-1-2.laz",
     "not a LAZ file, at byte 0"},
};

class DamagedEpt : public EptTest, public testing::WithParamInterface<Damage> {};

TEST_P(DamagedEpt, isRefusedNamingTheFileAndTheReason) {
  const Damage& damage = GetParam();
  if (std::string(damage.from).empty()) {
    fs::remove(_file(damage.file));
  } else {
    ASSERT_NO_FATAL_FAILURE(_replaceIn(damage.file, damage.from, damage.to));
  }
  const std::string message = messageOf([&] { ScanReader::open(_path); });
  EXPECT_THAT(message, StartsWith(_file(damage.reportedFile) + ": "));
  EXPECT_THAT(message, HasSubstr(damage.message));
  EXPECT_EQ(messageOf([&] { openStoredTree(_path); }), message);
}

TEST_F(EptTest, damageInAPageOfTheHierarchyIsReportedWithItsByte) {
  const std::vector<std::pair<std::string, std::string>> damages = {
      {"\"4-12-6-9\": 0", ", field \"4-12-6-9\": 0 found, "},
      {"\"4-12-6\": 1", ", invalid key \"4-12-6\": "},
      {"\"4-16-6-9\": 1", ", invalid node 4-16-6-9: it is outside its level"},
      {"\"other\": [\"4-12-6-9\", {\"4-12-6-9\": 3}],\n\"4-12-6-9\" :\t\"x\\\"\"", ", field \"4-12-6-9\": "}};
  const Bytes whole = contentOf(_file(kPage2));
  for (const auto& [damage, reason] : damages) {
    _folder.write(std::string("ept/") + kPage2, whole);
    ASSERT_NO_FATAL_FAILURE(_replaceIn(kPage2, "\"4-12-6-9\": 1", damage));
    const Bytes bytes = contentOf(_file(kPage2));
    const std::string text(bytes.begin(), bytes.end());
    const std::size_t value = text.find_first_not_of(" \t", text.rfind(':') + 1);
    const std::string message = messageOf([&] { ScanReader::open(_path); });
    EXPECT_THAT(message, StartsWith(_file(kPage2) + ": at byte " + std::to_string(value) + reason));
  }
}

TEST_F(EptTest, fieldsOfTheDescriptionAreReportedWithTheirByte) {
  _replaceIn("ept.json", "128", "0");
  const Bytes bytes = contentOf(_file("ept.json"));
  const std::string text(bytes.begin(), bytes.end());
  const std::size_t value = text.find('0', text.find("\"span\""));
  EXPECT_THAT(messageOf([&] { ScanReader::open(_path); }),
              StartsWith(_file("ept.json") + ": at byte " + std::to_string(value) + ", field \"span\": 0 found"));
}

std::string nameOf(const testing::TestParamInfo<Damage>& info) {
  return info.param.name;
}
INSTANTIATE_TEST_SUITE_P(Each, DamagedEpt, testing::ValuesIn(kDamages), nameOf);

TEST_F(EptTest, tilesThatDifferInGridOrFormatAreRefused) {
  const std::vector<Point> points = QuorTests::pointsInNode({2, 3, 1, 2}, 57, 3, 1);
  FileSettings otherOffset = _settings;
  otherOffset.offset[1] = 2001;
  FileSettings otherScale = _settings;
  otherScale.scale[2] = 0.001;
  FileSettings longerRecords = _settings;
  longerRecords.extraBytes = 2;
  const std::string tile = _file("ept-data/2-3-1-2.laz");
  const std::string refused = tile + ": the tile does not match the first one, at byte ";
  const std::vector<std::pair<FileSettings, std::string>> others = {
      {otherOffset, "155 "}, {otherScale, "131 "}, {longerRecords, "105 "}, {treeSettings(2, 1), "104 "}};
  for (const auto& [settings, byte] : others) {
    QuorTests::writeLaz(tile, settings, points, 100);
    EXPECT_THAT(messageOf([&] { ScanReader::open(_path); }), StartsWith(refused + byte));
  }
}

TEST_F(EptTest, anUncompressedTileIsRefused) {
  const std::vector<Point> points = QuorTests::pointsInNode({2, 3, 1, 2}, 57, 3, 1);
  const std::string tile = _folder.write("ept/ept-data/2-3-1-2.laz", ScanBytes::file(_settings, points));
  EXPECT_EQ(messageOf([&] { ScanReader::open(_path); }),
            eptFile(_path, "ept-data/2-3-1-2.laz") +
                ": the points are not compressed, at byte 104 (field \"point data record format\")");
}

// The scan is either refused, or its tree has all points stated, and each node is read or refused.
void openAndReadTree(const std::string& path, unsigned& opened) {
  try {
    const auto tree = openStoredTree(path);
    ASSERT_TRUE(tree);
    expectOctree(tree->nodes());
    std::uint64_t points = 0;
    for (std::uint32_t node = 0; node < tree->nodes().size(); ++node) {
      points += tree->nodes()[node].pointCount;
      EXPECT_THAT(messageOf([&] { tree->read(node); }), testing::AnyOf("no error", StartsWith(path)));
    }
    EXPECT_EQ(points, tree->info().pointCount);
    ++opened;
  } catch (const ScanError& error) {
    EXPECT_THAT(error.what(), StartsWith(path));
  }
}

TEST_F(EptTest, arbitraryBytesInEachFileAreReadOrRefused) {
  constexpr unsigned rounds = 100;
  std::mt19937 random(20250711);
  for (const char* name : {kDescription, kRootPage, kPage1, kPage2, "ept-data/0-0-0-0.laz", "ept-data/3-7-2-5.laz"}) {
    const Bytes whole = contentOf(_file(name));
    unsigned opened = 0;
    for (unsigned round = 0; round < rounds; ++round) {
      Bytes bytes = whole;
      ReaderSupport::flipBytes(bytes, 0, std::min<std::size_t>(bytes.size(), 400), random);
      _folder.write(std::string("ept/") + name, bytes);
      openAndReadTree(_path, opened);
    }
    EXPECT_LT(opened, rounds) << name;
    _folder.write(std::string("ept/") + name, whole);
  }
}

TEST(RealEptTest, everyRecordIsInOneNodeAsTheReaderReadsIt) {
  const std::string path = realScan("lone-star-ept");
  if (path.empty()) {
    GTEST_SKIP() << "lone-star-ept is not in the folder QUOR_SCANS";
  }
  const auto tree = openStoredTree(path);
  ASSERT_TRUE(tree);
  EXPECT_EQ(tree->nodes().size(), 13U);
  const auto reader = ScanReader::open(path);
  EXPECT_EQ(reader->info().coordinateSystem.epsg, 26912U);
  expectTreeOfReader(*tree, *reader);
}

}  // namespace
