#include "scan/index/CopcTree.h"
#include "scan/index/StoredTree.h"
#include "tests/scan/CopcFile.h"
#include "tests/scan/LazFile.h"
#include "tests/scan/ReaderSupport.h"
#include "tests/scan/TreeSupport.h"

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace TreeSupport;
using QuorTests::CopcFile;
using QuorTests::numberAt;
using QuorTests::sampleTree;
using QuorTests::TreeFileNode;
using QuorTests::treeSettings;
using QuorTests::writeCopc;
using QuorViewer::openStoredTree;
using QuorViewer::ScanError;
using QuorViewer::ScanFile;
using ReaderSupport::messageOf;
using ScanBytes::Bytes;
using ScanBytes::FileSettings;
using ScanBytes::Folder;
using testing::HasSubstr;
using testing::StartsWith;

class CopcTreeOfEachFormat : public testing::TestWithParam<unsigned> {
 protected:
  unsigned _format = GetParam();
  FileSettings _settings = treeSettings(4, _format);
  Folder _folder;
  std::vector<TreeFileNode> _nodes = sampleTree(_format);
  CopcFile _file = writeCopc(_folder, _settings, _nodes);
  std::string _path = _folder.write("scan.copc.laz", _file.bytes);
};
INSTANTIATE_TEST_SUITE_P(Formats, CopcTreeOfEachFormat, testing::Values(6U, 7U, 8U));

TEST_P(CopcTreeOfEachFormat, everyNodeHasThePointsThatWereWritten) {
  const auto tree = openStoredTree(_path);
  ASSERT_TRUE(tree);
  expectWrittenTree(*tree, _nodes, _settings);
  EXPECT_EQ(tree->info().rootSpacing, QuorTests::kTreeSpacing);
  EXPECT_EQ(tree->info().spacingAt(3), QuorTests::kTreeSpacing / 8);
}

TEST_P(CopcTreeOfEachFormat, everyRecordIsInOneNodeAsTheReaderReadsIt) {
  const auto tree = openStoredTree(_path);
  ASSERT_TRUE(tree);
  expectTreeOfReader(*tree, *ScanReader::open(_path));
}

TEST_P(CopcTreeOfEachFormat, recordsAreNumberedInTheOrderOfTheFile) {
  const auto tree = openStoredTree(_path);
  ASSERT_TRUE(tree);
  std::uint32_t first = 0;
  for (const TreeFileNode& written : _nodes) {
    for (std::uint32_t node = 0; node < tree->nodes().size(); ++node) {
      if (tree->nodes()[node].key == written.key && !written.points.empty()) {
        EXPECT_EQ(tree->read(node).records->front(), first);
      }
    }
    first += static_cast<std::uint32_t>(written.points.size());
  }
}

TEST_P(CopcTreeOfEachFormat, theReaderReadsEveryPointInTheOrderOfTheFile) {
  const auto reader = ScanReader::open(_path);
  std::uint64_t record = 0;
  for (const TreeFileNode& written : _nodes) {
    for (const ScanBytes::Point& point : written.points) {
      const osg::Vec3d expected(point.x * 0.01 + 1000, point.y * 0.01 + 2000, point.z * 0.01 + 30);
      ASSERT_EQ(reader->coordinates(record), expected) << record;
      ++record;
    }
  }
  EXPECT_EQ(record, reader->info().pointCount);
}

TEST_P(CopcTreeOfEachFormat, withAnEmptyRootTheSampleIsTheNextNodeWithPoints) {
  _nodes[2].points.clear();
  ASSERT_EQ(_nodes[2].key, QuorViewer::NodeKey());
  const auto tree = openStoredTree(_folder.write("scan.copc.laz", writeCopc(_folder, _settings, _nodes).bytes));
  ASSERT_TRUE(tree);
  std::uint32_t first = 0;
  while (tree->nodes().at(first).pointCount == 0) {
    ++first;
  }
  EXPECT_GT(first, 0U);
  EXPECT_EQ(tree->sample().records->asVector(), tree->read(first).records->asVector());
}

TEST_P(CopcTreeOfEachFormat, aCloneReadsTheSameAfterItsSourceIsGone) {
  auto source = openStoredTree(_path);
  ASSERT_TRUE(source);
  source->read(1);
  const auto clone = source->clone();
  source.reset();
  expectWrittenTree(*clone, _nodes, _settings);
}

class CopcTreeTest : public testing::Test {
 protected:
  std::string _write(const Bytes& bytes) const { return _folder.write("scan.copc.laz", bytes); }

  /// The message without the path, which it must begin with.
  std::string _refusalOf(const Bytes& bytes) const {
    const std::string path = _write(bytes);
    const std::string message = messageOf([&] { QuorViewer::openCopc(ScanFile(path)); });
    EXPECT_THAT(message, StartsWith(path + ": "));
    return message.substr(std::min(message.size(), path.size() + 2));
  }

  Folder _folder;
  FileSettings _settings = treeSettings(4, 7);
  std::vector<TreeFileNode> _nodes = sampleTree(7);
  CopcFile _file = writeCopc(_folder, _settings, _nodes);
};

TEST_F(CopcTreeTest, nodesWithNeitherPointsNorChildrenAreLeftOut) {
  std::vector<TreeFileNode> nodes = _nodes;
  nodes.push_back({{1, 1, 1, 1}, {}, 0, std::nullopt});
  nodes.push_back({{2, 2, 2, 2}, {}, 0, std::nullopt});
  const auto tree = openStoredTree(_write(writeCopc(_folder, _settings, nodes).bytes));
  ASSERT_TRUE(tree);
  expectOctree(tree->nodes());
  expectWrittenTree(*tree, _nodes, _settings);
}

TEST_F(CopcTreeTest, aTreeOfOneNodeIsRead) {
  const std::vector<TreeFileNode> nodes = {{{}, QuorTests::pointsInNode({}, 1, 7, 5), 0, std::nullopt}};
  const auto tree = openStoredTree(_write(writeCopc(_folder, _settings, nodes).bytes));
  ASSERT_TRUE(tree);
  EXPECT_TRUE(tree->nodes().at(0).isLeaf());
  expectWrittenTree(*tree, nodes, _settings);
}

TEST_F(CopcTreeTest, aScanWithoutPointsHasATreeWithoutNodes) {
  Bytes bytes = _file.bytes;
  bytes.set(247, std::uint64_t{0});
  const auto tree = openStoredTree(_write(bytes));
  ASSERT_TRUE(tree);
  EXPECT_TRUE(tree->nodes().empty());
  EXPECT_EQ(tree->info().pointCount, 0U);
}

TEST_F(CopcTreeTest, otherScansHaveNoTree) {
  EXPECT_FALSE(openStoredTree(_folder.write("plain.las", ScanBytes::file({2, 3}, ScanBytes::variedPoints(5, 3)))));
  EXPECT_FALSE(openStoredTree(_folder.write("points.asc", std::string("1 2 3\n"))));
  QuorTests::writeLaz(_folder.path("plain.laz"), {4, 7}, ScanBytes::variedPoints(5, 7), 1000);
  EXPECT_FALSE(openStoredTree(_folder.path("plain.laz")));
}

TEST_F(CopcTreeTest, aMissingFileIsReported) {
  const std::string path = _folder.path("none.laz");
  EXPECT_EQ(messageOf([&] { openStoredTree(path); }), path + ": no such file");
}

TEST_F(CopcTreeTest, aFileTruncatedWhileItIsOpenIsReported) {
  const std::string path = _write(_file.bytes);
  const auto tree = openStoredTree(path);
  ASSERT_TRUE(tree);
  std::filesystem::resize_file(path, 1000);
  const std::string told = path + ": the file was truncated while it was being read";
  for (std::uint32_t node = 0; node < tree->nodes().size(); ++node) {
    if (tree->nodes()[node].pointCount > 0) {
      EXPECT_THAT(messageOf([&] { tree->clone()->read(node); }), StartsWith(told));
    }
  }
}

// The root is so large that only points of it are sampled when the scan is opened.
TEST_F(CopcTreeTest, aDamagedNodeIsReportedAndTheOthersStayReadable) {
  constexpr std::size_t firstLengthAt = 36 + 4;  // after an uncompressed point and the number of points
  const std::vector<TreeFileNode> nodes = {
      {{0, 0, 0, 0}, QuorTests::pointsInNode({0, 0, 0, 0}, 30000, 7, 1), 0, std::nullopt},
      {{1, 0, 0, 0}, QuorTests::pointsInNode({1, 0, 0, 0}, 50, 7, 2), 0, std::nullopt}};
  CopcFile file = writeCopc(_folder, _settings, nodes);
  const auto chunkAt = numberAt<std::uint64_t>(file.bytes, file.entriesAt[1] + 16);
  file.bytes.set(chunkAt + firstLengthAt, std::uint32_t{1} << 24U);
  const std::string path = _write(file.bytes);
  const auto tree = openStoredTree(path);
  ASSERT_TRUE(tree);
  const auto reader = ScanReader::open(path);
  for (int time = 0; time < 2; ++time) {
    EXPECT_THAT(messageOf([&] { tree->read(1); }), StartsWith(path + ": point 30000 (counted from 0) cannot be"));
    expectAttributesOfReader(tree->read(0), *reader);
    expectWrittenPoints(tree->read(0), nodes[0].points, _settings);
  }
}

/// One kind of damage, and parts of the message that it must give.
struct Damage {
  const char* name;
  std::function<void(CopcFile&)> apply;
  std::function<std::vector<std::string>(const CopcFile&)> messageParts;
};

void PrintTo(const Damage& damage, std::ostream* to) {
  *to << damage.name;
}

std::string atByte(std::uint64_t byte) {
  return "at byte " + std::to_string(byte) + " ";
}

constexpr std::size_t kInfo = CopcFile::kInfoAt;
constexpr std::size_t kRoot = 2;  // the index of the root's entry

Damage infoDamage(const char* name, std::size_t offset, double value, const char* reason) {
  return {name, [=](CopcFile& file) { file.bytes.set(kInfo + offset, value); },
          [=](const CopcFile&) {
            return std::vector<std::string>{reason, atByte(offset == 32 ? kInfo + 32 : kInfo)};
          }};
}

template <typename Number>
Damage entryDamage(const char* name, std::size_t node, std::size_t offset, Number value, std::size_t reported,
                   const char* reason) {
  return {name, [=](CopcFile& file) { file.bytes.set(file.entriesAt[node] + offset, value); },
          [=](const CopcFile& file) {
            return std::vector<std::string>{reason, atByte(file.entriesAt[node] + reported)};
          }};
}

/// Changes the reference to the root page.
Damage rootPageDamage(const char* name, std::size_t offset, std::uint64_t value) {
  return {name, [=](CopcFile& file) { file.bytes.set(kInfo + offset, value); },
          [](const CopcFile&) {
            return std::vector<std::string>{"a page of the hierarchy is misplaced", atByte(kInfo + 40)};
          }};
}

/// Lets the entry that refers to page 2 refer to the pages from `first` on, before `end`.
Damage pageLoop(const char* name, std::size_t first, std::size_t end) {
  return {
      name,
      [=](CopcFile& file) {
        file.bytes.set(file.pageEntriesAt[1] + 16, file.pagesAt[first]);
        file.bytes.set(file.pageEntriesAt[1] + 24, static_cast<std::uint32_t>(file.pagesAt[end] - file.pagesAt[first]));
      },
      [](const CopcFile& file) {
        return std::vector<std::string>{"a page of the hierarchy is used twice", atByte(file.pageEntriesAt[1] + 16)};
      }};
}

constexpr double kInfinite = std::numeric_limits<double>::infinity();

const std::vector<Damage> kDamages = {
    {"infoOfOtherUser", [](CopcFile& file) { file.bytes[375 + 2] = 'd'; },
     [](const CopcFile&) {
       return std::vector<std::string>{"the record on the octree is missing", atByte(375)};
     }},
    {"infoTooShort", [](CopcFile& file) { file.bytes.set(375 + 20, std::uint16_t{159}); },
     [](const CopcFile&) {
       return std::vector<std::string>{"the record on the octree is too short", atByte(395), "159 bytes found"};
     }},
    infoDamage("centreNotANumber", 8, std::nan(""), "the cube of the octree is invalid"),
    infoDamage("centreTooFar", 16, 1e38, "the cube of the octree is invalid"),
    infoDamage("halfSizeZero", 24, 0.0, "its size is not positive"),
    infoDamage("halfSizeNegative", 24, -1.0, "its size is not positive"),
    infoDamage("halfSizeInfinite", 24, kInfinite, "the cube of the octree is invalid"),
    infoDamage("spacingZero", 32, 0.0, "the spacing of the octree is invalid"),
    infoDamage("spacingInfinite", 32, kInfinite, "the spacing of the octree is invalid"),
    {"hierarchyOfOtherUser", [](CopcFile& file) { file.bytes[file.hierarchyAt + 2] = 'd'; },
     [](const CopcFile&) {
       return std::vector<std::string>{"the hierarchy of the octree is missing", atByte(235)};
     }},
    {"hierarchyBeyondTheFile", [](CopcFile& file) { file.bytes.pop_back(); },
     [](const CopcFile&) {
       return std::vector<std::string>{"the hierarchy of the octree is missing", atByte(235)};
     }},
    rootPageDamage("rootPageBeforeTheHierarchy", 40, 0),
    rootPageDamage("rootPageBeyondTheFile", 40, std::numeric_limits<std::uint64_t>::max() - 31),
    rootPageDamage("rootPageWithoutEntries", 48, 0),
    rootPageDamage("rootPageWithHalfAnEntry", 48, 48),
    rootPageDamage("rootPageTooLong", 48, std::uint64_t{1} << 40U),
    pageLoop("pageRefersToItself", 1, 2),
    pageLoop("pageRefersToAnEarlierOne", 0, 1),
    pageLoop("pageOverlapsAnother", 1, 3),
    {"pageWithoutItsFirstNode", [](CopcFile& file) { file.bytes.set(file.pageEntriesAt[0] + 4, std::uint32_t{0}); },
     [](const CopcFile& file) {
       return std::vector<std::string>{"a page of the hierarchy lacks its first node",
                                       atByte(file.pageEntriesAt[0] + 16), "node 1-0-0-1"};
     }},
    entryDamage("levelTooDeep", 4, 0, 32, 0, "its level is outside the range 0 to 31"),
    entryDamage("levelNegative", 4, 0, -1, 0, "its level is outside the range 0 to 31"),
    entryDamage("xOutsideItsLevel", 4, 4, 4, 0, "it is outside its level, which has 4 cells"),
    entryDamage("yNegative", 4, 8, -1, 0, "it is outside its level, which has 4 cells"),
    entryDamage("zOutsideItsLevel", 4, 12, 4, 0, "it is outside its level, which has 4 cells"),
    entryDamage("parentMissing", 4, 4, 3, 0, "its parent 1-1-1-0 is missing"),
    {"keyTwice",
     [](CopcFile& file) {
       file.bytes.set(file.entriesAt[8] + 8, std::uint32_t{1});
       file.bytes.set(file.entriesAt[8] + 12, std::uint32_t{0});
     },
     [](const CopcFile& file) {
       return std::vector<std::string>{"invalid node 1-0-1-0", "it occurs twice", atByte(file.entriesAt[8])};
     }},
    entryDamage("pointCountNegative", 0, 28, -2, 28, "invalid number of points in node 2-3-1-2"),
    entryDamage("byteSizeNegative", 0, 24, -5, 24, "invalid size of node 2-3-1-2"),
    entryDamage("byteSizeZero", 0, 24, 0, 16, "the points of node 2-3-1-2 are misplaced"),
    entryDamage("byteSizeBeyondTheFile", 0, 24, 1 << 30, 16, "the points of node 2-3-1-2 are misplaced"),
    entryDamage("offsetBeforeThePoints", 0, 16, std::uint64_t{100}, 16, "the points of node 2-3-1-2 are misplaced"),
    entryDamage("offsetBeyondTheFile", 0, 16, ~std::uint64_t{0}, 16, "the points of node 2-3-1-2 are misplaced"),
    {"fewerPointsThanInTheHeader", [](CopcFile& file) { file.bytes.set(file.entriesAt[kRoot] + 28, 299); },
     [](const CopcFile&) {
       return std::vector<std::string>{"the hierarchy does not match the point count", atByte(247),
                                       "2492 points in 9 nodes, 2493 in the header"};
     }},
    {"nodesOverlap",
     [](CopcFile& file) {
       file.bytes.set(file.entriesAt[kRoot] + 16, numberAt<std::uint64_t>(file.bytes, file.entriesAt[1] + 16) + 1);
     },
     [](const CopcFile& file) {
       return std::vector<std::string>{"the points of node 0-0-0-0 overlap those of node 1-1-0-1",
                                       atByte(file.entriesAt[kRoot] + 16)};
     }},
    {"chunkLongerThanItsNode",
     [](CopcFile& file) {
       const std::size_t place = file.entriesAt[kRoot] + 24;
       file.bytes.set(place, numberAt<std::uint32_t>(file.bytes, place) - 1);
     },
     [](const CopcFile& file) {
       return std::vector<std::string>{"node 0-0-0-0 is not a chunk of the file", atByte(file.entriesAt[kRoot]),
                                       "in the chunk table"};
     }},
    {"countsOfTwoNodesSwapped",
     [](CopcFile& file) {
       file.bytes.set(file.entriesAt[kRoot] + 28, 80);
       file.bytes.set(file.entriesAt[1] + 28, 300);
     },
     [](const CopcFile& file) {
       return std::vector<std::string>{"node 0-0-0-0 is not a chunk of the file", atByte(file.entriesAt[kRoot])};
     }},
    {"tableBeyondItsEnd", [](CopcFile& file) { file.bytes.set(file.tableAt + 4, std::uint32_t{1000}); },
     [](const CopcFile& file) {
       return std::vector<std::string>{"the chunk table is damaged", atByte(file.tableAt), "(field \"chunk "};
     }},
    {"tableTooShort", [](CopcFile& file) { file.bytes.set(file.tableAt + 4, std::uint32_t{5}); },
     [](const CopcFile& file) {
       return std::vector<std::string>{"the chunk table does not match the point count", atByte(file.tableAt)};
     }},
};

class DamagedCopc : public CopcTreeTest, public testing::WithParamInterface<Damage> {};

TEST_P(DamagedCopc, isRefusedNamingTheFileTheByteAndTheReason) {
  CopcFile damaged = _file;
  GetParam().apply(damaged);
  const std::string message = _refusalOf(damaged.bytes);
  for (const std::string& part : GetParam().messageParts(_file)) {
    EXPECT_THAT(message, HasSubstr(part));
  }
}

std::string nameOf(const testing::TestParamInfo<Damage>& info) {
  return info.param.name;
}
INSTANTIATE_TEST_SUITE_P(Each, DamagedCopc, testing::ValuesIn(kDamages), nameOf);

// A file is either refused, or its tree has all points of the header, and each node is read or refused.
void openAndReadTree(const std::string& path, unsigned& opened) {
  try {
    const auto tree = openStoredTree(path);
    if (!tree) {
      return;
    }
    expectOctree(tree->nodes());
    std::uint64_t points = 0;
    for (std::uint32_t node = 0; node < tree->nodes().size(); ++node) {
      points += tree->nodes()[node].pointCount;
      EXPECT_THAT(messageOf([&] { tree->read(node); }), testing::AnyOf("no error", StartsWith(path + ": ")));
    }
    EXPECT_EQ(points, tree->info().pointCount);
    ++opened;
  } catch (const ScanError& error) {
    EXPECT_THAT(error.what(), StartsWith(path + ": "));
  }
}

/// Reads `rounds` copies with a few bytes changed between `first` and `end`; returns how many could be opened.
unsigned openChanged(const Folder& folder, const Bytes& whole, std::size_t first, std::size_t end, unsigned rounds) {
  std::mt19937 random(20250711);
  unsigned opened = 0;
  for (unsigned round = 0; round < rounds; ++round) {
    Bytes bytes = whole;
    ReaderSupport::flipBytes(bytes, first, end, random);
    openAndReadTree(folder.write("mutant.laz", bytes), opened);
  }
  return opened;
}

TEST_F(CopcTreeTest, arbitraryBytesInTheRecordOnTheOctreeAreReadOrRefused) {
  constexpr unsigned rounds = 500;
  const unsigned opened = openChanged(_folder, _file.bytes, 375, kInfo + 160, rounds);
  EXPECT_GT(opened, 0U);
  EXPECT_LT(opened, rounds);
}

TEST_F(CopcTreeTest, arbitraryBytesInTheHierarchyAreReadOrRefused) {
  constexpr unsigned rounds = 1000;
  EXPECT_LT(openChanged(_folder, _file.bytes, _file.hierarchyAt, _file.bytes.size(), rounds), rounds);
}

TEST_F(CopcTreeTest, arbitraryBytesInTheChunkTableAreReadOrRefused) {
  constexpr unsigned rounds = 500;
  EXPECT_LT(openChanged(_folder, _file.bytes, _file.tableAt, _file.hierarchyAt, rounds), rounds);
}

TEST_F(CopcTreeTest, arbitraryBytesInTheHeaderAreReadOrRefused) {
  constexpr unsigned rounds = 500;
  EXPECT_LT(openChanged(_folder, _file.bytes, 4, 375, rounds), rounds);
}

TEST_F(CopcTreeTest, anyTruncationIsRefused) {
  for (std::size_t end = 0; end < _file.bytes.size(); end += 1 + end / 50) {
    Bytes bytes = _file.bytes;
    bytes.resize(end);
    const std::string path = _write(bytes);
    EXPECT_THAT(messageOf([&] { QuorViewer::openCopc(ScanFile(path)); }), StartsWith(path + ": ")) << end;
  }
}

TEST(RealCopcTest, everyRecordIsInOneNodeAsTheReaderReadsIt) {
  const std::string path = realScan("lone-star.copc.laz");
  if (path.empty()) {
    GTEST_SKIP() << "lone-star.copc.laz is not in the folder QUOR_SCANS";
  }
  const auto tree = openStoredTree(path);
  ASSERT_TRUE(tree);
  EXPECT_EQ(tree->nodes().size(), 15U);
  expectTreeOfReader(*tree, *ScanReader::open(path));
}

}  // namespace
