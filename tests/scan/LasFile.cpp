#include "tests/scan/LasFile.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace QuorTests {
namespace {

constexpr std::size_t kHeaderBytes = 227;
constexpr std::size_t kRecordBytes = 20;

template <typename Bytes, typename Value>
void put(Bytes& bytes, std::size_t at, Value value) {
  std::memcpy(&bytes[at], &value, sizeof value);
}

std::vector<char> header(std::uint32_t count, double offsetX, double offsetY) {
  std::vector<char> bytes(kHeaderBytes);
  std::memcpy(bytes.data(), "LASF", 4);
  bytes[24] = 1;
  bytes[25] = 2;
  put(bytes, 94, static_cast<std::uint16_t>(kHeaderBytes));
  put(bytes, 96, static_cast<std::uint32_t>(kHeaderBytes));
  put(bytes, 105, static_cast<std::uint16_t>(kRecordBytes));
  put(bytes, 107, count);
  put(bytes, 111, count);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    put(bytes, 131 + axis * 8, kLasFileScale);
  }
  put(bytes, 155, offsetX);
  put(bytes, 163, offsetY);
  return bytes;
}

std::array<char, kRecordBytes> record(const LasFilePoint& point) {
  std::array<char, kRecordBytes> bytes{};
  put(bytes, 0, point.x);
  put(bytes, 4, point.y);
  put(bytes, 8, point.z);
  put(bytes, 12, point.intensity);
  bytes[14] = 0x09;  // return 1 of 1
  bytes[15] = static_cast<char>(point.classification);
  return bytes;
}

}  // namespace

void writeLasFile(const std::string& path, const std::vector<LasFilePoint>& points, double offsetX, double offsetY,
                  std::uint32_t recordsOffset) {
  writeLasFile(
      path, static_cast<std::uint32_t>(points.size()), [&points](std::uint32_t number) { return points[number]; },
      offsetX, offsetY, recordsOffset);
}

void writeLasFile(const std::string& path, std::uint32_t count,
                  const std::function<LasFilePoint(std::uint32_t)>& pointAt, double offsetX, double offsetY,
                  std::uint32_t recordsOffset) {
  std::vector<char> head = header(count, offsetX, offsetY);
  put(head, 96, recordsOffset);
  std::ofstream file(path, std::ios::binary);
  file.write(head.data(), static_cast<std::streamsize>(head.size()));
  file.seekp(recordsOffset);
  for (std::uint32_t number = 0; number < count; ++number) {
    const std::array<char, kRecordBytes> bytes = record(pointAt(number));
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
}

void writeHollowLasFile(const std::string& path, std::uint32_t count) {
  const std::vector<char> bytes = header(count, 0.0, 0.0);
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  std::filesystem::resize_file(path, kHeaderBytes + static_cast<std::uintmax_t>(count) * kRecordBytes);
}

}  // namespace QuorTests
