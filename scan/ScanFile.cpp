#include "scan/ScanFile.h"

#include "scan/platform/Platform.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace QuorViewer {

namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 16;

std::string systemText(int code) {
  return std::generic_category().message(code);
}

}  // namespace

ScanFile::ScanFile(std::string path) : _path(std::move(path)) {
  std::error_code code;
  const std::filesystem::file_status status = std::filesystem::status(placeOf(_path), code);
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
  errno = 0;
  _stream.open(placeOf(_path), std::ios::binary);
  if (!_stream) {
    throw error("cannot open the file: " + systemText(errno));
  }
  _size = std::filesystem::file_size(placeOf(_path), code);
  if (code) {
    throw error("cannot determine the file size: " + code.message());
  }
}

std::uint64_t ScanFile::sizeNow() {
  _stream.clear();
  _stream.seekg(0, std::ios::end);
  const std::streamoff end = _stream.tellg();
  return end >= 0 ? static_cast<std::uint64_t>(end) : _size;
}

void ScanFile::read(std::uint64_t offset, unsigned char* to, std::size_t count) {
  _stream.clear();
  _stream.seekg(static_cast<std::streamoff>(offset));
  _stream.read(reinterpret_cast<char*>(to), static_cast<std::streamsize>(count));
  const auto got = static_cast<std::uint64_t>(_stream.gcount());
  if (got != count) throw cutOff(offset + got);
}

ScanError ScanFile::cutOff(std::uint64_t byte) const {
  return error("the file was truncated while it was being read, at byte " + std::to_string(byte) + ": it had " +
               std::to_string(_size) + " bytes when it was opened");
}

std::vector<unsigned char> ScanFile::beginning(std::size_t most) {
  std::vector<unsigned char> bytes(static_cast<std::size_t>(std::min<std::uint64_t>(most, _size)));
  read(0, bytes.data(), bytes.size());
  return bytes;
}

void SequentialBytes::moveTo(std::uint64_t position, std::uint64_t line) {
  _position = position;
  _line = line;
}

std::string_view SequentialBytes::_ahead() const {
  if (_position < _bufferStart || _position >= _bufferStart + _buffer.size()) return {};
  const auto used = static_cast<std::size_t>(_position - _bufferStart);
  return {reinterpret_cast<const char*>(_buffer.data()) + used, _buffer.size() - used};
}

// If the file cannot be read here, nothing is buffered.
void SequentialBytes::_fill(std::size_t least) {
  std::vector<unsigned char> buffer = std::move(_buffer);
  _buffer.clear();
  buffer.resize(static_cast<std::size_t>(std::min<std::uint64_t>(left(), std::max(least, kBufferBytes))));
  _file.read(_position, buffer.data(), buffer.size());
  _bufferStart = _position;
  _buffer = std::move(buffer);
}

void SequentialBytes::take(unsigned char* to, std::size_t count) {
  if (_ahead().size() < count) _fill(count);
  std::memcpy(to, _ahead().data(), count);
  _position += count;
}

bool SequentialBytes::takeLine(std::size_t mostBytes, std::string_view& line) {
  if (left() == 0) return false;
  if (_ahead().find('\n') == line.npos && _ahead().size() < left()) _fill(mostBytes + 1);
  const std::string_view ahead = _ahead();
  const std::size_t length = std::min(ahead.find('\n'), ahead.size());
  if (length > mostBytes) return false;
  line = ahead.substr(0, length);
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  ++_line;
  _lineStart = _position;
  _position += length + (length < ahead.size() ? 1 : 0);
  return true;
}

}  // namespace QuorViewer
