// decode_points FILE: reads all points of a scan into vertex arrays, on all processors, and prints how long it took.

#include "benchmarks/DecodeScan.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <thread>

namespace {

void decode(const char* path) {
  const auto start = std::chrono::steady_clock::now();
  QuorBenchmarks::decodeScan(path, std::max(std::thread::hardware_concurrency(), 1U), [](const auto&) {});
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
