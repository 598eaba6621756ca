#pragma once

#include <cstdint>
#include <string>

namespace QuorBenchmarks {

constexpr std::uint64_t kCopcNodes = 1 + 8 + 64;

/// Writes COPC, point format 7, with random points in an octree of three full levels. All nodes have the same number of
/// points.
void writeCopcScan(const std::string& path, unsigned pointsPerNode);

}  // namespace QuorBenchmarks
