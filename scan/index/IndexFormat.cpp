#include "scan/index/IndexFormat.h"

#include "scan/LittleEndian.h"

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string_view>

namespace QuorViewer {
namespace {

constexpr std::string_view kMagic = "QUORIDX\n";
constexpr std::uint32_t kVersion = 1;

// Offsets in the header.
constexpr std::size_t kVersionAt = 8;
constexpr std::size_t kScanAt = 16;
constexpr std::size_t kGridAt = 40;
constexpr std::size_t kBoundsAt = 96;
constexpr std::size_t kPointsAt = 144;
constexpr std::size_t kDirectoryAt = 152;
constexpr std::size_t kClassesAt = 176;
constexpr std::size_t kFlagsAt = 208;
constexpr std::size_t kSampleAt = 212;
constexpr std::size_t kChecksumAt = IndexContents::kHeaderBytes - 4;

constexpr std::uint32_t kIntensityFlag = 1;
constexpr std::uint32_t kColourFlag = 2;

void store(const osg::Vec3d& v, unsigned char* to) {
  storeLittle(std::array<double, 3>{v.x(), v.y(), v.z()}, to);
}

osg::Vec3d loadVector(const unsigned char* from) {
  return {loadLittle<double>(from), loadLittle<double>(from + 8), loadLittle<double>(from + 16)};
}

void storeClasses(const std::bitset<256>& classes, unsigned char* to) {
  for (std::size_t code = 0; code < classes.size(); ++code) {
    to[code / 8] = static_cast<unsigned char>(to[code / 8] | (classes[code] ? 1U << code % 8 : 0U));
  }
}

std::bitset<256> loadClasses(const unsigned char* from) {
  std::bitset<256> classes;
  for (std::size_t code = 0; code < classes.size(); ++code) {
    classes[code] = (from[code / 8] >> code % 8 & 1U) != 0;
  }
  return classes;
}

bool isPlausible(const IndexGrid& grid) {
  const osg::Vec3d& step = grid.step();
  const double least = std::min({step.x(), step.y(), step.z()});
  return isUsable(grid.cube().least) && grid.cube().size > 0.0 && grid.cube().size <= kFarthestCoordinate &&
         least > 0.0 && isUsable(step);
}

std::string byteText(std::uint64_t byte) {
  return " at byte " + std::to_string(byte);
}

bool isInLevel(const NodeKey& key) {
  const std::uint64_t cells = std::uint64_t{1} << std::min(key.level, 32U);
  return key.level <= IndexGrid::kDeepestLevel && key.x < cells && key.y < cells && key.z < cells;
}

/// All but the key.
IndexEntry loadPlace(const unsigned char* from) {
  IndexEntry entry;
  entry.offsetBytes = loadLittle<std::uint64_t>(from);
  entry.bytes = loadLittle<std::uint32_t>(from + 8);
  entry.points = loadLittle<std::uint32_t>(from + 12);
  entry.checksum = loadLittle<std::uint32_t>(from + 16);
  return entry;
}

void storePlace(const IndexEntry& entry, unsigned char* to) {
  storeLittle(entry.offsetBytes, to);
  storeLittle(std::array<std::uint32_t, 3>{entry.bytes, entry.points, entry.checksum}, to + 8);
}

IndexEntry loadEntry(const unsigned char* from) {
  IndexEntry entry = loadPlace(from + 16);
  entry.key = {loadLittle<std::uint32_t>(from), loadLittle<std::uint32_t>(from + 4),
               loadLittle<std::uint32_t>(from + 8), loadLittle<std::uint32_t>(from + 12)};
  return entry;
}

void store(const IndexEntry& entry, unsigned char* to) {
  storeLittle(std::array<std::uint32_t, 4>{entry.key.level, entry.key.x, entry.key.y, entry.key.z}, to);
  storePlace(entry, to + 16);
}

/// Whether the points of an entry lie between the header and the directory.
bool isStored(const IndexEntry& entry, std::uint64_t directoryOffset) {
  return entry.offsetBytes >= IndexContents::kHeaderBytes && entry.offsetBytes <= directoryOffset &&
         entry.bytes <= directoryOffset - entry.offsetBytes && entry.points <= entry.bytes;
}

}  // namespace

std::uint32_t checksumOf(const unsigned char* bytes, std::size_t count) {
  return static_cast<std::uint32_t>(crc32_z(0, bytes, count));
}

void IndexSummary::join(const IndexSummary& other) {
  points += other.points;
  bounds.expandBy(other.bounds);
  classes |= other.classes;
  anyIntensity = anyIntensity || other.anyIntensity;
  anyColour = anyColour || other.anyColour;
}

std::vector<unsigned char> IndexContents::header(std::uint64_t directoryOffset,
                                                 const std::vector<unsigned char>& directory) const {
  std::vector<unsigned char> bytes(kHeaderBytes);
  unsigned char* to = bytes.data();
  std::copy(kMagic.begin(), kMagic.end(), to);
  storeLittle(kVersion, to + kVersionAt);
  storeLittle(scan.bytes, to + kScanAt);
  storeLittle(scan.changed, to + kScanAt + 8);
  storeLittle(scan.records, to + kScanAt + 16);
  store(grid.cube().least, to + kGridAt);
  storeLittle(grid.cube().size, to + kGridAt + 24);
  store(grid.step(), to + kGridAt + 32);
  store(summary.bounds._min, to + kBoundsAt);
  store(summary.bounds._max, to + kBoundsAt + 24);
  storeLittle(summary.points, to + kPointsAt);
  storeLittle(directoryOffset, to + kDirectoryAt);
  storeLittle(std::uint64_t{directory.size()}, to + kDirectoryAt + 8);
  storeLittle(static_cast<std::uint32_t>(entries.size()), to + kDirectoryAt + 16);
  storeLittle(checksumOf(directory.data(), directory.size()), to + kDirectoryAt + 20);
  storeClasses(summary.classes, to + kClassesAt);
  storeLittle((summary.anyIntensity ? kIntensityFlag : 0) | (summary.anyColour ? kColourFlag : 0), to + kFlagsAt);
  storePlace(sample, to + kSampleAt);
  storeLittle(checksumOf(to, kChecksumAt), to + kChecksumAt);
  return bytes;
}

std::vector<unsigned char> IndexContents::directory() const {
  std::vector<unsigned char> bytes(entries.size() * IndexEntry::kBytes);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    store(entries[i], bytes.data() + i * IndexEntry::kBytes);
  }
  bytes.insert(bytes.end(), scan.path.begin(), scan.path.end());
  return bytes;
}

std::string parseIndexHeader(const unsigned char* bytes, IndexContents& contents, IndexDirectoryPlace& directory) {
  if (!std::equal(kMagic.begin(), kMagic.end(), bytes)) {
    return "its first 8 bytes are not those of an index";
  }
  const auto version = loadLittle<std::uint32_t>(bytes + kVersionAt);
  if (version != kVersion) {
    return "it has version " + std::to_string(version) + byteText(kVersionAt) + ", not " + std::to_string(kVersion);
  }
  if (loadLittle<std::uint32_t>(bytes + kChecksumAt) != checksumOf(bytes, kChecksumAt)) {
    return "the header does not match its checksum" + byteText(kChecksumAt);
  }
  contents.scan.bytes = loadLittle<std::uint64_t>(bytes + kScanAt);
  contents.scan.changed = loadLittle<std::int64_t>(bytes + kScanAt + 8);
  contents.scan.records = loadLittle<std::uint64_t>(bytes + kScanAt + 16);
  contents.grid = IndexGrid({loadVector(bytes + kGridAt), loadLittle<double>(bytes + kGridAt + 24)},
                            loadVector(bytes + kGridAt + 32));
  contents.summary.bounds = {loadVector(bytes + kBoundsAt), loadVector(bytes + kBoundsAt + 24)};
  contents.summary.points = loadLittle<std::uint64_t>(bytes + kPointsAt);
  contents.summary.classes = loadClasses(bytes + kClassesAt);
  const auto flags = loadLittle<std::uint32_t>(bytes + kFlagsAt);
  contents.summary.anyIntensity = (flags & kIntensityFlag) != 0;
  contents.summary.anyColour = (flags & kColourFlag) != 0;
  contents.sample = loadPlace(bytes + kSampleAt);
  directory.offsetBytes = loadLittle<std::uint64_t>(bytes + kDirectoryAt);
  directory.bytes = loadLittle<std::uint64_t>(bytes + kDirectoryAt + 8);
  directory.entries = loadLittle<std::uint32_t>(bytes + kDirectoryAt + 16);
  directory.checksum = loadLittle<std::uint32_t>(bytes + kDirectoryAt + 20);
  if (!isStored(contents.sample, directory.offsetBytes)) {
    return "the sample is not in the file" + byteText(kSampleAt);
  }
  return isPlausible(contents.grid) ? std::string() : "its cube is not plausible" + byteText(kGridAt);
}

std::string parseIndexDirectory(const std::vector<unsigned char>& bytes, const IndexDirectoryPlace& place,
                                IndexContents& contents) {
  const std::size_t ofEntries = std::size_t{place.entries} * IndexEntry::kBytes;
  if (ofEntries > bytes.size() || checksumOf(bytes.data(), bytes.size()) != place.checksum) {
    return "the directory" + byteText(place.offsetBytes) + " does not match its checksum";
  }
  contents.scan.path.assign(bytes.begin() + static_cast<std::ptrdiff_t>(ofEntries), bytes.end());
  std::set<NodeKey> keys;
  std::uint64_t points = 0;
  for (std::size_t at = 0; at < ofEntries; at += IndexEntry::kBytes) {
    const IndexEntry entry = loadEntry(bytes.data() + at);
    const bool hasParent = entry.key.level == 0 || keys.count(entry.key.parent()) > 0;
    if (!isInLevel(entry.key) || !hasParent || !isStored(entry, place.offsetBytes) || !keys.insert(entry.key).second) {
      return "the node" + byteText(place.offsetBytes + at) + " is not part of the tree";
    }
    points += entry.points;
    contents.entries.push_back(entry);
  }
  return points == contents.summary.points ? std::string() : "its nodes do not have the stated number of points";
}

}  // namespace QuorViewer
