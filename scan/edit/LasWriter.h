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

/// Writes an uncompressed LAS file of any size, records in the order in which they come, and keeps nothing of them but
/// counts and bounds.
///
///     LasWriter writer("town.las", header, variableRecords);
///     writer.append(records.data(), count);
///     writer.finish();
///
/// The file grows under another name beside the wanted one (`.part` is appended) and takes its place in `finish`.
/// Without `finish`, and after any error, what was under the wanted name is still there and nothing else is left.
/// One thread at a time. All but the destructor throw ScanWriteError.
class LasWriter {
 public:
  /// Keeps the header's version, format, record length, scale, offset, texts and identifiers, so that records copied
  /// from another file with its header keep their meaning. `variableRecords` is what stands between header and points,
  /// `header.variableRecordCount` of them. A greater `pointDataOffsetBytes` than needed leaves a hole before the
  /// points. The header's references to what another file holds behind its points are cleared: see
  /// `appendBehindPoints`.
  LasWriter(std::string path, const LasHeader& header, const std::vector<unsigned char>& variableRecords);

  /// The name under which the file that gets a path grows.
  static std::string partPath(const std::string& path) { return path + ".part"; }

  /// `count` records of `header.recordLengthBytes` each.
  void append(const unsigned char* records, std::size_t count);

  /// Any bytes behind the points; no points may follow. The header given to `finish` must tell of them.
  void appendBehindPoints(const unsigned char* bytes, std::size_t count) { _writeAtEnd(bytes, count); }

  /// The header as it is right for the points so far: counts in all and by return, bounds.
  LasHeader header() const;

  /// Writes the header and puts the file in its place.
  void finish() { finish(header()); }
  /// Same with a header that may say anything.
  void finish(const LasHeader& header);

 private:
  /// The growing file, taken away with the writer once it has been opened, unless it has been given its final name.
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
  std::array<std::uint64_t, 16> _byReturn{};  // at the return's number
  std::array<std::int32_t, 3> _least{};
  std::array<std::int32_t, 3> _greatest{};
};

}  // namespace QuorViewer
