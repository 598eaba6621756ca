// decode_points FILE: reads all points of a scan into vertex arrays, on all processors, and prints how long it took.

#include "scan/Scan.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace QuorViewer;

constexpr std::uint64_t kPointsPerChunk = std::uint64_t{1} << 17U;

void decodeChunks(ScanReader& scan, std::atomic<std::uint64_t>& next) {
  const std::uint64_t points = scan.info().pointCount;
  const std::uint64_t entry = std::max<std::uint64_t>(scan.entryPoints(), 1);
  const std::uint64_t step = (kPointsPerChunk + entry - 1) / entry * entry;
  for (std::uint64_t first = next.fetch_add(step); first < points; first = next.fetch_add(step)) {
    scan.read(first, static_cast<std::uint32_t>(std::min(step, points - first)), scan.info().origin);
  }
}

void decode(const char* path) {
  const auto start = std::chrono::steady_clock::now();
  const std::unique_ptr<ScanReader> scan = ScanReader::open(path);
  std::atomic<std::uint64_t> next = 0;
  std::vector<std::unique_ptr<ScanReader>> readers;
  std::vector<std::thread> threads;
  for (unsigned int worker = 0; worker < std::max(std::thread::hardware_concurrency(), 1U); ++worker) {
    readers.push_back(scan->clone());
    threads.emplace_back([&reader = *readers.back(), &next] { decodeChunks(reader, next); });
  }
  std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  std::printf("%.6f s\n", taken.count());
}

}  // namespace

int main(int count, char** arguments) try {
  if (count != 2) {
    std::fprintf(stderr, "usage: decode_points FILE\n");
    return 2;
  }
  decode(arguments[1]);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
