#include "tests/scan/LasFile.h"

#include <cstring>
#include <filesystem>
#include <fstream>

namespace QuorTests {
namespace {

constexpr std::size_t kHeaderBytes = 227;
constexpr std::size_t kRecordBytes = 20;

template <typename Value>
void put(std::vector<char>& bytes, std::size_t at, Value value) {
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

}  // namespace

void writeLasFile(const std::string& path, const std::vector<LasFilePoint>& points, double offsetX, double offsetY,
                  std::uint32_t recordsOffset) {
  std::vector<char> head = header(static_cast<std::uint32_t>(points.size()), offsetX, offsetY);
  put(head, 96, recordsOffset);
  std::vector<char> bytes;
  for (const LasFilePoint& point : points) {
    const std::size_t at = bytes.size();
    bytes.resize(at + kRecordBytes);
    put(bytes, at, point.x);
    put(bytes, at + 4, point.y);
    put(bytes, at + 8, point.z);
    put(bytes, at + 12, point.intensity);
    bytes[at + 14] = 0x09;  // return 1 of 1
    bytes[at + 15] = static_cast<char>(point.classification);
  }
  std::ofstream file(path, std::ios::binary);
  file.write(head.data(), static_cast<std::streamsize>(head.size()));
  file.seekp(recordsOffset);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void writeHollowLasFile(const std::string& path, std::uint32_t count) {
  const std::vector<char> bytes = header(count, 0.0, 0.0);
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  std::filesystem::resize_file(path, kHeaderBytes + static_cast<std::uintmax_t>(count) * kRecordBytes);
}

}  // namespace QuorTests
