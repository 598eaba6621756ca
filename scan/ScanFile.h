#pragma once

#include "scan/Scan.h"
#include "scan/platform/SharedFile.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace QuorViewer {

/// A scan's file, open for random access, also beyond 4 GiB. Copies share the open file; any number of threads may
/// read.
class ScanFile {
 public:
  /// Throws ScanError if the file does not exist or is not a regular file (a folder, a pipe); ScanReadError if it
  /// cannot be opened.
  explicit ScanFile(std::string path);

  const std::string& path() const { return _path; }
  std::uint64_t size() const { return _size; }
  /// The current size of the opened file, even if its name now refers to another file.
  std::uint64_t sizeNow() const { return _file->size(); }

  /// Reads exactly `count` bytes from `offset` on. Throws ScanError if the file has become shorter, ScanReadError if
  /// the system cannot read it.
  void read(std::uint64_t offset, unsigned char* to, std::size_t count) const;

  /// Reads up to `most` bytes from `offset` on, fewer only if the file ends there. Returns their number. Throws
  /// ScanReadError.
  std::size_t readAvailable(std::uint64_t offset, unsigned char* to, std::size_t most) const;

  /// The first `most` bytes, or fewer if the file is shorter.
  std::vector<unsigned char> beginning(std::size_t most) const;

  /// An error that names this file.
  ScanError error(const std::string& what) const { return ScanError(_path + ": " + what); }
  /// The error of a file that has become shorter.
  ScanError cutOff(std::uint64_t byte) const;

 private:
  std::string _path;
  std::shared_ptr<const SharedFile> _file;
  std::uint64_t _size = 0;
};

/// Reads a file in sequence through a small buffer and tracks its position.
class SequentialBytes {
 public:
  explicit SequentialBytes(const ScanFile& file) : _file(file) {}

  const ScanFile& file() const { return _file; }
  /// Offset in the file of the next byte.
  std::uint64_t position() const { return _position; }
  std::uint64_t left() const { return _file.size() - _position; }
  /// Number of lines taken, and the offset of the last of them.
  std::uint64_t line() const { return _line; }
  std::uint64_t lineStart() const { return _lineStart; }

  /// Continues at an offset within the file, with the number of lines before it.
  void moveTo(std::uint64_t position, std::uint64_t line);

  /// Copies `count` bytes, which must be available, and moves on. Throws ScanError if the file has become shorter.
  void take(unsigned char* to, std::size_t count);

  /// Moves on by `count` bytes, which must be available.
  void skip(std::uint64_t count);

  /// The next line without its line feed and a carriage return before it; the file's last line may lack both. False if
  /// it is longer than `mostBytes`, with its first `mostBytes` in `line`, or if nothing is left. The text is valid
  /// until the next call. Throws ScanError if the file has become shorter.
  bool takeLine(std::size_t mostBytes, std::string_view& line);

 private:
  /// The buffered bytes from the current position on.
  std::string_view _ahead() const;
  void _fill(std::size_t least);

  const ScanFile& _file;
  std::uint64_t _position = 0;
  std::uint64_t _line = 0;
  std::uint64_t _lineStart = 0;
  std::uint64_t _bufferStart = 0;
  std::vector<unsigned char> _buffer;
};

}  // namespace QuorViewer
