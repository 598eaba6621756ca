#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <system_error>

namespace QuorViewer {

/// A regular file that is open for reading. It has no current position, so any number of threads may read it. Other
/// processes may write to it meanwhile.
class SharedFile {
 public:
  /// Null if the file cannot be opened, with the system's reason.
  static std::shared_ptr<const SharedFile> open(const std::string& path, std::error_code& error);

  virtual ~SharedFile() = default;

  /// The current size in bytes, even if the file's name now refers to another file; 0 if it cannot be determined.
  virtual std::uint64_t size() const = 0;

  /// Reads `count` bytes from `offset` on, or fewer if the file ends there or cannot be read; then with the system's
  /// reason. Returns their number.
  virtual std::size_t read(std::uint64_t offset, unsigned char* to, std::size_t count,
                           std::error_code& error) const = 0;
};

}  // namespace QuorViewer
