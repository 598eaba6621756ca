#pragma once

#include "tests/scan/ScanBytes.h"

#include <string>
#include <vector>

namespace QuorTests {

/// Compresses points with LASzip, in chunks of `chunkPoints`. Of the flags, it writes only returns and class.
void writeLaz(const std::string& path, const ScanBytes::FileSettings& settings,
              const std::vector<ScanBytes::Point>& points, unsigned chunkPoints);

/// All bytes of a file.
ScanBytes::Bytes contentOf(const std::string& path);

/// The unsigned integer stored at `at`.
template <typename Number>
Number numberAt(const ScanBytes::Bytes& bytes, std::size_t at) {
  std::uint64_t number = 0;
  for (std::size_t byte = sizeof(Number); byte-- > 0;) {
    number = number << 8U | bytes[at + byte];
  }
  return static_cast<Number>(number);
}

}  // namespace QuorTests
