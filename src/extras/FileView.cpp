#include "extras/ReadOnlyFilePrivate.h"

#include <QuorOsgUtils/FilePtr.h>
#include <QuorOsgUtils/FileView.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace QuorOsgUtils {
namespace {

// Short enough to be copied without an allocation, which could fail in a move.
constexpr const char* kNoFile = "no file";

std::string rangeText(std::int64_t offset, std::int64_t size) {
  return "the range at offset " + std::to_string(offset) + " of size " + std::to_string(size);
}

}  // namespace

FileView::FileView() : _error(kNoFile) {}

FileView::FileView(const ReadOnlyFile& file, std::int64_t offset, std::int64_t size) : _file(&file) {
  const FileMapping& mapping = file._data->mapping;
  if (!file.isValid()) {
    _error = file.error();
    return;
  }
  if (!_mayMap(file.path(), file.size(), offset, size)) {
    return;
  }
  _lead = offset % mapping.granularityBytes();
  std::uint32_t error = 0;
  _start = mapping.view(offset - _lead, _lead + _size, error).start;
  if (_start == nullptr) {
    _error = file.path() + ": " + rangeText(offset, size) +
             " cannot be mapped: " + std::system_category().message(static_cast<int>(error));
    _size = 0;
    return;
  }
  _data = static_cast<unsigned char*>(_start) + _lead;
}

FileView::FileView(FilePtr& file, std::int64_t offset, std::int64_t size) : _writable(&file) {
  if (!file.isValid() || !file.isOpen()) {
    _error = std::string(file.file()) + ": is not open";
    return;
  }
  if (!_mayMap(file.file(), file._mapping().sizeBytes(), offset, size)) {
    return;
  }
  _lead = offset % file._mapping().granularityBytes();
  _start = file.map(offset - _lead, _lead + _size);
  if (_start == nullptr) {
    _error = std::string(file.file()) + ": " + rangeText(offset, size) + " cannot be mapped: the system refuses it";
    _size = 0;
    return;
  }
  _data = static_cast<unsigned char*>(_start) + _lead;
}

FileView::FileView(FileView&& other) noexcept {
  _takeFrom(other);
}

FileView& FileView::operator=(FileView&& other) noexcept {
  if (this != &other) {
    _release();
    _takeFrom(other);
  }
  return *this;
}

FileView::~FileView() {
  _release();
}

// Sets the size that is left of the range in the file. False if there is nothing to map, with or without an error.
bool FileView::_mayMap(const std::string& path, std::int64_t fileSize, std::int64_t offset, std::int64_t size) {
  if (offset < 0 || size < 0) {
    _error = path + ": " + rangeText(offset, size) + " is not valid";
  } else if (offset > fileSize) {
    _error = path + ": " + rangeText(offset, size) + " begins after the end of the file (" + std::to_string(fileSize) +
             " bytes)";
  } else {
    _size = std::min(size, fileSize - offset);
  }
  return _size > 0;
}

void FileView::_release() {
  if (_start == nullptr) {
    return;
  }
  if (_writable) {
    _writable->unmap(_start);
  } else {
    FileMapping::release({_start, _lead + _size});
  }
  _start = nullptr;
}

void FileView::_takeFrom(FileView& other) {
  _file = std::exchange(other._file, nullptr);
  _writable = std::exchange(other._writable, nullptr);
  _start = std::exchange(other._start, nullptr);
  _data = std::exchange(other._data, nullptr);
  _size = std::exchange(other._size, 0);
  _lead = std::exchange(other._lead, 0);
  _error = std::exchange(other._error, kNoFile);
}

}  // namespace QuorOsgUtils
