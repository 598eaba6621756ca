#include "scan/formats/LasRecords.h"

#include <array>

namespace QuorViewer {

std::optional<LasRecord> lasRecordAt(const ScanFile& file, std::uint64_t offset, std::uint64_t end, bool extended) {
  std::array<unsigned char, LasRecordHead::kExtendedBytes> bytes{};
  const std::size_t headBytes = extended ? LasRecordHead::kExtendedBytes : LasRecordHead::kBytes;
  if (offset > end || end - offset < headBytes) {
    return std::nullopt;
  }
  file.read(offset, bytes.data(), headBytes);
  const LasRecordHead head = LasRecordHead::parse(bytes.data(), extended);
  if (head.contentBytes > end - offset - headBytes) {
    return std::nullopt;
  }
  return LasRecord{head, {offset, headBytes + head.contentBytes}};
}

}  // namespace QuorViewer
