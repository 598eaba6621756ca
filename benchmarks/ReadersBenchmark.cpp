#include "benchmarks/BareDecoding.h"
#include "benchmarks/BenchmarkScans.h"
#include "benchmarks/Comparison.h"
#include "benchmarks/CopcScan.h"
#include "benchmarks/DecodeScan.h"
#include "benchmarks/Program.h"
#include "scan/ScanFile.h"
#include "scan/index/CopcTree.h"

#include <osg/Node>
#include <osgDB/ReadFile>

#include <benchmark/benchmark.h>
#include <laszip/laszip_api.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using QuorBenchmarks::Variant;

// What ours decompresses of LAZ: all that the viewer shows.
constexpr std::uint32_t kShownChannels = laszip_DECOMPRESS_SELECTIVE_CHANNEL_RETURNS_XY |
                                         laszip_DECOMPRESS_SELECTIVE_Z | laszip_DECOMPRESS_SELECTIVE_CLASSIFICATION |
                                         laszip_DECOMPRESS_SELECTIVE_INTENSITY | laszip_DECOMPRESS_SELECTIVE_RGB;

/// Reads a file into vertex arrays, which it then frees. Returns the number of points, 0 if the file cannot be read.
using Decode = std::function<std::size_t(const std::string& path)>;

struct Reader {
  std::string name;
  Decode decode;
  double goal = 0.0;
};

std::size_t byScanReader(const std::string& path, unsigned threads) {
  std::mutex mutex;
  std::vector<QuorViewer::PointChunk> chunks;
  QuorBenchmarks::decodeScan(path, threads, [&](QuorViewer::PointChunk chunk) {
    const std::lock_guard<std::mutex> held(mutex);
    chunks.push_back(std::move(chunk));
  });
  std::size_t points = 0;
  for (const QuorViewer::PointChunk& chunk : chunks) {
    points += chunk.positions->size();
  }
  return points;
}

Reader scanReader(unsigned threads) {
  return {"ScanReader", [threads](const std::string& path) { return byScanReader(path, threads); }};
}

Reader bareLoop(QuorBenchmarks::VertexArrays (*decode)(const std::string& path), double goal) {
  return {"bare loop", [decode](const std::string& path) { return decode(path).positions->size(); }, goal};
}

Reader laszip(const std::string& name, std::uint32_t channels, double goal) {
  const auto decode = [channels](const std::string& path) {
    return QuorBenchmarks::decodeLaz(path, channels).positions->size();
  };
  return {name, decode, goal};
}

/// Compares readers of a file that `make` creates. All of them must find the given number of points.
void compareReaders(benchmark::State& state, std::string (*make)(std::uint64_t points), std::size_t points,
                    const std::vector<Reader>& readers) {
  try {
    const std::string path = make(static_cast<std::uint64_t>(state.range(0)));
    std::vector<Variant> variants;
    for (const Reader& reader : readers) {
      if (reader.decode(path) != points) {
        return state.SkipWithError((reader.name + " reads another number of points").c_str());
      }
      const auto work = [decode = reader.decode, path] { benchmark::DoNotOptimize(decode(path)); };
      variants.push_back({reader.name, work, {}, 1, reader.goal});
    }
    const std::vector<QuorBenchmarks::Samples> samples =
        QuorBenchmarks::compare(state, variants[0], {variants.begin() + 1, variants.end()});
    state.counters["million points per second"] =
        1e-6 * static_cast<double>(points) / QuorBenchmarks::quantile(samples[0], 0.5);
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
  }
}

std::size_t pointsOf(const benchmark::State& state) {
  return static_cast<std::size_t>(state.range(0));
}

unsigned threadsOf(const benchmark::State& state) {
  return static_cast<unsigned>(state.range(1));
}

// The goals hold for one thread, because the others have only one.
double goalOf(const benchmark::State& state, double goal) {
  return threadsOf(state) == 1 ? goal : 0.0;
}

void readLas(benchmark::State& state) {
  const std::size_t points = pointsOf(state);
  const auto readFile = [points](const std::string& path) { return QuorBenchmarks::readOnly(path) > 0 ? points : 0; };
  compareReaders(state, QuorBenchmarks::lasScan, points,
                 {scanReader(threadsOf(state)),
                  bareLoop(QuorBenchmarks::decodeLas, goalOf(state, 1.2)),
                  {"reading the bytes alone", readFile}});
}

void readLaz(benchmark::State& state) {
  compareReaders(state, QuorBenchmarks::lazScan, pointsOf(state),
                 {scanReader(threadsOf(state)), laszip("LASzip, the same fields", kShownChannels, goalOf(state, 1.1)),
                  laszip("LASzip, all fields", laszip_DECOMPRESS_SELECTIVE_ALL, goalOf(state, 1.1))});
}

void readPly(benchmark::State& state) {
  const auto byPlugin = [points = pointsOf(state)](const std::string& path) {
    return osgDB::readRefNodeFile(path).valid() ? points : 0;
  };
  compareReaders(
      state, QuorBenchmarks::plyScan, pointsOf(state),
      {scanReader(threadsOf(state)), bareLoop(QuorBenchmarks::decodePly, 0.0), {"osgDB's plugin", byPlugin}});
}

#if defined(QUOR_PEER_GTEST_GTEST)
void readNodes(QuorViewer::PointTree& tree, std::atomic<std::uint32_t>& next, std::vector<QuorViewer::NodePoints>& to) {
  for (std::uint32_t node = next++; node < to.size(); node = next++) {
    to[node] = tree.read(node);
  }
}

std::size_t byPointTree(const std::string& path, unsigned threads) {
  const std::unique_ptr<QuorViewer::PointTree> tree = QuorViewer::openCopc(QuorViewer::ScanFile(path));
  std::vector<QuorViewer::NodePoints> nodes(tree->nodes().size());
  std::atomic<std::uint32_t> next = 0;
  std::vector<std::unique_ptr<QuorViewer::PointTree>> clones;
  std::vector<std::thread> further;
  for (unsigned thread = 1; thread < threads; ++thread) {
    clones.push_back(tree->clone());
    further.emplace_back([&clone = *clones.back(), &next, &nodes] { readNodes(clone, next, nodes); });
  }
  readNodes(*tree, next, nodes);
  std::for_each(further.begin(), further.end(), [](std::thread& thread) { thread.join(); });
  std::size_t points = 0;
  for (const QuorViewer::NodePoints& node : nodes) {
    points += node.positions->size();
  }
  return points;
}

void readCopc(benchmark::State& state) {
  const std::size_t points = pointsOf(state) / QuorBenchmarks::kCopcNodes * QuorBenchmarks::kCopcNodes;
  const auto byTree = [threads = threadsOf(state)](const std::string& path) { return byPointTree(path, threads); };
  compareReaders(state, QuorBenchmarks::copcScan, points,
                 {{"PointTree", byTree},
                  laszip("LASzip, the same fields", kShownChannels, goalOf(state, 1.1)),
                  laszip("LASzip, all fields", laszip_DECOMPRESS_SELECTIVE_ALL, goalOf(state, 1.1))});
}
#endif

void sizesAndThreads(benchmark::internal::Benchmark* benchmark) {
  const std::int64_t processors = std::max(std::thread::hardware_concurrency(), 1U);
  benchmark->ArgNames({"points", "threads"})->Unit(benchmark::kMicrosecond)->UseRealTime();
  for (const std::int64_t points : {250000, 1000000}) {
    benchmark->Args({points, 1});
    if (processors > 1) {
      benchmark->Args({points, processors});
    }
  }
}

BENCHMARK(readLas)->Apply(sizesAndThreads);
BENCHMARK(readLaz)->Apply(sizesAndThreads);
BENCHMARK(readPly)->Apply(sizesAndThreads);
#if defined(QUOR_PEER_GTEST_GTEST)
BENCHMARK(readCopc)->Apply(sizesAndThreads);
#endif

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Readers of scans",
    "From a closed file in the system's cache to vertex arrays with all points: positions, colours, intensities, "
    "classes and returns. The scan is a simulated town (LAS point format 7, also compressed, and as binary PLY with "
    "colours); COPC has random points. The others use one thread, check nothing, and know the layout of these files; "
    "osgDB's plugin makes a node. On several threads ours reads independent parts at the same time."};
