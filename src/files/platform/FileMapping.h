#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace QuorOsgUtils {

static_assert(sizeof(std::size_t) >= sizeof(std::int64_t), "a view of any length needs a 64-bit address space");

/// The system's calls for a file that is mapped in views: what they do stands here, how in one source per platform.
/// Holds one file at a time, closed only by `close`. Errors are the system's own numbers.
class FileMapping {
 public:
  struct View {
    void* start = nullptr;
    std::int64_t lengthBytes = 0;
  };

  /// Opens an existing file for reading and writing, shared with other openers and not inherited by child processes,
  /// reads its size and maps all of it. Returns 0, or the reason why the file cannot be opened; the size is then that
  /// of the last successful opening, 0 before the first. Waits while another process gives up its lease on the file.
  std::uint32_t open(const std::string& path);
  /// Expects that no view is left.
  void close();

  std::int64_t sizeBytes() const { return _sizeBytes; }
  std::uint32_t granularityBytes() const { return _granularityBytes; }

  /// A writable view from `offset` on, a multiple of the granularity; a length of 0 reaches to the end of the mapping.
  /// A start of null means failure, with the reason in `error`.
  View view(std::int64_t offset, std::int64_t lengthBytes, std::uint32_t& error) const;
  static void release(const View& view);

  /// Whether opening the path for reading would wait for someone who writes.
  static bool isPipe(const std::string& path);

 private:
  std::intptr_t _file = -1;
  [[maybe_unused]] std::intptr_t _mapping = 0;  // where the system has a handle for it
  std::uint32_t _granularityBytes = 0;
  std::int64_t _sizeBytes = 0;
};

}  // namespace QuorOsgUtils
