#include "benchmarks/Comparison.h"
#include "benchmarks/Descriptor.h"
#include "benchmarks/Program.h"
#include "benchmarks/ScratchFolder.h"

#include <QuorOsgUtils/FilePtr.h>

#include <osg/ref_ptr>

#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#if defined(QUOR_PEER_BOOST_HEADERS)
#  include <boost/interprocess/file_mapping.hpp>
#  include <boost/interprocess/mapped_region.hpp>
#endif
#if defined(QUOR_PEER_BOOST_IOSTREAMS)
#  include <boost/iostreams/device/mapped_file.hpp>
#endif
#if defined(QUOR_PEER_QT5_CORE)
#  include <QFile>
#endif

namespace {

using QuorBenchmarks::Variant;
using QuorOsgUtils::FilePtr;

constexpr std::int64_t kFileBytes = std::int64_t{16} << 20U;
constexpr std::int64_t kBytesPerMeasurement = std::int64_t{4} << 20U;
constexpr std::int64_t kTouchBytes = 4096;
constexpr std::int64_t kLeastBytesWithGoal = std::int64_t{64} << 10U;

void touch(const void* view, std::int64_t bytes) {
  const auto* const start = static_cast<const volatile char*>(view);
  int sum = 0;
  for (std::int64_t i = 0; i < bytes; i += kTouchBytes) {
    sum += start[i];
  }
  benchmark::DoNotOptimize(sum);
}

/// `mapTouchUnmap(offset)` does so with one range of the file.
template <typename MapTouchUnmap>
Variant variant(const std::string& name, std::int64_t bytes, MapTouchUnmap mapTouchUnmap, double goal = 0.0) {
  const std::int64_t times = std::clamp<std::int64_t>(kBytesPerMeasurement / bytes, 1, 100);
  const auto work = [=] {
    for (std::int64_t i = 0; i < times; ++i) {
      mapTouchUnmap(i * bytes % kFileBytes);
    }
  };
  return {name, work, {}, static_cast<std::size_t>(times), goal};
}

Variant byFilePtr(const osg::ref_ptr<FilePtr>& file, std::int64_t bytes) {
  return variant("FilePtr", bytes, [file, bytes](std::int64_t offset) {
    void* const view = file->map(offset, bytes);
    touch(view, bytes);
    file->unmap(view);
  });
}

Variant byMmap(const std::string& path, std::int64_t bytes) {
  const auto file = std::make_shared<QuorBenchmarks::Descriptor>(path);
  const auto mapTouchUnmap = [file, bytes](std::int64_t offset) {
    const auto length = static_cast<std::size_t>(bytes);
    void* const view = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, file->number(), offset);
    touch(view, bytes);
    ::munmap(view, length);
  };
  return variant("mmap", bytes, mapTouchUnmap, bytes >= kLeastBytesWithGoal ? 1.05 : 0.0);
}

#if defined(QUOR_PEER_BOOST_HEADERS)
Variant byInterprocess(const std::string& path, std::int64_t bytes) {
  using namespace boost::interprocess;
  const auto file = std::make_shared<file_mapping>(path.c_str(), read_write);
  return variant("Boost.Interprocess", bytes, [file, bytes](std::int64_t offset) {
    const mapped_region view(*file, read_write, offset, static_cast<std::size_t>(bytes));
    touch(view.get_address(), bytes);
  });
}
#endif

#if defined(QUOR_PEER_BOOST_IOSTREAMS)
// It opens the file for each view; it has no other way.
Variant byIostreams(const std::string& path, std::int64_t bytes) {
  using boost::iostreams::mapped_file;
  return variant("Boost.Iostreams", bytes, [path, bytes](std::int64_t offset) {
    const mapped_file view(path, mapped_file::readwrite, static_cast<std::size_t>(bytes), offset);
    touch(view.const_data(), bytes);
  });
}
#endif

#if defined(QUOR_PEER_QT5_CORE)
Variant byQt(const std::string& path, std::int64_t bytes) {
  const auto file = std::make_shared<QFile>(QString::fromStdString(path));
  file->open(QIODevice::ReadWrite);
  return variant("QFile::map", bytes, [file, bytes](std::int64_t offset) {
    uchar* const view = file->map(offset, bytes);
    touch(view, bytes);
    file->unmap(view);
  });
}
#endif

std::vector<Variant> peersFor(const std::string& path, std::int64_t bytes) {
  std::vector<Variant> peers{byMmap(path, bytes)};
#if defined(QUOR_PEER_BOOST_HEADERS)
  peers.push_back(byInterprocess(path, bytes));
#endif
#if defined(QUOR_PEER_BOOST_IOSTREAMS)
  peers.push_back(byIostreams(path, bytes));
#endif
#if defined(QUOR_PEER_QT5_CORE)
  peers.push_back(byQt(path, bytes));
#endif
  return peers;
}

/// Creates views that stay until the file is closed. False if the system has no room for them.
bool mapViews(FilePtr& file, std::int64_t count) {
  for (std::int64_t i = 0; i < count; ++i) {
    if (file.map(0, kTouchBytes) == nullptr) {
      return false;
    }
  }
  return true;
}

void mapTouchUnmap(benchmark::State& state) {
  const QuorBenchmarks::ScratchFolder folder;
  const std::string path = folder.path("file");
  const bool filled = QuorBenchmarks::fill(path, kFileBytes);
  const osg::ref_ptr<FilePtr> file = new FilePtr(path.c_str());
  if (!filled || !file->isValid() || !mapViews(*file, state.range(1))) {
    state.SkipWithError("the file or its views cannot be made");
    return;
  }
  QuorBenchmarks::compare(state, byFilePtr(file, state.range(0)), peersFor(path, state.range(0)));
}

BENCHMARK(mapTouchUnmap)
    ->ArgsProduct({{4 << 10, 64 << 10, 16 << 20}, {1, 1000, 60000}})
    ->ArgNames({"bytes", "live views"})
    ->Unit(benchmark::kMicrosecond);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Mapped files",
    "Map a range of a file, touch each page of it, and unmap it. Meanwhile the process holds other views, which "
    "`FilePtr` has in its table. Each library opens the file once, except Boost.Iostreams, which can only open and "
    "map together."};
