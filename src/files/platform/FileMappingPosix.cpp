#include "files/platform/FileMapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace QuorOsgUtils {

namespace {

static_assert(sizeof(off_t) == sizeof(std::int64_t), "files beyond 2 GiB need 64-bit offsets");

constexpr int kNoFile = -1;

int openUninterrupted(const char* path, int flags) {
  int file = kNoFile;
  do {
    file = ::open(path, flags);
  } while (file == kNoFile && errno == EINTR);
  return file;
}

bool isRegularFile(const char* path) {
  struct stat status {};
  return ::stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

// Without O_NONBLOCK some devices and, on some systems, pipes block; without O_NOCTTY a terminal may become the
// process's own. A regular file blocks only while another process, such as a file server, holds a lease on it. The
// system asks the holder to release it within the lease break time.
int openFile(const char* path, FileMapping::Access access) {
  const int flags = (access == FileMapping::Access::ReadWrite ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOCTTY;
  const int file = openUninterrupted(path, flags | O_NONBLOCK);
  const bool isLeased = file == kNoFile && errno == EWOULDBLOCK && isRegularFile(path);
  return isLeased ? openUninterrupted(path, flags) : file;
}

}  // namespace

std::uint32_t FileMapping::open(const std::string& path, Access access) {
  _granularityBytes = static_cast<std::uint32_t>(::sysconf(_SC_PAGESIZE));
  _access = access;
  const int file = openFile(path.c_str(), access);
  _file = file;
  if (file == kNoFile) {
    return static_cast<std::uint32_t>(errno);
  }
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
  if (_file != kNoFile) {
    ::close(static_cast<int>(_file));
  }
  _file = kNoFile;
}

FileMapping::View FileMapping::view(std::int64_t offset, std::int64_t lengthBytes, std::uint32_t& error) const {
  assert(offset % granularityBytes() == 0);
  const std::int64_t length = lengthBytes == 0 ? _sizeBytes - offset : lengthBytes;
  const int protection = _access == Access::ReadWrite ? PROT_READ | PROT_WRITE : PROT_READ;
  void* const start =
      ::mmap(nullptr, static_cast<std::size_t>(length), protection, MAP_SHARED, static_cast<int>(_file), offset);
  if (start != MAP_FAILED) {
    return {start, length};
  }
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

// A relative path whose first part does not exist would stay relative.
std::string FileMapping::canonicalPath(const std::string& path) {
  std::error_code failure;
  const std::filesystem::path absolute = std::filesystem::absolute(path, failure);
  const std::filesystem::path canonical = std::filesystem::weakly_canonical(absolute, failure);
  return failure ? path : canonical.string();
}

}  // namespace QuorOsgUtils
