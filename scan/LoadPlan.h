#pragma once

#include "scan/PointRange.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace QuorViewer {

/// The load phase of a part of a scan.
enum class LoadPhase {
  Sample,     ///< in a sample from all over the scan, which gives an early overview
  Remainder,  ///< the rest of a scan that has such a sample
  Whole       ///< in a scan without such a sample: it is small, or can only be read from its start
};

/// A part of a scan that becomes one chunk.
struct PlannedChunk {
  PointRange points;
  LoadPhase phase = LoadPhase::Whole;
};

/// The sizes for a plan, in points.
struct LoadSizes {
  std::uint64_t sample = std::uint64_t{1} << 19U;  ///< approximate size of the sample for the first image
  std::uint64_t chunk = std::uint64_t{1} << 18U;   ///< at most; one graphics buffer, one worker command
  std::uint64_t runs = 512;                        ///< maximum number of places that the sample is taken from
  std::uint64_t fewestRuns = 16;                   ///< minimum number; fewer would not represent the scan
};

/// The order in which a scan of `pointCount` points is read: every `decimation`-th point once, and no others. Reading
/// starts at multiples of `entryPoints`, so that no point is decompressed only to be skipped. Within a chunk, every
/// index is less than 2^32 above the first.
std::vector<PlannedChunk> planLoad(std::uint64_t pointCount, std::uint64_t entryPoints, std::uint64_t decimation,
                                   const LoadSizes& sizes = LoadSizes());

/// What is read of a scan to show something of it early: the sample, or the whole of a small scan. Empty if the scan is
/// large and reading can start at too few places for a sample.
std::vector<PlannedChunk> planSample(std::uint64_t pointCount, std::uint64_t entryPoints,
                                     const LoadSizes& sizes = LoadSizes());

/// Number of points left of `pointCount` if every `decimation`-th is kept.
std::uint64_t decimatedCount(std::uint64_t pointCount, std::uint64_t decimation);

/// The smallest decimation that leaves at most `mostPoints`, which is at least 1.
std::uint64_t decimationFor(std::uint64_t pointCount, std::uint64_t mostPoints);

}  // namespace QuorViewer
