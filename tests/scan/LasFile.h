#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace QuorTests {

/// A point of a test's file: integers of the file's grid, as its records hold them.
struct LasFilePoint {
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::int32_t z = 0;
  std::uint16_t intensity = 0;
  std::uint8_t classification = 0;
};

/// The grid: coordinate = integer × scale + offset on every axis.
constexpr double kLasFileScale = 0.01;

/// Writes LAS 1.2, point format 0, byte by byte, so that nothing of the reader under test has a hand in it. Where the
/// records begin later than right behind the header, there is a hole before them, which takes no space on most disks.
void writeLasFile(const std::string& path, const std::vector<LasFilePoint>& points, double offsetX, double offsetY,
                  std::uint32_t recordsOffset = 227);

/// The same with `count` points at the grid's origin, without writing them: a file with a hole, which reads as zeros.
void writeHollowLasFile(const std::string& path, std::uint32_t count);

}  // namespace QuorTests
