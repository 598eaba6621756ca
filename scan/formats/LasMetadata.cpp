#include "scan/formats/LasMetadata.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace QuorViewer {

namespace {

constexpr std::string_view kWaveformUserId = "LASF_Spec";
constexpr std::uint16_t kWaveformRecordId = 65535;

// These records are valid only while the points keep their places: compression, and spatial indices.
constexpr std::array<std::pair<std::string_view, std::uint16_t>, 4> kArrangementRecords = {
    {{kCompressionUserId, kCompressionRecordId}, {"copc", 1}, {"copc", 1000}, {"LAStools", 30}}};

bool tellsArrangement(const LasRecordHead& head) {
  return std::any_of(kArrangementRecords.begin(), kArrangementRecords.end(),
                     [&](const auto& record) { return head.is(record.first, record.second); });
}

class MetadataReader {
 public:
  MetadataReader(const ScanFile& file, const CheckedLas& las) : _file(file), _las(las) {}

  LasMetadata run() {
    const std::vector<unsigned char> begin = _file.beginning(_las.header.headerLengthBytes);
    _metadata.header = LasHeader::parse(begin.data(), begin.size());
    _metadata.header.pointFormat = _las.layout->format;
    _readVariableRecords();
    _findExtendedRecords();
    _findWaveforms();
    if (!_metadata.extendedRecords.empty()) {
      _metadata.file = _file;
    }
    return std::move(_metadata);
  }

 private:
  // Variable length records that run into the points do not invalidate the scan: these bytes are kept as they are. So
  // are the bytes after the last record, unless the gap is larger than any producer would fill.
  void _readVariableRecords() {
    constexpr std::uint64_t kMostFollowingBytes = std::uint64_t{1} << 24;
    const std::uint64_t begin = _las.header.headerLengthBytes;
    const std::uint64_t end = _las.pointDataOffsetBytes;
    std::uint64_t at = begin;
    for (std::uint32_t record = 0; record < _las.header.variableRecordCount; ++record) {
      const std::optional<std::uint64_t> length = _takeVariableRecord(at, end);
      if (!length) {
        break;
      }
      at += *length;
    }
    if (end - at <= kMostFollowingBytes) {
      _appendToVariableRecords(at, end - at);
    }
    _metadata.header.pointDataOffsetBytes = static_cast<std::uint32_t>(begin + _metadata.variableRecords.size());
  }

  /// The length of the record at `at`; nothing if it would extend beyond `end`.
  std::optional<std::uint64_t> _takeVariableRecord(std::uint64_t at, std::uint64_t end) {
    const std::optional<LasRecord> record = lasRecordAt(_file, at, end, false);
    if (!record) {
      return std::nullopt;
    }
    if (tellsArrangement(record->head)) {
      --_metadata.header.variableRecordCount;
    } else {
      _appendToVariableRecords(at, record->range.bytes);
    }
    return record->range.bytes;
  }

  void _appendToVariableRecords(std::uint64_t at, std::uint64_t count) {
    std::vector<unsigned char>& bytes = _metadata.variableRecords;
    const std::size_t before = bytes.size();
    bytes.resize(before + static_cast<std::size_t>(count));
    _file.read(at, bytes.data() + before, static_cast<std::size_t>(count));
  }

  void _findExtendedRecords() {
    std::uint64_t at = _las.header.extendedRecordsOffsetBytes;
    for (std::uint32_t record = 0; record < _las.header.extendedRecordCount; ++record) {
      const std::optional<LasRecord> found = _extendedRecordAt(at);
      if (!found) {
        break;
      }
      if (!tellsArrangement(found->head)) {
        _metadata.extendedRecords.push_back(found->range);
      }
      at += found->range.bytes;
    }
    _metadata.header.extendedRecordCount = static_cast<std::uint32_t>(_metadata.extendedRecords.size());
  }

  // The waveforms may be one of the extended records or, as always in LAS 1.3, a record outside of these.
  void _findWaveforms() {
    const std::uint64_t offset = _las.header.waveformOffsetBytes;
    if (offset == 0) {
      return;
    }
    const std::optional<LasRecord> found = _extendedRecordAt(offset);
    if (!found || !found->head.is(kWaveformUserId, kWaveformRecordId)) {
      return;
    }
    std::vector<FileRange>& records = _metadata.extendedRecords;
    const auto same =
        std::find_if(records.begin(), records.end(), [&](const FileRange& range) { return range.offset == offset; });
    _metadata.waveforms = static_cast<std::size_t>(same - records.begin());
    if (same == records.end()) {
      records.push_back(found->range);
    }
  }

  std::optional<LasRecord> _extendedRecordAt(std::uint64_t offset) const {
    return lasRecordAt(_file, offset, _file.size(), true);
  }

  const ScanFile& _file;
  const CheckedLas& _las;
  LasMetadata _metadata;
};

}  // namespace

void LasMetadata::placeExtendedRecords(std::uint64_t offset, LasHeader& to) const {
  to.extendedRecordCount = header.extendedRecordCount;
  to.extendedRecordsOffsetBytes = header.extendedRecordCount > 0 ? offset : 0;
  to.waveformOffsetBytes = 0;
  for (std::size_t place = 0; place < extendedRecords.size(); ++place) {
    if (waveforms == place) {
      to.waveformOffsetBytes = offset;
    }
    offset += extendedRecords[place].bytes;
  }
}

LasMetadata readLasMetadata(const ScanFile& file, const CheckedLas& las) {
  return MetadataReader(file, las).run();
}

}  // namespace QuorViewer
