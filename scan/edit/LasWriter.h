#pragma once

#include "scan/formats/LasFormat.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace QuorViewer {

/// A scan that cannot be written. The text names the file and the reason.
class ScanWriteError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Writes an uncompressed LAS file of any size, with its records in the order appended. Keeps only counts and bounds in
/// memory.
///
///     LasWriter writer("town.las", header, variableRecords);
///     writer.append(records.data(), count);
///     writer.finish();
///
/// The file is written under a temporary name (`.part` is appended) and renamed in `finish`. Without `finish`, and
/// after any error, an existing file of the wanted name is unchanged and nothing else is left behind. One thread at a
/// time. All but the destructor throw ScanWriteError.
class LasWriter {
 public:
  /// Keeps the header's version, format, record length, scale, offset, texts and identifiers, so that records copied
  /// from another file with its header keep their meaning. `variableRecords` is everything between header and points,
  /// `header.variableRecordCount` of them. A greater `pointDataOffsetBytes` than needed leaves a gap before the points.
  /// The header's references to data after the points are cleared: see `appendBehindPoints`.
  LasWriter(std::string path, const LasHeader& header, const std::vector<unsigned char>& variableRecords);

  /// The temporary name of the file for `path`.
  static std::string partPath(const std::string& path) { return path + ".part"; }

  /// `count` records of `header.recordLengthBytes` each.
  void append(const unsigned char* records, std::size_t count);

  /// Any bytes after the points; no points may follow. The header given to `finish` must refer to them.
  void appendBehindPoints(const unsigned char* bytes, std::size_t count) { _writeAtEnd(bytes, count); }

  /// The header for the points so far: total count, counts by return, bounds.
  LasHeader header() const;

  /// Writes the header and renames the file.
  void finish() { finish(header()); }
  /// The same with a header that may state anything.
  void finish(const LasHeader& header);

 private:
  /// The temporary file. Deleted with the writer if it was opened and has not been renamed.
  class PartFile {
   public:
    explicit PartFile(std::string path) : _path(std::move(path)) {}
    ~PartFile();
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    const std::string& path() const { return _path; }
    void opened() { _present = true; }
    void renamed() { _present = false; }

   private:
    std::string _path;
    bool _present = false;
  };

  void _open();
  void _seek(std::uint64_t offset);
  void _write(const unsigned char* bytes, std::size_t count);
  void _writeAtEnd(const unsigned char* bytes, std::size_t count);
  void _count(const unsigned char* record);
  void _setCounts(LasHeader& header) const;
  [[noreturn]] void _fail(const std::string& reason) const;
  [[noreturn]] void _failBySystem() const;

  std::string _path;
  PartFile _part;
  std::ofstream _file;
  LasHeader _header;
  unsigned _returnMask = 0;
  std::uint64_t _pointCount = 0;
  std::uint64_t _endOffsetBytes = 0;
  std::array<std::uint64_t, 16> _byReturn{};  // indexed by return number
  std::array<std::int32_t, 3> _least{};
  std::array<std::int32_t, 3> _greatest{};
};

}  // namespace QuorViewer
