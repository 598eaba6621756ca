#include "scan/index/CopcHierarchy.h"

#include "scan/LittleEndian.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <string_view>
#include <utility>

namespace QuorViewer {

namespace {

constexpr std::string_view kUserId = "copc";
constexpr std::uint16_t kInfoId = 1;
constexpr std::uint16_t kHierarchyId = 1000;

// Of the record that describes the octree.
constexpr std::size_t kInfoBytes = 160;
constexpr std::size_t kHalfSizeOffset = 24;
constexpr std::size_t kSpacingOffset = 32;
constexpr std::size_t kRootPageOffset = 40;
constexpr std::size_t kRootPageBytesOffset = 48;

// Of an entry of the hierarchy, after four integers for the key.
constexpr std::size_t kEntryBytes = 32;
constexpr std::size_t kOffsetOffset = 16;
constexpr std::size_t kByteSizeOffset = 24;
constexpr std::size_t kPointCountOffset = 28;
constexpr std::int32_t kFurtherPage = -1;  // as the number of points

std::string text(const FileRange& range) {
  return "bytes " + std::to_string(range.offset) + " to " + std::to_string(range.offset + range.bytes);
}

bool contains(const FileRange& outer, const FileRange& inner) {
  return inner.offset >= outer.offset && inner.offset - outer.offset <= outer.bytes &&
         inner.bytes <= outer.bytes - (inner.offset - outer.offset);
}

/// An entry as stored.
struct Entry {
  NodeKey key;
  std::uint64_t offset = 0;
  std::int32_t byteSize = 0;
  std::int32_t pointCount = 0;

  explicit Entry(const unsigned char* bytes) {
    loadLittle(bytes, key.level);
    loadLittle(bytes + 4, key.x);
    loadLittle(bytes + 8, key.y);
    loadLittle(bytes + 12, key.z);
    loadLittle(bytes + kOffsetOffset, offset);
    loadLittle(bytes + kByteSizeOffset, byteSize);
    loadLittle(bytes + kPointCountOffset, pointCount);
  }
};

/// A page of the hierarchy, which something at `statedAt` refers to.
struct Page {
  FileRange range;
  std::uint64_t statedAt = 0;
  NodeKey key;  ///< of its first node
};

class HierarchyReader {
 public:
  HierarchyReader(const ScanFile& file, const CheckedLas& las) : _file(file), _las(las) {}

  CopcHierarchy run() {
    _readInfo();
    if (_las.pointCount > 0) {
      _readPages();
    }
    _checkTree();
    _checkSum();
    _numberRecords();
    return std::move(_hierarchy);
  }

 private:
  [[noreturn]] void _fail(const std::string& what, std::uint64_t byte, const std::string& field,
                          const std::string& comparison) const {
    throw _file.error(what + ", at byte " + std::to_string(byte) + " (field \"" + field + "\"): " + comparison);
  }

  void _readInfo() {
    const std::uint64_t at = _las.header.headerLengthBytes;
    const std::optional<LasRecord> record = lasRecordAt(_file, at, _las.pointDataOffsetBytes, false);
    if (!record || !record->head.is(kUserId, kInfoId)) {
      _fail("the record on the octree is missing", at, "user ID", "\"copc\" with record ID 1 expected");
    }
    if (record->head.contentBytes < kInfoBytes) {
      _fail("the record on the octree is too short", at + 20, "record length after header",
            std::to_string(record->head.contentBytes) + " bytes found, " + std::to_string(kInfoBytes) + " needed");
    }
    _infoAt = record->content().offset;
    std::array<unsigned char, kInfoBytes> info{};
    _file.read(_infoAt, info.data(), info.size());
    _readCube(info.data());
    _pagesLeft.push_back({{loadLittle<std::uint64_t>(info.data() + kRootPageOffset),
                           loadLittle<std::uint64_t>(info.data() + kRootPageBytesOffset)},
                          _infoAt + kRootPageOffset,
                          {}});
  }

  void _readCube(const unsigned char* info) {
    std::array<double, 3> centre{};
    loadLittle(info, centre);
    const auto halfSize = loadLittle<double>(info + kHalfSizeOffset);
    _hierarchy.cube.least = osg::Vec3d(centre[0] - halfSize, centre[1] - halfSize, centre[2] - halfSize);
    _hierarchy.cube.size = 2.0 * halfSize;
    if (const std::string fault = faultOf(_hierarchy.cube); !fault.empty()) {
      _fail("the cube of the octree is invalid", _infoAt, "centre and half size", fault);
    }
    loadLittle(info + kSpacingOffset, _hierarchy.rootSpacing);
    if (!std::isfinite(_hierarchy.rootSpacing) || _hierarchy.rootSpacing <= 0.0) {
      _fail("the spacing of the octree is invalid", _infoAt + kSpacingOffset, "spacing",
            std::to_string(_hierarchy.rootSpacing) + " found");
    }
  }

  void _readPages() {
    _findPages();
    while (!_pagesLeft.empty()) {
      const Page page = _pagesLeft.back();
      _pagesLeft.pop_back();
      _readPage(page);
    }
  }

  void _findPages() {
    std::uint64_t at = _las.header.extendedRecordsOffsetBytes;
    for (std::uint32_t number = 0; number < _las.header.extendedRecordCount; ++number) {
      const std::optional<LasRecord> record = lasRecordAt(_file, at, _file.size(), true);
      if (!record) {
        break;
      }
      if (record->head.is(kUserId, kHierarchyId)) {
        _allPages = record->content();
        return;
      }
      at += record->range.bytes;
    }
    throw _file.error("the hierarchy of the octree is missing, " +
                      lasHeaderPlace(&LasHeader::extendedRecordsOffsetBytes) +
                      ": no complete record \"copc\" with record ID 1000 from byte " +
                      std::to_string(_las.header.extendedRecordsOffsetBytes) + " on");
  }

  // No byte is read as part of two pages, so the pages cannot form a loop, and all of them together are no larger than
  // the file.
  void _registerPage(const Page& page) {
    if (page.range.bytes == 0 || page.range.bytes % kEntryBytes != 0 || !contains(_allPages, page.range)) {
      _fail("a page of the hierarchy is misplaced", page.statedAt, "offset and size of a page",
            text(page.range) + " found, a multiple of " + std::to_string(kEntryBytes) + " bytes within " +
                text(_allPages) + " expected");
    }
    const auto next = _pages.upper_bound(page.range.offset);
    const bool overlapsNext = next != _pages.end() && next->first < page.range.offset + page.range.bytes;
    const bool overlapsPrevious =
        next != _pages.begin() && std::prev(next)->first + std::prev(next)->second > page.range.offset;
    if (overlapsNext || overlapsPrevious) {
      _fail("a page of the hierarchy is used twice", page.statedAt, "offset and size of a page",
            text(page.range) + " found, which overlap a page that was already read");
    }
    _pages.emplace(page.range.offset, page.range.bytes);
  }

  void _readPage(const Page& page) {
    _registerPage(page);
    bool holdsFirst = false;
    std::array<unsigned char, kEntryBytes> bytes{};
    for (std::uint64_t at = page.range.offset; at < page.range.offset + page.range.bytes; at += bytes.size()) {
      _file.read(at, bytes.data(), bytes.size());
      const Entry entry(bytes.data());
      _take(entry, at);
      holdsFirst = holdsFirst || (entry.key == page.key && entry.pointCount != kFurtherPage);
    }
    if (!holdsFirst) {
      _fail("a page of the hierarchy lacks its first node", page.statedAt, "offset of a page",
            "node " + textOf(page.key) + " is not in " + text(page.range));
    }
  }

  void _take(const Entry& entry, std::uint64_t at) {
    if (entry.pointCount < kFurtherPage) {
      _fail("invalid number of points in node " + textOf(entry.key), at + kPointCountOffset, "point count",
            std::to_string(entry.pointCount) + " found");
    }
    if (entry.byteSize < 0) {
      _fail("invalid size of node " + textOf(entry.key), at + kByteSizeOffset, "byte size",
            std::to_string(entry.byteSize) + " found");
    }
    const FileRange range{entry.offset, static_cast<std::uint64_t>(entry.byteSize)};
    if (entry.pointCount == kFurtherPage) {
      _pagesLeft.push_back({range, at + kOffsetOffset, entry.key});
      return;
    }
    _checkPlace(entry, range, at);
    CopcNode node;
    node.key = entry.key;
    node.pointCount = static_cast<std::uint64_t>(entry.pointCount);
    node.points = range;
    node.entryBytes = at;
    _hierarchy.nodes.push_back(node);
  }

  void _checkPlace(const Entry& entry, const FileRange& range, std::uint64_t at) const {
    const FileRange allowed{_las.pointDataOffsetBytes, _file.size() - _las.pointDataOffsetBytes};
    if (entry.pointCount > 0 && (range.bytes == 0 || !contains(allowed, range))) {
      _fail("the points of node " + textOf(entry.key) + " are misplaced", at + kOffsetOffset, "offset and byte size",
            text(range) + " found, a part of " + text(allowed) + " expected");
    }
  }

  void _checkTree() {
    std::vector<CopcNode>& nodes = _hierarchy.nodes;
    // Of two nodes with the same key, the second one is reported.
    std::sort(nodes.begin(), nodes.end(), [](const CopcNode& one, const CopcNode& other) {
      return one.key != other.key ? one.key < other.key : one.entryBytes < other.entryBytes;
    });
    if (const std::optional<NodeFault> fault = findFault({nodes.begin(), nodes.end()})) {
      _fail("invalid node " + textOf(nodes[fault->node].key), nodes[fault->node].entryBytes, "key", fault->reason);
    }
  }

  void _checkSum() const {
    std::uint64_t sum = 0;
    for (const CopcNode& node : _hierarchy.nodes) {
      sum += node.pointCount;
    }
    if (sum != _las.pointCount) {
      throw _file.error("the hierarchy does not match the point count, " +
                        lasHeaderPlace(&LasHeader::extendedPointCount) + ": " + std::to_string(sum) + " points in " +
                        std::to_string(_hierarchy.nodes.size()) + " nodes, " + std::to_string(_las.pointCount) +
                        " in the header");
    }
  }

  void _numberRecords() {
    std::vector<CopcNode*> inFileOrder;
    for (CopcNode& node : _hierarchy.nodes) {
      if (node.pointCount > 0) {
        inFileOrder.push_back(&node);
      }
    }
    std::sort(inFileOrder.begin(), inFileOrder.end(),
              [](const CopcNode* one, const CopcNode* other) { return one->points.offset < other->points.offset; });
    const CopcNode* before = nullptr;
    for (CopcNode* node : inFileOrder) {
      if (before != nullptr) {
        _requireSeparate(*before, *node);
        node->firstRecord = before->firstRecord + before->pointCount;
      }
      before = node;
    }
  }

  void _requireSeparate(const CopcNode& before, const CopcNode& node) const {
    if (before.points.offset + before.points.bytes > node.points.offset) {
      _fail("the points of node " + textOf(node.key) + " overlap those of node " + textOf(before.key),
            node.entryBytes + kOffsetOffset, "offset", text(node.points) + " and " + text(before.points) + " found");
    }
  }

  const ScanFile& _file;
  const CheckedLas& _las;
  CopcHierarchy _hierarchy;
  std::uint64_t _infoAt = 0;
  FileRange _allPages;
  std::vector<Page> _pagesLeft;
  std::map<std::uint64_t, std::uint64_t> _pages;  // those already read: offset and length
};

}  // namespace

bool isCopc(const ScanFile& file, const CheckedLas& las) {
  const std::optional<LasRecord> first =
      lasRecordAt(file, las.header.headerLengthBytes, las.pointDataOffsetBytes, false);
  return las.header.compressed() && first && first->head.is(kUserId, kInfoId);
}

CopcHierarchy readCopcHierarchy(const ScanFile& file, const CheckedLas& las) {
  return HierarchyReader(file, las).run();
}

}  // namespace QuorViewer
