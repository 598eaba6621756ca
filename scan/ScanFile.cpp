#include "scan/ScanFile.h"

#include "scan/platform/Platform.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace QuorViewer {

namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 16;

}  // namespace

ScanFile::ScanFile(std::string path) : _path(std::move(path)) {
  std::error_code code;
  const std::filesystem::file_status status = std::filesystem::status(toPath(_path), code);
  if (!std::filesystem::exists(status)) {
    throw error(status.type() == std::filesystem::file_type::none ? "cannot access the file: " + code.message()
                                                                  : std::string("no such file"));
  }
  if (std::filesystem::is_directory(status)) {
    throw error("this is a folder, not a file");
  }
  if (!std::filesystem::is_regular_file(status)) {
    throw error("not a regular file; a scan needs random access");
  }
  _file = SharedFile::open(_path, code);
  if (!_file) {
    throw ScanReadError(_path + ": cannot open the file: " + code.message());
  }
  _size = _file->size();
}

void ScanFile::read(std::uint64_t offset, unsigned char* to, std::size_t count) const {
  const std::size_t got = readAvailable(offset, to, count);
  if (got != count) {
    throw cutOff(offset + got);
  }
}

std::size_t ScanFile::readAvailable(std::uint64_t offset, unsigned char* to, std::size_t most) const {
  std::error_code code;
  const std::size_t got = _file->read(offset, to, most, code);
  if (code) {
    throw ScanReadError(_path + ": cannot read the file at byte " + std::to_string(offset + got) + ": " +
                        code.message());
  }
  return got;
}

ScanError ScanFile::cutOff(std::uint64_t byte) const {
  return error("the file was truncated while it was being read, at byte " + std::to_string(byte) + ": it had " +
               std::to_string(_size) + " bytes when it was opened");
}

std::vector<unsigned char> ScanFile::beginning(std::size_t most) const {
  std::vector<unsigned char> bytes(static_cast<std::size_t>(std::min<std::uint64_t>(most, _size)));
  read(0, bytes.data(), bytes.size());
  return bytes;
}

void SequentialBytes::moveTo(std::uint64_t position, std::uint64_t line) {
  _position = position;
  _line = line;
}

std::string_view SequentialBytes::_ahead() const {
  if (_position < _bufferStart || _position >= _bufferStart + _buffer.size()) {
    return {};
  }
  const auto used = static_cast<std::size_t>(_position - _bufferStart);
  return {reinterpret_cast<const char*>(_buffer.data()) + used, _buffer.size() - used};
}

void SequentialBytes::_fill(std::size_t least) {
  _buffer.resize(static_cast<std::size_t>(std::min<std::uint64_t>(left(), std::max(least, kBufferBytes))));
  _buffer.resize(_file.readAvailable(_position, _buffer.data(), _buffer.size()));
  _bufferStart = _position;
}

void SequentialBytes::skip(std::uint64_t count) {
  assert(count <= left());
  _position += count;
}

void SequentialBytes::take(unsigned char* to, std::size_t count) {
  assert(count <= left());
  if (_ahead().size() < count) {
    _fill(count);
  }
  if (_ahead().size() < count) {
    throw _file.cutOff(_position + _ahead().size());
  }
  std::memcpy(to, _ahead().data(), count);
  _position += count;
}

bool SequentialBytes::takeLine(std::size_t mostBytes, std::string_view& line) {
  if (left() == 0) {
    return false;
  }
  if (_ahead().find('\n') == line.npos && _ahead().size() < left()) {
    _fill(mostBytes + 1);
  }
  const std::string_view ahead = _ahead();
  const std::size_t length = std::min(ahead.find('\n'), ahead.size());
  if (length > mostBytes) {
    line = ahead.substr(0, mostBytes);
    return false;
  }
  if (length == ahead.size() && length < left()) {
    throw _file.cutOff(_position + length);
  }
  line = ahead.substr(0, length);
  if (!line.empty() && line.back() == '\r') {
    line.remove_suffix(1);
  }
  ++_line;
  _lineStart = _position;
  _position += length + (length < ahead.size() ? 1 : 0);
  return true;
}

}  // namespace QuorViewer
