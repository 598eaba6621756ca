#include "files/platform/FileMapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace QuorOsgUtils {

namespace {

static_assert(sizeof(off_t) == sizeof(std::int64_t), "files beyond 2 GiB need 64-bit offsets");

constexpr int kNoFile = -1;

// A pipe without a partner would hold up a plain open, and a terminal might become the process's own.
int openFile(const char* path) {
  int file = kNoFile;
  do {
    file = ::open(path, O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  } while (file == kNoFile && errno == EINTR);
  return file;
}

}  // namespace

std::uint32_t FileMapping::open(const std::string& path) {
  _granularityBytes = static_cast<std::uint32_t>(::sysconf(_SC_PAGESIZE));
  _sizeBytes = 0;
  const int file = openFile(path.c_str());
  _file = file;
  if (file == kNoFile) return static_cast<std::uint32_t>(errno);
  struct stat status {};
  const bool known = ::fstat(file, &status) == 0;
  if (known && S_ISREG(status.st_mode)) {
    _sizeBytes = status.st_size;
    return 0;
  }
  const int reason = known ? ENODEV : errno;
  close();
  return static_cast<std::uint32_t>(reason);
}

void FileMapping::close() {
  if (_file != kNoFile) ::close(static_cast<int>(_file));
  _file = kNoFile;
}

FileMapping::View FileMapping::view(std::int64_t offset, std::int64_t lengthBytes, std::uint32_t& error) const {
  const std::int64_t length = lengthBytes == 0 ? _sizeBytes - offset : lengthBytes;
  void* const start = ::mmap(nullptr, static_cast<std::size_t>(length), PROT_READ | PROT_WRITE, MAP_SHARED,
                             static_cast<int>(_file), offset);
  if (start != MAP_FAILED) return {start, length};
  error = static_cast<std::uint32_t>(errno);
  return {};
}

void FileMapping::release(const View& view) {
  ::munmap(view.start, static_cast<std::size_t>(view.lengthBytes));
}

bool FileMapping::isPipe(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

}  // namespace QuorOsgUtils
