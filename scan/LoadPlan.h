#pragma once

#include "scan/PointRange.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace QuorViewer {

/// When a part of a scan is read.
enum class Turn {
  First,  ///< belongs to a sample from all over the scan, which shows at once what it is like
  Later,  ///< what that sample leaves out
  Plain   ///< of a scan that has no such sample: it is small, or cannot be entered in its middle
};

/// A part of a scan that becomes one chunk.
struct PlannedChunk {
  PointRange points;
  Turn turn = Turn::Plain;
};

/// The sizes that a plan goes by, in points.
struct LoadSizes {
  std::uint64_t sample = std::uint64_t{1} << 19U;  ///< about as many make up the first picture
  std::uint64_t chunk = std::uint64_t{1} << 18U;   ///< at most; on the graphics card a buffer, on the worker a command
  std::uint64_t runs = 512;                        ///< places where the sample enters the scan, at most
  std::uint64_t fewestRuns = 16;                   ///< fewer would show a part for the whole
};

/// The order in which a scan of `pointCount` points is read, every `thinning`-th of them once and no other. Points are
/// entered at multiples of `entryPoints`, so that nothing is unpacked only to be passed over. Within a chunk no index
/// lies 2^32 or more behind the first.
std::vector<PlannedChunk> planLoad(std::uint64_t pointCount, std::uint64_t entryPoints, std::uint64_t thinning,
                                   const LoadSizes& sizes = LoadSizes());

/// How many points are left of `pointCount` when every `thinning`-th is kept.
std::uint64_t thinnedCount(std::uint64_t pointCount, std::uint64_t thinning);

/// The least thinning that leaves at most `mostPoints`, which is at least 1.
std::uint64_t thinningFor(std::uint64_t pointCount, std::uint64_t mostPoints);

}  // namespace QuorViewer
