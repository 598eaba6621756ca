#include "files/platform/FileMapping.h"

#include <QuorOsgUtils/FilePtr.h>
#include <QuorOsgUtils/SpinLock.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <limits>
#include <map>
#include <new>
#include <string>

namespace QuorOsgUtils {

namespace {

using View = FileMapping::View;

// "文件映射参数异常：" in GBK.
constexpr const char* kViewRefused = "\xCE\xC4\xBC\xFE\xD3\xB3\xC9\xE4\xB2\xCE\xCA\xFD\xD2\xEC\xB3\xA3\xA3\xBA";

// One unformatted write, so that lines of several threads are not mixed and the application's stream format is ignored.
// If the stream throws because it cannot be written, the line is lost.
void report(std::ostream& stream, const char* text, std::int64_t number) {
  try {
    const std::string line = text + std::to_string(number) + '\n';
    stream.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
  } catch (const std::exception&) {
    return;
  }
}

void* reportNoRange() {
  constexpr int kReason = 84;  // text and number are fixed by the interface; they have no further meaning
  report(std::cout, "Abnormal normal vector data : ", kReason);
  return nullptr;
}

void* reportRefusal(std::uint32_t error) {
  report(std::cout, kViewRefused, static_cast<std::int32_t>(error));
  return nullptr;
}

constexpr std::int64_t kGreatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

std::int64_t saturatedSum(std::int64_t a, std::int64_t b) {
  if (b > 0 && a > kGreatest - b) {
    return kGreatest;
  }
  if (b < 0 && a < kLeast - b) {
    return kLeast;
  }
  return a + b;
}

}  // namespace

struct FilePtr::Private {
  explicit Private(const char* filePath) : path(filePath != nullptr ? filePath : "") {}

  std::map<void*, View, std::less<>> views;  // by start address
  FileMapping mapping;
  SpinLock viewsLock;
  std::string path;
};

FilePtr::FilePtr(const char* path) : _data(std::make_unique<Private>(path)) {
  open();
}

FilePtr::~FilePtr() {
  close();
}

void FilePtr::open() {
  if (!_closed) {
    return;
  }
  const std::uint32_t error = _data->mapping.open(_data->path);
  if (error != 0) {
    report(std::cerr, "Error creating file: ", error);
    _valid = false;
  }
  _closed = false;
}

void FilePtr::close() {
  if (_closed) {
    return;
  }
  {
    const std::lock_guard<SpinLock> held(_data->viewsLock);
    for (const auto& [start, view] : _data->views) {
      FileMapping::release(view);
    }
    _data->views.clear();
  }
  _data->mapping.close();
  _closed = true;
}

bool FilePtr::isOpen() const {
  return !_closed;
}

bool FilePtr::isValid() const {
  return _valid;
}

const FileMapping& FilePtr::_mapping() const {
  return _data->mapping;
}

const char* FilePtr::file() const {
  return _data->path.c_str();
}

void* FilePtr::map(std::int64_t offset, std::int64_t size) {
  const FileMapping& mapping = _data->mapping;
  const std::int64_t granularity = mapping.granularityBytes();
  const std::int64_t aligned = offset / granularity * granularity;
  const std::int64_t end = std::min(saturatedSum(offset, size), mapping.sizeBytes());
  // A negative unaligned offset is rounded up, towards zero: its byte is before the view.
  const bool startsBeforeView = offset < aligned;
  const std::int64_t viewEnd = end == aligned ? mapping.sizeBytes() : end;
  const bool lengthOverflows = viewEnd >= 0 && aligned < viewEnd - kGreatest;
  if (aligned > end || startsBeforeView || lengthOverflows) {
    return reportNoRange();
  }

  std::uint32_t error = 0;
  const View view = mapping.view(aligned, end - aligned, error);
  if (view.start == nullptr) {
    return reportRefusal(error);
  }
  try {
    const std::lock_guard<SpinLock> held(_data->viewsLock);
    _data->views.insert_or_assign(view.start, view);
  } catch (const std::bad_alloc&) {
    FileMapping::release(view);
    return nullptr;
  }
  return static_cast<char*>(view.start) + (offset - aligned);
}

// Removed from the map before it is released: after that, the next `map` may get the same start address. Pointers from
// unaligned offsets are not found; this is fixed by the interface.
void FilePtr::unmap(void* p) {
  View view;
  {
    const std::lock_guard<SpinLock> held(_data->viewsLock);
    const auto found = _data->views.find(p);
    if (found == _data->views.end()) {
      return;
    }
    view = found->second;
    _data->views.erase(found);
  }
  FileMapping::release(view);
}

}  // namespace QuorOsgUtils
