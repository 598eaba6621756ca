#include "scan/Scan.h"
#include "support/AllocationHook.h"
#include "tests/scan/ScanBytes.h"

#include <gtest/gtest.h>

namespace {

using QuorViewer::ScanReader;

constexpr unsigned kPoints = 300000;

std::string lines() {
  std::string text;
  for (unsigned index = 0; index < kPoints; ++index) {
    text += std::to_string(index) + " 5 6\n";
  }
  return text;
}

void expectLittleMemory(const std::string& path) {
  const QuorTests::AllocationLimit limit(std::size_t{1} << 20);
  const auto reader = ScanReader::open(path);
  EXPECT_EQ(reader->info().pointCount, kPoints);
  EXPECT_EQ(reader->coordinates(kPoints - 1), osg::Vec3d(kPoints - 1, 5, 6));
}

// Three doubles for each point would be 7.2 MB.
TEST(ScanMemoryTest, theTextOfALargeScanIsNotKept) {
  const ScanBytes::Folder folder;
  expectLittleMemory(folder.write("scan.asc", lines()));
  expectLittleMemory(
      folder.write("scan.ply", "ply\nformat ascii 1.0\nelement vertex " + std::to_string(kPoints) +
                                   "\nproperty float x\nproperty float y\nproperty float z\nend_header\n" + lines()));
}

}  // namespace
