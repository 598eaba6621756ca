#pragma once

#include "scan/Scan.h"

#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace QuorViewer {

/// A scan's file, opened for reading anywhere within it, beyond 4 GiB too. One thread at a time.
class ScanFile {
 public:
  /// Throws ScanError where there is no such file, where it is no regular file (a folder, a pipe) or cannot be opened.
  explicit ScanFile(std::string path);

  const std::string& path() const { return _path; }
  std::uint64_t size() const { return _size; }
  /// The size that the opened file has by now, whatever file its name has come to stand for.
  std::uint64_t sizeNow();

  /// Reads exactly `count` bytes from `offset` on. Throws ScanError where the file has become shorter.
  void read(std::uint64_t offset, unsigned char* to, std::size_t count);

  /// The first bytes, at most `most`, fewer where the file is shorter.
  std::vector<unsigned char> beginning(std::size_t most);

  /// An error that names this file.
  ScanError error(const std::string& what) const { return ScanError(_path + ": " + what); }
  /// The error of a file that has become shorter.
  ScanError cutOff(std::uint64_t byte) const;

 private:
  std::string _path;
  std::ifstream _stream;
  std::uint64_t _size = 0;
};

/// Reads a file from its beginning to its end through a small buffer, and knows where it is.
class SequentialBytes {
 public:
  explicit SequentialBytes(ScanFile& file) : _file(file) {}

  /// Offset in the file of the next byte.
  std::uint64_t position() const { return _position; }
  std::uint64_t left() const { return _file.size() - _position; }

  /// Copies `count` bytes and moves on; they must be left.
  void take(unsigned char* to, std::size_t count);

  /// Moves on by `count` bytes, which must be left.
  void skip(std::uint64_t count) { _position += count; }

  /// The next line without its line feed; its last may lack one. At most `mostBytes` of it are looked at: false where
  /// it is longer, or where nothing is left. The text is valid until the next call.
  bool takeLine(std::size_t mostBytes, std::string_view& line);

 private:
  bool _buffered() const { return _position >= _bufferStart && _position < _bufferStart + _buffer.size(); }
  void _fill(std::size_t least);

  ScanFile& _file;
  std::uint64_t _position = 0;
  std::uint64_t _bufferStart = 0;
  std::vector<unsigned char> _buffer;
};

}  // namespace QuorViewer
