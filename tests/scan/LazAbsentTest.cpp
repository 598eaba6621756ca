// Built with the substitute reader that is used when LASzip is not installed.
#include "scan/Scan.h"
#include "tests/scan/ScanBytes.h"

#include <gtest/gtest.h>

namespace {

using QuorViewer::ScanError;
using QuorViewer::ScanReader;

TEST(LazAbsent, aCompressedScanIsRefusedNamingTheMissingLibrary) {
  const ScanBytes::Folder folder;
  ScanBytes::Bytes bytes = ScanBytes::file({2, 3}, ScanBytes::variedPoints(5, 3));
  bytes[104] |= 0x80;
  const std::string path = folder.write("scan.laz", bytes);
  try {
    ScanReader::open(path);
    FAIL() << "the scan opened";
  } catch (const ScanError& error) {
    EXPECT_EQ(error.what(), path +
                                ": the points are compressed (LAS 1.2, point format 3, compressed (LAZ)), but this "
                                "program was built without LASzip");
  }
}

TEST(LazAbsent, anUncompressedScanStillOpens) {
  const ScanBytes::Folder folder;
  const auto reader =
      ScanReader::open(folder.write("scan.las", ScanBytes::file({2, 3}, ScanBytes::variedPoints(5, 3))));
  EXPECT_EQ(reader->info().pointCount, 5U);
}

}  // namespace
