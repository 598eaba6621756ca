#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace QuorBenchmarks {

/// A new folder in the temporary folder, removed with all that is in it.
class ScratchFolder {
 public:
  ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();

  std::string path(const std::string& name) const { return (_path / name).string(); }

 private:
  std::filesystem::path _path;
};

/// Creates a file without zero bytes, whose pages are then in the system's cache. False if it cannot be written.
[[nodiscard]] bool fill(const std::string& path, std::int64_t bytes);

}  // namespace QuorBenchmarks
