#include "scan/formats/LazCheck.h"

#include "scan/LittleEndian.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace QuorViewer {

namespace {

constexpr std::size_t kCompressionFixedBytes = 34;
constexpr std::size_t kItemBytes = 6;

enum Compressor : std::uint16_t { kPointwise = 1, kPointwiseChunked = 2, kLayeredChunked = 3 };

constexpr std::uint32_t kVaryingChunks = std::numeric_limits<std::uint32_t>::max();

// Types of compressed items.
constexpr std::uint16_t kItemExtraBytes = 0;
constexpr std::uint16_t kItemExtraBytesExtended = 14;

constexpr std::uint64_t kTablePointerBytes = 8;
constexpr std::uint64_t kTableHeaderBytes = 8;

/// The types of the items in a record of each point format, before any extra bytes; 0 means none.
constexpr std::array<std::array<std::uint16_t, 4>, kLasFormatCount> kItemsOfFormat = {{
    {6},           // point
    {6, 7},        // point, GPS time
    {6, 8},        // point, colour
    {6, 7, 8},     // all three
    {6, 7, 9},     // with a wave packet in place of colour
    {6, 7, 8, 9},  // with both
    {10},          // extended point, GPS time included
    {10, 11},      // with colour
    {10, 12},      // with colour and near infrared
    {10, 13},      // with a wave packet
    {10, 12, 13},  // with all of them
}};

class LazCheck {
 public:
  LazCheck(const ScanFile& file, const CheckedLas& las) : _file(file), _las(las) {}

  CheckedLaz run() {
    _findCompressionRecord();
    _checkCompression();
    _checkItems();
    if (_las.pointCount > std::numeric_limits<std::uint32_t>::max()) {
      throw _file.error("too many points for LASzip: " + std::to_string(_las.pointCount) + " found, " +
                        std::to_string(std::numeric_limits<std::uint32_t>::max()) + " supported");
    }
    if (_las.pointCount > 0 && _compressor != kPointwise) {
      _checkChunkTable();
    }
    const bool equalChunks = _compressor != kPointwise && _chunkPoints != kVaryingChunks;
    return {equalChunks ? _chunkPoints : std::max<std::uint64_t>(_las.pointCount, 1), _varyingChunks};
  }

 private:
  [[noreturn]] void _fail(const std::string& what, std::uint64_t byte, const std::string& field,
                          const std::string& comparison) const {
    throw _file.error(what + ", at byte " + std::to_string(byte) + " (field \"" + field + "\"): " + comparison);
  }

  std::uint64_t _pointsBegin() const { return _las.pointDataOffsetBytes; }

  // Reads all record heads, because LASzip reads all records and allocates memory for as many as the header states.
  void _findCompressionRecord() {
    std::uint64_t at = _las.header.headerLengthBytes;
    for (std::uint32_t record = 0; record < _las.header.variableRecordCount; ++record) {
      std::array<unsigned char, LasRecordHead::kBytes> bytes{};
      if (_pointsBegin() - at < bytes.size()) {
        _failRecords(record);
      }
      _file.read(at, bytes.data(), bytes.size());
      at += bytes.size();
      const LasRecordHead head = LasRecordHead::parse(bytes.data(), false);
      const std::uint64_t length = head.contentBytes;
      if (_pointsBegin() - at < length) {
        _fail("a variable length record extends into the point data", at - 34, "record length after header",
              std::to_string(length) + " bytes found, " + std::to_string(_pointsBegin() - at) + " left before byte " +
                  std::to_string(_pointsBegin()));
      }
      _keepIfCompression(head, at);
      at += length;
    }
    if (_record.empty()) {
      throw _file.error("the points are marked as compressed, " + lasHeaderPlace(&LasHeader::pointFormat) +
                        ", but there is no \"laszip encoded\" record");
    }
  }

  [[noreturn]] void _failRecords(std::uint32_t held) const {
    throw _file.error("too many variable length records, " + lasHeaderPlace(&LasHeader::variableRecordCount) + ": " +
                      std::to_string(_las.header.variableRecordCount) + " declared, " + std::to_string(held) +
                      " found before byte " + std::to_string(_pointsBegin()));
  }

  void _keepIfCompression(const LasRecordHead& head, std::uint64_t at) {
    const auto length = static_cast<std::size_t>(head.contentBytes);
    if (!head.is(kCompressionUserId, kCompressionRecordId)) {
      return;
    }
    if (!_record.empty()) {
      _fail("there are two compression records", at - LasRecordHead::kBytes, "user ID",
            "\"laszip encoded\" found twice");
    }
    if (length < kCompressionFixedBytes + kItemBytes) {
      _fail("the compression record is too short", at - 34, "record length after header",
            std::to_string(length) + " bytes found, at least " + std::to_string(kCompressionFixedBytes + kItemBytes) +
                " needed");
    }
    _recordAt = at;
    _record.resize(length);
    _file.read(at, _record.data(), length);
  }

  void _checkCompression() {
    loadLittle(_record.data(), _compressor);
    loadLittle(_record.data() + 12, _chunkPoints);
    if (_compressor < kPointwise || _compressor > kLayeredChunked) {
      _fail("unsupported compression", _recordAt, "compressor",
            std::to_string(_compressor) + " found, 1 to 3 supported");
    }
    if ((_compressor == kLayeredChunked) != _las.layout->extended()) {
      _fail("the compression does not match the point format", _recordAt, "compressor",
            std::to_string(_compressor) + " found with point format " + std::to_string(_las.header.plainFormat()));
    }
    if (_compressor != kPointwise && _chunkPoints == 0) {
      _fail("invalid chunk size", _recordAt + 12, "chunk size", "0 points found");
    }
  }

  std::uint16_t _item(std::size_t item, std::size_t field) const {
    return loadLittle<std::uint16_t>(_record.data() + kCompressionFixedBytes + item * kItemBytes + field * 2);
  }

  void _checkItems() const {
    const auto count = loadLittle<std::uint16_t>(_record.data() + 32);
    if (_record.size() < kCompressionFixedBytes + std::size_t{count} * kItemBytes) {
      _fail("the compression record is too short for its items", _recordAt + 32, "number of items",
            std::to_string(count) + " declared, " +
                std::to_string((_record.size() - kCompressionFixedBytes) / kItemBytes) + " found");
    }
    std::uint64_t bytes = 0;
    for (std::size_t item = 0; item < count; ++item) {
      bytes += _item(item, 1);
      _checkItemType(item);
    }
    if (bytes != _las.header.recordLengthBytes) {
      _fail("the compressed items do not add up to a record", _recordAt + 32, "number of items",
            std::to_string(bytes) + " bytes in all, " + std::to_string(_las.header.recordLengthBytes) + " in a record");
    }
    const auto& wanted = kItemsOfFormat[_las.header.plainFormat()];
    if (count < wanted.size() && wanted[count] != 0) {
      _fail(
          "compressed items are missing", _recordAt + 32, "number of items",
          std::to_string(count) + " found, point format " + std::to_string(_las.header.plainFormat()) + " needs more");
    }
  }

  void _checkItemType(std::size_t item) const {
    const auto& wanted = kItemsOfFormat[_las.header.plainFormat()];
    const std::uint16_t extra = _las.layout->extended() ? kItemExtraBytesExtended : kItemExtraBytes;
    const std::uint16_t expected = item < wanted.size() && wanted[item] != 0 ? wanted[item] : extra;
    if (_item(item, 0) != expected) {
      _fail("a compressed item does not match the point format", _recordAt + kCompressionFixedBytes + item * kItemBytes,
            "item type",
            "type " + std::to_string(_item(item, 0)) + " found, type " + std::to_string(expected) +
                " expected with point format " + std::to_string(_las.header.plainFormat()));
    }
  }

  // The table follows the last chunk. Its offset is stored before the first chunk or, by writers that could not seek
  // back, in the last 8 bytes of the file.
  void _checkChunkTable() {
    std::uint64_t pointer = _pointsBegin();
    _requireTablePlace(pointer, pointer + kTablePointerBytes, _file.size() - pointer >= kTablePointerBytes);
    std::uint64_t at = _load(pointer);
    if (at == std::numeric_limits<std::uint64_t>::max()) {
      pointer = _file.size() - kTablePointerBytes;
      at = _load(pointer);
    }
    const std::uint64_t least = _pointsBegin() + kTablePointerBytes;
    _requireTablePlace(pointer, at, at >= least && at <= _file.size() && _file.size() - at >= kTableHeaderBytes);
    std::array<unsigned char, kTableHeaderBytes> bytes{};
    _file.read(at, bytes.data(), bytes.size());
    const auto count = loadLittle<std::uint32_t>(bytes.data() + 4);
    _checkChunkCount(at, loadLittle<std::uint32_t>(bytes.data()), count);
    if (_chunkPoints == kVaryingChunks) {
      _readChunks({at, count, least, _las.header.recordLengthBytes});
    }
  }

  void _readChunks(const LazTablePlace& place) {
    _varyingChunks = std::make_shared<const LazChunkTable>(readLazChunkTable(_file, place));
    const std::uint64_t held = _varyingChunks->back().firstPoint;
    if (held < _las.pointCount) {
      _fail("the chunk table does not match the point count", place.offset, "chunk table",
            std::to_string(held) + " points found, " + std::to_string(_las.pointCount) + " expected");
    }
  }

  std::uint64_t _load(std::uint64_t at) {
    std::array<unsigned char, kTablePointerBytes> bytes{};
    _file.read(at, bytes.data(), bytes.size());
    return loadLittle<std::uint64_t>(bytes.data());
  }

  void _requireTablePlace(std::uint64_t pointer, std::uint64_t at, bool holds) const {
    if (!holds) {
      _fail("the file is truncated or its chunk table is misplaced", pointer, "chunk table start",
            "byte " + std::to_string(at) + " found, the points begin at byte " + std::to_string(_pointsBegin()) +
                " and the file ends at byte " + std::to_string(_file.size()));
    }
  }

  void _checkChunkCount(std::uint64_t at, std::uint32_t version, std::uint32_t count) const {
    if (version != 0) {
      _fail("the chunk table is damaged", at, "chunk table version",
            "version " + std::to_string(version) + " found, 0 supported");
    }
    const std::uint64_t least =
        _chunkPoints == kVaryingChunks ? 1 : (_las.pointCount + _chunkPoints - 1) / _chunkPoints;
    const std::uint64_t most = _chunkPoints == kVaryingChunks ? at - _pointsBegin() : least;
    if (count < least || count > most) {
      _fail("the chunk table does not match the point count", at + 4, "number of chunks",
            std::to_string(count) + " chunks found, " + std::to_string(least) + " to " + std::to_string(most) +
                " expected for " + std::to_string(_las.pointCount) + " points");
    }
  }

  const ScanFile& _file;
  const CheckedLas& _las;
  std::uint64_t _recordAt = 0;
  std::vector<unsigned char> _record;
  std::uint16_t _compressor = 0;
  std::uint32_t _chunkPoints = 0;
  std::shared_ptr<const LazChunkTable> _varyingChunks;
};

}  // namespace

PointSpan CheckedLaz::chunkOf(std::uint64_t point) const {
  if (!varyingChunks) {
    const std::uint64_t first = point - point % chunkPoints;
    return {first, first + chunkPoints};
  }
  const auto next =
      std::upper_bound(varyingChunks->begin(), varyingChunks->end(), point,
                       [](std::uint64_t wanted, const LazChunk& chunk) { return wanted < chunk.firstPoint; });
  return {std::prev(next)->firstPoint, next->firstPoint};
}

CheckedLaz checkLaz(const ScanFile& file, const CheckedLas& las) {
  return LazCheck(file, las).run();
}

}  // namespace QuorViewer
