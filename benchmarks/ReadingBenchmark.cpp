#include "benchmarks/Comparison.h"
#include "benchmarks/Descriptor.h"
#include "benchmarks/Program.h"
#include "benchmarks/ScratchFolder.h"

#include <QuorOsgUtils/FilePtr.h>
#include <QuorOsgUtils/FileView.h>
#include <QuorOsgUtils/ReadOnlyFile.h>

#include <osg/ref_ptr>

#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using QuorBenchmarks::Descriptor;
using QuorBenchmarks::Variant;
using QuorOsgUtils::FilePtr;
using QuorOsgUtils::FileView;
using QuorOsgUtils::ReadOnlyFile;

constexpr std::int64_t kFileBytes = std::int64_t{64} << 20U;

std::uint64_t sumOf(const void* bytes, std::size_t count) {
  const auto* const start = static_cast<const unsigned char*>(bytes);
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < count; i += sizeof sum) {
    std::uint64_t word = 0;
    std::memcpy(&word, start + i, sizeof word);
    sum += word;
  }
  return sum;
}

/// Returns the sum of the 64-bit words of a range of an open file.
using Read = std::function<std::uint64_t(std::int64_t offset, std::size_t bytes)>;

Read byFilePtr(const std::string& path) {
  const osg::ref_ptr<FilePtr> file = new FilePtr(path.c_str());
  return [file](std::int64_t offset, std::size_t bytes) {
    void* const view = file->map(offset, static_cast<std::int64_t>(bytes));
    const std::uint64_t sum = sumOf(view, bytes);
    file->unmap(view);
    return sum;
  };
}

Read byFileView(const std::string& path) {
  const osg::ref_ptr<const ReadOnlyFile> file = new ReadOnlyFile(path);
  return [file](std::int64_t offset, std::size_t bytes) {
    return sumOf(FileView(*file, offset, static_cast<std::int64_t>(bytes)).data(), bytes);
  };
}

Read byMmap(const std::string& path, int protection) {
  const auto file = std::make_shared<Descriptor>(path);
  return [file, protection](std::int64_t offset, std::size_t bytes) {
    void* const view = ::mmap(nullptr, bytes, protection, MAP_SHARED, file->number(), offset);
    const std::uint64_t sum = sumOf(view, bytes);
    ::munmap(view, bytes);
    return sum;
  };
}

Read byPread(const std::string& path) {
  const auto file = std::make_shared<Descriptor>(path);
  const auto buffer = std::make_shared<std::vector<char>>();
  return [file, buffer](std::int64_t offset, std::size_t bytes) {
    buffer->resize(bytes);
    const bool complete = ::pread(file->number(), buffer->data(), bytes, offset) == static_cast<ssize_t>(bytes);
    return complete ? sumOf(buffer->data(), bytes) : 0;
  };
}

Read byStream(const std::string& path) {
  const auto file = std::make_shared<std::ifstream>(path, std::ios::binary);
  const auto buffer = std::make_shared<std::vector<char>>();
  return [file, buffer](std::int64_t offset, std::size_t bytes) {
    buffer->resize(bytes);
    file->seekg(offset);
    file->read(buffer->data(), static_cast<std::streamsize>(bytes));
    return file->good() ? sumOf(buffer->data(), bytes) : 0;
  };
}

using Offsets = std::vector<std::int64_t>;

Offsets sequence(std::int64_t bytes) {
  Offsets offsets;
  for (std::int64_t offset = 0; offset < kFileBytes; offset += bytes) {
    offsets.push_back(offset);
  }
  return offsets;
}

Offsets randomOffsets(std::int64_t bytes) {
  constexpr std::size_t kReads = 1000;
  std::mt19937_64 generator(11);
  std::uniform_int_distribution<std::int64_t> block(0, kFileBytes / bytes - 1);
  Offsets offsets(kReads);
  for (std::int64_t& offset : offsets) {
    offset = block(generator) * bytes;
  }
  return offsets;
}

std::uint64_t readAll(const Read& read, const Offsets& offsets, std::size_t bytes) {
  std::uint64_t sum = 0;
  for (const std::int64_t offset : offsets) {
    sum += read(offset, bytes);
  }
  return sum;
}

Variant variant(const std::string& name, const Offsets& offsets, std::size_t bytes, const Read& read,
                double goal = 0.0) {
  const auto work = [=] { benchmark::DoNotOptimize(readAll(read, offsets, bytes)); };
  return {name, work, {}, offsets.size(), goal};
}

// The two classes map with different protection, so each is compared with the same mapping.
void reading(benchmark::State& state, const char* name, Read (*ours)(const std::string& path), int protection,
             Offsets (*offsetsFor)(std::int64_t bytes)) {
  const auto bytes = static_cast<std::size_t>(state.range(0));
  const Offsets offsets = offsetsFor(state.range(0));
  const QuorBenchmarks::ScratchFolder folder;
  const std::string path = folder.path("file");
  const bool filled = QuorBenchmarks::fill(path, kFileBytes);
  const std::vector<Read> reads = {ours(path), byMmap(path, protection), byPread(path), byStream(path)};
  bool agree = filled;
  for (const Read& read : reads) {
    agree = agree && readAll(read, offsets, bytes) == readAll(reads[0], offsets, bytes);
  }
  if (!agree) {
    state.SkipWithError("the file cannot be made, or the variants read different bytes");
    return;
  }
  QuorBenchmarks::compare(state, variant(name, offsets, bytes, reads[0]),
                          {variant("mmap", offsets, bytes, reads[1], 1.05), variant("pread", offsets, bytes, reads[2]),
                           variant("std::ifstream", offsets, bytes, reads[3])});
}

void throughFilePtr(benchmark::State& state, Offsets (*offsetsFor)(std::int64_t bytes)) {
  reading(state, "FilePtr", byFilePtr, PROT_READ | PROT_WRITE, offsetsFor);
}

void throughFileView(benchmark::State& state, Offsets (*offsetsFor)(std::int64_t bytes)) {
  reading(state, "FileView", byFileView, PROT_READ, offsetsFor);
}

void sequentialSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(64 << 10)->Arg(1 << 20)->Arg(16 << 20)->ArgName("bytes")->Unit(benchmark::kMicrosecond);
}
void randomSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(4 << 10)->Arg(64 << 10)->ArgName("bytes")->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(throughFilePtr, sequential, sequence)->Apply(sequentialSizes);
BENCHMARK_CAPTURE(throughFilePtr, random, randomOffsets)->Apply(randomSizes);
BENCHMARK_CAPTURE(throughFileView, sequential, sequence)->Apply(sequentialSizes);
BENCHMARK_CAPTURE(throughFileView, random, randomOffsets)->Apply(randomSizes);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Reading files",
    "Read and add up a file of 64 MiB that is in the system's cache, range by range, in sequence or at random places. "
    "Times are for one range. Views are mapped and unmapped for each range, as is bare `mmap`; `pread` and "
    "`std::ifstream` read into a buffer that they keep."};
