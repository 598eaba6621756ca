#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace QuorTests {

/// A point of a test file: integers of the file's grid, as its records store them.
struct LasFilePoint {
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::int32_t z = 0;
  std::uint16_t intensity = 0;
  std::uint8_t classification = 0;
};

/// The grid: coordinate = integer × scale + offset on every axis.
constexpr double kLasFileScale = 0.01;

/// Writes LAS 1.2, point format 0, byte by byte, without any code of the reader under test. A gap between the header
/// and the records is a hole in the file, which takes no space on most disks.
void writeLasFile(const std::string& path, const std::vector<LasFilePoint>& points, double offsetX, double offsetY,
                  std::uint32_t recordsOffset = 227);
/// The same for points that need not be in memory at the same time.
void writeLasFile(const std::string& path, std::uint32_t count,
                  const std::function<LasFilePoint(std::uint32_t)>& pointAt, double offsetX, double offsetY,
                  std::uint32_t recordsOffset = 227);

/// The same with `count` points at the grid's origin, without writing them: a sparse file, which reads as zeros.
void writeHollowLasFile(const std::string& path, std::uint32_t count);

}  // namespace QuorTests
