#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"

#include <QuorOsgUtils/FilePtr.h>

#include <osg/ref_ptr>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

constexpr std::int64_t kFileBytes = std::int64_t{16} << 20U;
constexpr std::int64_t kBytesPerMeasurement = std::int64_t{4} << 20U;
constexpr std::int64_t kTouchBytes = 4096;

/// A file whose contents are all in memory. Its name is removed as soon as it is open.
class ScratchFile {
 public:
  ScratchFile() : _path((std::filesystem::temp_directory_path() / "quor_bench_XXXXXX").string()) {
    _descriptor = ::mkstemp(_path.data());
    const std::string contents(static_cast<std::size_t>(kFileBytes), 'x');
    _filled = ::write(_descriptor, contents.data(), contents.size()) == kFileBytes;
    _file = new QuorOsgUtils::FilePtr(_path.c_str());
    std::filesystem::remove(_path);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile() { ::close(_descriptor); }

  bool valid() const { return _filled && _file->isValid(); }
  int descriptor() const { return _descriptor; }
  QuorOsgUtils::FilePtr& file() { return *_file; }

 private:
  std::string _path;
  int _descriptor = -1;
  bool _filled = false;
  osg::ref_ptr<QuorOsgUtils::FilePtr> _file;
};

void touch(const void* view, std::int64_t bytes) {
  const auto* const start = static_cast<const volatile char*>(view);
  int sum = 0;
  for (std::int64_t i = 0; i < bytes; i += kTouchBytes) {
    sum += start[i];
  }
  benchmark::DoNotOptimize(sum);
}

void throughTheSystem(const ScratchFile& scratch, std::int64_t offset, std::int64_t bytes) {
  void* const view = ::mmap(nullptr, static_cast<std::size_t>(bytes), PROT_READ | PROT_WRITE, MAP_SHARED,
                            scratch.descriptor(), offset);
  touch(view, bytes);
  ::munmap(view, static_cast<std::size_t>(bytes));
}

void throughTheLibrary(ScratchFile& scratch, std::int64_t offset, std::int64_t bytes) {
  void* const view = scratch.file().map(offset, bytes);
  touch(view, bytes);
  scratch.file().unmap(view);
}

template <typename MapTouchUnmap>
void manyTimes(std::int64_t bytes, MapTouchUnmap mapTouchUnmap) {
  const std::int64_t times = std::clamp<std::int64_t>(kBytesPerMeasurement / bytes, 1, 100);
  for (std::int64_t i = 0; i < times; ++i) {
    mapTouchUnmap(i * bytes % kFileBytes);
  }
}

void mapTouchUnmap(benchmark::State& state) {
  const std::int64_t bytes = state.range(0);
  ScratchFile scratch;
  bool mapped = scratch.valid();
  for (std::int64_t i = 0; i < state.range(1) && mapped; ++i) {
    mapped = scratch.file().map(0, kTouchBytes) != nullptr;
  }
  if (!mapped) {
    state.SkipWithError("the file or its views cannot be made");
    return;
  }
  QuorBenchmarks::compare(
      state,
      {"FilePtr", [&] { manyTimes(bytes, [&](std::int64_t offset) { throughTheLibrary(scratch, offset, bytes); }); }},
      {{"mmap", [&] { manyTimes(bytes, [&](std::int64_t offset) { throughTheSystem(scratch, offset, bytes); }); }}});
}

BENCHMARK(mapTouchUnmap)
    ->ArgsProduct({{4 << 10, 64 << 10, 16 << 20}, {1, 1000, 60000}})
    ->ArgNames({"bytes", "live"})
    ->Unit(benchmark::kMicrosecond);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Mapped files",
    "Map, touch and unmap ranges of a file while other views are live, beside the same system calls made directly."};
