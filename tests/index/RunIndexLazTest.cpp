#include "index/RunIndex.h"
#include "tests/scan/CopcFile.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <string>

namespace {

using testing::AllOf;
using testing::HasSubstr;

TEST(RunIndexLazTest, aScanWhoseOwnOctreeIsDamagedGetsAnIndex) {
  constexpr std::size_t kSpacingAt = QuorTests::CopcFile::kInfoAt + 32;
  const ScanBytes::Folder folder;
  ScanBytes::Bytes bytes = QuorTests::writeCopc(folder, QuorTests::treeSettings(4, 6), QuorTests::sampleTree(6)).bytes;
  std::fill_n(bytes.begin() + kSpacingAt, 8, static_cast<unsigned char>(0));
  const std::string scan = folder.write("scan.copc.laz", bytes);
  std::ostringstream out, err;
  const auto ignore = [](std::uint64_t, std::uint64_t) {};
  EXPECT_EQ(QuorViewer::runIndex({scan, "--index-dir", folder.path("index")}, out, err, ignore), 0) << err.str();
  EXPECT_THAT(out.str(),
              AllOf(HasSubstr("scan.copc.laz: the spacing of the octree is invalid"),
                    HasSubstr("; an index is built instead\n"), HasSubstr("scan.copc.laz: 2,493 points in ")));
}

}  // namespace
