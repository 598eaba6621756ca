#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace QuorOsgUtils {

static_assert(sizeof(std::size_t) >= sizeof(std::int64_t), "a view of any length needs a 64-bit address space");

/// The system calls for a memory-mapped file, implemented in one source file per platform. Holds one file at a time,
/// closed only by `close`. Errors are system error numbers.
class FileMapping {
 public:
  struct View {
    void* start = nullptr;
    std::int64_t lengthBytes = 0;
  };

  enum class Access { ReadOnly, ReadWrite };

  /// Opens an existing file, shared with other openers and not inherited by child processes, reads its size and maps
  /// all of it. Returns 0, or the error number; the size is then that of the last successful opening, 0 before the
  /// first. Waits for another process to release its lease on the file.
  [[nodiscard]] std::uint32_t open(const std::string& path, Access access = Access::ReadWrite);
  /// All views must have been released.
  void close();

  std::int64_t sizeBytes() const { return _sizeBytes; }
  std::uint32_t granularityBytes() const { return _granularityBytes; }

  /// A view from `offset`, which must be a multiple of the granularity, writable as the file was opened; a length of 0
  /// extends to the end of the mapping. On failure the start is null and `error` is set.
  [[nodiscard]] View view(std::int64_t offset, std::int64_t lengthBytes, std::uint32_t& error) const;
  static void release(const View& view);

  /// Whether opening the path for reading would wait for a writer.
  static bool isPipe(const std::string& path);
  /// The absolute path without links, "." and ".."; the part of it that does not exist is normalised as text.
  static std::string canonicalPath(const std::string& path);

 private:
  std::intptr_t _file = -1;
  Access _access = Access::ReadWrite;
  [[maybe_unused]] std::intptr_t _mapping = 0;  // only on systems that have a handle for it
  std::uint32_t _granularityBytes = 0;
  std::int64_t _sizeBytes = 0;
};

}  // namespace QuorOsgUtils
