#include "benchmarks/ScratchFolder.h"

#include <algorithm>
#include <fstream>
#include <random>
#include <system_error>
#include <vector>

namespace QuorBenchmarks {

ScratchFolder::ScratchFolder()
    : _path(std::filesystem::temp_directory_path() / ("quor_benchmark_" + std::to_string(std::random_device()()))) {
  std::filesystem::create_directories(_path);
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(_path, ignored);
}

bool fill(const std::string& path, std::int64_t bytes) {
  constexpr std::int64_t kBlockBytes = std::int64_t{1} << 20;
  std::vector<char> block(kBlockBytes);
  for (std::size_t i = 0; i < block.size(); ++i) {
    block[i] = static_cast<char>(1 + i % 127);
  }
  std::ofstream file(path, std::ios::binary);
  for (std::int64_t written = 0; written < bytes; written += kBlockBytes) {
    file.write(block.data(), std::min(kBlockBytes, bytes - written));
  }
  file.close();
  return file.good();
}

}  // namespace QuorBenchmarks
