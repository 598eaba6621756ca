#include "scan/platform/SharedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace QuorViewer {

namespace {

class Descriptor : public SharedFile {
 public:
  explicit Descriptor(int descriptor) : _descriptor(descriptor) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() override { ::close(_descriptor); }

  std::uint64_t size() const override {
    struct stat status {};
    return ::fstat(_descriptor, &status) == 0 ? static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0)) : 0;
  }

  std::size_t read(std::uint64_t offset, unsigned char* to, std::size_t count, std::error_code& error) const override {
    std::size_t done = 0;
    while (done < count) {
      const ssize_t got = ::pread(_descriptor, to + done, count - done, static_cast<off_t>(offset + done));
      if (got < 0 && errno == EINTR) {
        continue;
      }
      if (got < 0) {
        error.assign(errno, std::generic_category());
      }
      if (got <= 0) {
        break;
      }
      done += static_cast<std::size_t>(got);
    }
    return done;
  }

 private:
  int _descriptor;
};

}  // namespace

std::shared_ptr<const SharedFile> SharedFile::open(const std::string& path, std::error_code& error) {
  int descriptor = -1;
  do {
    descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor >= 0) {
    return std::make_shared<Descriptor>(descriptor);
  }
  error.assign(errno, std::generic_category());
  return nullptr;
}

}  // namespace QuorViewer
