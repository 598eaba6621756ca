#include "benchmarks/DecodeScan.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace QuorBenchmarks {
namespace {

using QuorViewer::ScanReader;

constexpr std::uint64_t kPointsPerChunk = std::uint64_t{1} << 17U;

void decodeChunks(ScanReader& scan, std::atomic<std::uint64_t>& next, const TakeChunk& take) {
  const std::uint64_t points = scan.info().pointCount;
  const std::uint64_t entry = std::max<std::uint64_t>(scan.entryPoints(), 1);
  const std::uint64_t step = (kPointsPerChunk + entry - 1) / entry * entry;
  for (std::uint64_t first = next.fetch_add(step); first < points; first = next.fetch_add(step)) {
    take(scan.read(first, static_cast<std::uint32_t>(std::min(step, points - first)), scan.info().origin));
  }
}

}  // namespace

void decodeScan(const std::string& path, unsigned threads, const TakeChunk& take) {
  const std::unique_ptr<ScanReader> scan = ScanReader::open(path);
  std::atomic<std::uint64_t> next = 0;
  std::vector<std::unique_ptr<ScanReader>> readers;
  std::vector<std::thread> further;
  for (unsigned thread = 1; thread < threads; ++thread) {
    readers.push_back(scan->clone());
    further.emplace_back([&reader = *readers.back(), &next, &take] { decodeChunks(reader, next, take); });
  }
  decodeChunks(*scan, next, take);
  std::for_each(further.begin(), further.end(), [](std::thread& thread) { thread.join(); });
}

}  // namespace QuorBenchmarks
