#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace QuorBenchmarks {

// The functions return the path of a scan, which is created on the first call and removed at the end of the process.
// They throw std::exception.

///@{
/// The scan of a simulated town: LAS 1.4, point format 7; the same compressed; and as binary PLY.
std::string lasScan(std::uint64_t points);
std::string lazScan(std::uint64_t points);
std::string plyScan(std::uint64_t points);
///@}

#if defined(QUOR_PEER_GTEST_GTEST)
/// COPC with random points, with the help of code of the tests.
std::string copcScan(std::uint64_t points);
#endif

/// A record of the PLY files: x, y, z in single precision, then red, green, blue in a byte each.
constexpr std::size_t kPlyRecordBytes = 15;

struct PlyLayout {
  std::size_t headerBytes = 0;
  std::size_t points = 0;
};

/// Of a file of `plyScan`.
PlyLayout plyLayout(const std::string& path);

}  // namespace QuorBenchmarks
