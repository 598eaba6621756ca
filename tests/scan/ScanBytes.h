#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <system_error>
#include <vector>

/// Scans written byte by byte, by the published layout and independently of the code that reads them.
namespace ScanBytes {

/// More memory or space on the disk than these scans need, in bytes.
constexpr std::uint64_t kPlenty = std::uint64_t{1} << 30U;

/// Bytes written one value after the other, or changed in place; little-endian unless stated otherwise.
class Bytes : public std::vector<unsigned char> {
 public:
  using std::vector<unsigned char>::vector;

  template <typename T>
  void set(std::size_t at, T value) {
    std::uint64_t bits = 0;
    static_assert(sizeof(T) <= sizeof bits);
    if constexpr (std::is_floating_point_v<T>) {
      std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t> same = 0;
      std::memcpy(&same, &value, sizeof value);
      bits = same;
    } else {
      bits = static_cast<std::uint64_t>(value);
    }
    for (std::size_t byte = 0; byte < sizeof(T); ++byte) {
      (*this)[at + byte] = static_cast<unsigned char>(bits >> (8 * byte) & 0xFFU);
    }
  }

  template <typename T>
  void add(T value) {
    resize(size() + sizeof(T));
    set(size() - sizeof(T), value);
  }

  void addText(const std::string& text) { insert(end(), text.begin(), text.end()); }
};

/// A new folder, by default named after the running test, and removed with the object; its number is random, since
/// tests of two builds may run in parallel.
class Folder {
 public:
  Folder() : Folder(_nameOfTest()) {}
  explicit Folder(const std::string& name)
      : _path(std::filesystem::temp_directory_path() / (name + "-" + std::to_string(std::random_device()()))) {
    std::filesystem::remove_all(_path);
    std::filesystem::create_directories(_path);
  }
  // Some systems do not delete a file that is read-only or open. The file manager keeps its files open until the
  // process ends, so these stay in the temporary folder.
  ~Folder() {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(_path, error)) {
      std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_all, error);
    }
    std::filesystem::remove_all(_path, error);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string path(const std::string& name) const { return (_path / name).string(); }

  /// Creates a new file each time: when an old one is truncated instead, some file systems wait for the disk.
  template <typename Container>
  std::string write(const std::string& name, const Container& bytes) const {
    std::filesystem::remove(path(name));
    std::ofstream file(path(name), std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return path(name);
  }

 private:
  static std::string _nameOfTest() {
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string("quor-scan-") + test->test_suite_name() + "-" + test->name();
    for (char& c : name) {
      c = c == '/' ? '-' : c;
    }
    return name;
  }

  std::filesystem::path _path;
};

/// A point with all fields of all formats.
struct Point {
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::int32_t z = 0;
  unsigned intensity = 0;
  unsigned returnNumber = 0;
  unsigned returnCount = 0;
  unsigned classification = 0;
  unsigned classFlags = 0;  // synthetic 1, key point 2, withheld 4, overlap 8
  unsigned channel = 0;
  bool direction = false;
  bool edge = false;
  int scanAngle = 0;
  unsigned userData = 0;
  unsigned source = 0;
  double gpsTime = 0;
  std::array<unsigned, 3> colour{};
  unsigned nearInfrared = 0;
};

inline bool isExtended(unsigned format) {
  return format >= 6;
}
inline bool hasGpsTime(unsigned format) {
  return format != 0 && format != 2;
}
inline bool hasColour(unsigned format) {
  return format == 2 || format == 3 || format == 5 || format == 7 || format == 8 || format == 10;
}
inline bool hasNearInfrared(unsigned format) {
  return format == 8 || format == 10;
}
inline bool hasWavePacket(unsigned format) {
  return format == 4 || format == 5 || format >= 9;
}

inline constexpr std::array<unsigned, 11> kRecordLengths = {20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};

inline unsigned char wavePacketByte(unsigned place) {
  return static_cast<unsigned char>(0x40U + 3 * place);
}

inline void addCore(Bytes& to, const Point& point) {
  to.add(point.x);
  to.add(point.y);
  to.add(point.z);
  to.add(static_cast<std::uint16_t>(point.intensity));
}

inline void addOldFlags(Bytes& to, const Point& point) {
  to.add(static_cast<std::uint8_t>(point.returnNumber | point.returnCount << 3U | (point.direction ? 64U : 0U) |
                                   (point.edge ? 128U : 0U)));
  to.add(static_cast<std::uint8_t>(point.classification | point.classFlags << 5U));
  to.add(static_cast<std::int8_t>(point.scanAngle));
  to.add(static_cast<std::uint8_t>(point.userData));
  to.add(static_cast<std::uint16_t>(point.source));
}

inline void addExtendedFlags(Bytes& to, const Point& point) {
  to.add(static_cast<std::uint8_t>(point.returnNumber | point.returnCount << 4U));
  to.add(static_cast<std::uint8_t>(point.classFlags | point.channel << 4U | (point.direction ? 64U : 0U) |
                                   (point.edge ? 128U : 0U)));
  to.add(static_cast<std::uint8_t>(point.classification));
  to.add(static_cast<std::uint8_t>(point.userData));
  to.add(static_cast<std::int16_t>(point.scanAngle));
  to.add(static_cast<std::uint16_t>(point.source));
}

/// Adds a record, its fields in the published order.
inline void addRecord(Bytes& to, unsigned format, const Point& point, unsigned extraBytes = 0) {
  addCore(to, point);
  isExtended(format) ? addExtendedFlags(to, point) : addOldFlags(to, point);
  if (hasGpsTime(format)) {
    to.add(point.gpsTime);
  }
  for (std::size_t channel = 0; hasColour(format) && channel < 3; ++channel) {
    to.add(static_cast<std::uint16_t>(point.colour[channel]));
  }
  if (hasNearInfrared(format)) {
    to.add(static_cast<std::uint16_t>(point.nearInfrared));
  }
  for (unsigned place = 0; hasWavePacket(format) && place < 29; ++place) {
    to.add(wavePacketByte(place));
  }
  for (unsigned extra = 0; extra < extraBytes; ++extra) {
    to.add(static_cast<std::uint8_t>(0xE0U + extra));
  }
}

/// Settings of a test file other than its points.
struct FileSettings {
  unsigned minor = 4;
  unsigned format = 0;
  unsigned extraBytes = 0;
  std::array<double, 3> scale = {0.01, 0.01, 0.001};
  std::array<double, 3> offset = {1000, 2000, 30};
};

inline unsigned headerLength(unsigned minor) {
  return minor == 4 ? 375 : minor == 3 ? 235 : 227;
}

/// A header for the settings. Its bounding box is left at zero, which is wrong and which readers have to tolerate.
inline Bytes header(const FileSettings& settings, std::uint64_t count) {
  const unsigned length = headerLength(settings.minor);
  Bytes bytes(length);
  std::memcpy(bytes.data(), "LASF", 4);
  bytes[24] = 1;
  bytes[25] = static_cast<unsigned char>(settings.minor);
  bytes.set(94, static_cast<std::uint16_t>(length));
  bytes.set(96, static_cast<std::uint32_t>(length));
  bytes[104] = static_cast<unsigned char>(settings.format);
  bytes.set(105, static_cast<std::uint16_t>(kRecordLengths[settings.format] + settings.extraBytes));
  if (!isExtended(settings.format)) {
    bytes.set(107, static_cast<std::uint32_t>(count));
  }
  for (std::size_t axis = 0; axis < 3; ++axis) {
    bytes.set(131 + 8 * axis, settings.scale[axis]);
    bytes.set(155 + 8 * axis, settings.offset[axis]);
  }
  if (settings.minor == 4) {
    bytes.set(247, count);
  }
  return bytes;
}

inline Bytes file(const FileSettings& settings, const std::vector<Point>& points) {
  Bytes bytes = header(settings, points.size());
  for (const Point& point : points) {
    addRecord(bytes, settings.format, point, settings.extraBytes);
  }
  return bytes;
}

/// A point that differs from its neighbours in every field, each within the range of the format.
inline Point variedPoint(unsigned index, unsigned format) {
  const bool extended = isExtended(format);
  Point point;
  point.x = static_cast<std::int32_t>(index) * 37 - 5000;
  point.y = 9000 - static_cast<std::int32_t>(index) * 11;
  point.z = static_cast<std::int32_t>(index % 17) * 1001 - 8000;
  point.intensity = (index * 257 + 3) % 65536;
  point.returnCount = 1 + index % (extended ? 15 : 7);
  point.returnNumber = 1 + index % point.returnCount;
  point.classification = (index * 7 + 1) % (extended ? 256 : 32);
  point.classFlags = index % (extended ? 16 : 8);
  point.channel = extended ? index % 4 : 0;
  point.direction = index % 2 == 1;
  point.edge = index % 3 == 1;
  point.scanAngle = extended ? static_cast<int>(index % 60000) - 30000 : static_cast<int>(index % 181) - 90;
  point.userData = (index * 5) % 256;
  point.source = (index * 101) % 65536;
  point.gpsTime = 1.5e8 + index * 0.125;
  point.colour = {(index * 701) % 65536, (index * 911 + 300) % 65536, (index * 13 + 40000) % 65536};
  point.nearInfrared = (index * 37 + 9) % 65536;
  return point;
}

inline std::vector<Point> variedPoints(unsigned count, unsigned format) {
  std::vector<Point> points;
  for (unsigned index = 0; index < count; ++index) {
    points.push_back(variedPoint(index, format));
  }
  return points;
}

}  // namespace ScanBytes
