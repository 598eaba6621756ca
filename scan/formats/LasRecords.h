#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasFormat.h"

#include <optional>

namespace QuorViewer {

/// A byte range of a file.
struct FileRange {
  std::uint64_t offset = 0;
  std::uint64_t bytes = 0;
};

/// A variable length record of a file, extended or not.
struct LasRecord {
  LasRecordHead head;
  FileRange range;  ///< of the whole record, with its head

  FileRange content() const { return {range.offset + range.bytes - head.contentBytes, head.contentBytes}; }
};

/// The record at `offset`; nothing if it would extend beyond `end`, which must lie within the file. Throws ScanError if
/// the file has become shorter.
std::optional<LasRecord> lasRecordAt(const ScanFile& file, std::uint64_t offset, std::uint64_t end, bool extended);

}  // namespace QuorViewer
