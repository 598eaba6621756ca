#pragma once

#include "scan/edit/ScanCrop.h"
#include "tests/scan/ScanBytes.h"

#include <algorithm>

/// Shared by the cropping tests: scans with random bytes in fields that readers ignore, and files as raw bytes.
namespace ScanCropCase {

using ScanBytes::Bytes;
using ScanBytes::FileSettings;

template <typename T>
T load(const std::vector<unsigned char>& bytes, std::size_t at) {
  std::uint64_t bits = 0;
  for (std::size_t byte = 0; byte < sizeof(T); ++byte) {
    bits |= std::uint64_t{bytes.at(at + byte)} << (8 * byte);
  }
  T value{};
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

/// The bytes from `first` to `end` (not included), by default the last.
inline std::vector<unsigned char> part(const std::vector<unsigned char>& bytes, std::size_t first,
                                       std::size_t end = std::string::npos) {
  const auto at = [&](std::size_t place) {
    return bytes.begin() + static_cast<std::ptrdiff_t>(std::min(place, bytes.size()));
  };
  return {at(first), at(end)};
}

inline std::vector<unsigned char> plain(const Bytes& bytes) {
  return bytes;
}

inline Bytes contentOf(const std::string& path) {
  Bytes bytes(std::filesystem::file_size(path));
  std::ifstream(path, std::ios::binary)
      .read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

/// Texts and identifiers of a file's source, each different from its neighbours.
inline void addIdentity(Bytes& file) {
  file.set(4, std::uint16_t{1234});                // file source
  for (std::size_t byte = 8; byte < 24; ++byte) {  // project
    file[byte] = static_cast<unsigned char>(0xA0 + byte);
  }
  const std::string system = "AIRBORNE UNIT 7";
  const std::string software = "some program 3.1";
  std::copy(system.begin(), system.end(), file.begin() + 26);
  std::copy(software.begin(), software.end(), file.begin() + 58);
  file.set(90, std::uint16_t{217});
  file.set(92, std::uint16_t{2019});
}

/// Points that differ in every field, with random wave packets and extra bytes.
inline Bytes variedScan(const FileSettings& settings, unsigned count) {
  Bytes file = ScanBytes::file(settings, ScanBytes::variedPoints(count, settings.format));
  addIdentity(file);
  std::mt19937 random(99);
  const std::size_t length = ScanBytes::kRecordLengths[settings.format] + settings.extraBytes;
  const std::size_t atRandom = settings.extraBytes + (ScanBytes::hasWavePacket(settings.format) ? 29 : 0);
  for (std::size_t end = ScanBytes::headerLength(settings.minor) + length; end <= file.size(); end += length) {
    for (std::size_t byte = end - atRandom; byte < end; ++byte) {
      file[byte] = static_cast<unsigned char>(random());
    }
  }
  return file;
}

/// Inserts bytes between the header and the points of a file whose points follow its header.
inline void insertBehindHeader(Bytes& file, const std::vector<unsigned char>& bytes) {
  const auto points = load<std::uint32_t>(file, 96);
  file.insert(file.begin() + points, bytes.begin(), bytes.end());
  file.set(96, static_cast<std::uint32_t>(points + bytes.size()));
}

/// A variable length record, or an extended one, its content counting up from `first`.
inline Bytes variableRecord(const std::string& user, std::uint16_t id, std::size_t length, bool extended = false,
                            unsigned first = 0) {
  Bytes record(2);
  record.addText(user);
  record.resize(18);
  record.add(id);
  extended ? record.add(static_cast<std::uint64_t>(length)) : record.add(static_cast<std::uint16_t>(length));
  record.resize(extended ? 60 : 54);
  for (std::size_t byte = 0; byte < length; ++byte) {
    record.add(static_cast<std::uint8_t>(first + byte * 7));
  }
  return record;
}

/// Appends extended records to the file and enters them in its LAS 1.4 header.
inline void addExtendedRecords(Bytes& file, const std::vector<Bytes>& records) {
  file.set(235, static_cast<std::uint64_t>(file.size()));
  file.set(243, static_cast<std::uint32_t>(records.size()));
  for (const Bytes& record : records) {
    file.insert(file.end(), record.begin(), record.end());
  }
}

inline void runToItsEnd(QuorViewer::ScanCrop& crop) {
  while (!crop.finished()) {
    crop.step(std::chrono::milliseconds(20));
  }
}

/// Crops a scan and returns the resulting file.
inline Bytes cropped(const std::string& source, const std::string& target, const QuorViewer::InsideTest& inside) {
  const auto reader = QuorViewer::ScanReader::open(source);
  QuorViewer::ScanCrop crop(*reader, target, inside);
  runToItsEnd(crop);
  return contentOf(target);
}

}  // namespace ScanCropCase
