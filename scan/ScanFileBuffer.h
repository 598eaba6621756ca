#pragma once

#include "scan/ScanFile.h"

#include <array>
#include <streambuf>

namespace QuorViewer {

/// Lets a standard stream read a scan's file, with a position of its own.
class ScanFileBuffer : public std::streambuf {
 public:
  explicit ScanFileBuffer(ScanFile file) : _file(std::move(file)) {}

 protected:
  int_type underflow() override;
  pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override;
  pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

 private:
  /// Offset in the file of the next byte.
  std::uint64_t _position() const { return _bufferEnd - static_cast<std::uint64_t>(egptr() - gptr()); }

  ScanFile _file;
  std::array<char, std::size_t{1} << 16> _buffer{};
  std::uint64_t _bufferEnd = 0;  // offset in the file of the first byte after the buffered ones
};

}  // namespace QuorViewer
