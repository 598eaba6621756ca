// A separate program, because it replaces operator new.
#include "scan/index/StoredTree.h"
#include "support/AllocationHook.h"
#include "tests/scan/CopcFile.h"
#include "tests/scan/LazFile.h"
#include "tests/scan/MessageOf.h"

#include <gmock/gmock.h>

namespace {

using QuorTests::CopcFile;
using QuorTests::TreeFileNode;
using ReaderSupport::messageOf;
using ScanBytes::Folder;
using testing::StartsWith;

constexpr std::size_t kMostBytes = std::size_t{1} << 25U;
constexpr std::uint32_t kManyPoints = 2000000000;
constexpr unsigned kHeldPoints = 20000;  // more than are sampled when the scan is opened

/// A COPC file of one node, for which header, hierarchy and chunk table agree on a wrong number of points.
CopcFile fileOfManyPoints(const Folder& folder) {
  const std::vector<TreeFileNode> nodes = {{{}, QuorTests::pointsInNode({}, kHeldPoints, 7, 1), 0, kManyPoints}};
  return QuorTests::writeCopc(folder, QuorTests::treeSettings(4, 7), nodes);
}

TEST(TreeMemoryTest, aWrongPointCountThatEverythingAgreesOnTakesLittleMemory) {
  const Folder folder;
  const std::string path = folder.write("many.copc.laz", fileOfManyPoints(folder).bytes);
  const QuorTests::AllocationLimit limit(kMostBytes);
  const auto tree = QuorViewer::openStoredTree(path);
  ASSERT_TRUE(tree);
  ASSERT_EQ(tree->nodes().at(0).pointCount, kManyPoints);
  EXPECT_THAT(messageOf([&] { tree->read(0); }), StartsWith(path + ": point 20"));
}

TEST(TreeMemoryTest, aWrongNumberOfChunksTakesLittleMemory) {
  const Folder folder;
  CopcFile file = fileOfManyPoints(folder);
  file.bytes.set(file.tableAt + 4, std::uint32_t{1} << 30U);
  const std::string path = folder.write("many.copc.laz", file.bytes);
  const QuorTests::AllocationLimit limit(kMostBytes);
  EXPECT_THAT(messageOf([&] { QuorViewer::openStoredTree(path); }), StartsWith(path + ": the chunk table "));
}

TEST(TreeMemoryTest, aWrongLengthOfThePagesTakesLittleMemory) {
  const Folder folder;
  CopcFile file = fileOfManyPoints(folder);
  file.bytes.set(CopcFile::kInfoAt + 48, std::uint64_t{1} << 40U);
  const std::string path = folder.write("many.copc.laz", file.bytes);
  const QuorTests::AllocationLimit limit(kMostBytes);
  EXPECT_THAT(messageOf([&] { QuorViewer::openStoredTree(path); }), StartsWith(path + ": a page of the hierarchy "));
}

}  // namespace
