#pragma once

#include "scan/Scan.h"
#include "tests/scan/MessageOf.h"
#include "tests/scan/ScanBytes.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>
#include <random>
#include <string>

/// What the tests of all readers share.
namespace ReaderSupport {

using QuorViewer::ScanError;
using QuorViewer::ScanReader;

inline std::string refusalOf(const std::string& path) {
  return messageOf([&] { ScanReader::open(path); });
}

/// Reads all points relative to the scan's own origin.
inline QuorViewer::PointChunk readAll(ScanReader& reader) {
  return reader.read(0, static_cast<std::uint32_t>(reader.info().pointCount), reader.info().origin);
}

/// Opens and reads a scan to its last point. Whatever the bytes, this ends in points or in a ScanError.
inline void openAndRead(const std::string& path, unsigned& opened) {
  try {
    const auto reader = ScanReader::open(path);
    const QuorViewer::ScanInfo& info = reader->info();
    const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(info.pointCount, 2000));
    const QuorViewer::PointChunk chunk = reader->read(info.pointCount - count, count, info.origin);
    EXPECT_EQ(chunk.positions->size(), count);
    if (count > 0) {
      reader->coordinates(info.pointCount - 1);
    }
    ++opened;
  } catch (const ScanError& error) {
    EXPECT_THAT(error.what(), testing::StartsWith(path + ": "));
  }
}

inline void flipBytes(ScanBytes::Bytes& bytes, std::size_t first, std::size_t end, std::mt19937& random) {
  std::uniform_int_distribution<std::size_t> place(first, end - 1);
  for (auto flips = 1 + random() % 4; flips > 0; --flips) {
    bytes[place(random)] = static_cast<unsigned char>(random() % 3 == 0 ? 0xFF : random());
  }
}

struct DamagedText {
  const char* name;
  std::string content;
  std::string message;
};

inline void PrintTo(const DamagedText& damage, std::ostream* to) {
  *to << damage.name;
}

inline std::string textName(const testing::TestParamInfo<DamagedText>& info) {
  return info.param.name;
}

}  // namespace ReaderSupport
