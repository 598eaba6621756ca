#pragma once

#include "make_scan/Scanner.h"

#include <cstdint>
#include <vector>

namespace QuorViewer {

/// A run of points computed in one go: the returns of one sector's pulses, counted from `firstPulse`.
struct Block {
  unsigned sector;
  std::uint64_t firstPulse;
  std::uint64_t firstPoint;  ///< index in the scan
  std::uint32_t count;
};

/// Divides an exact number of points among the sectors of a survey, in proportion to the returns from each, as measured
/// with a few trial pulses; so every station sends about the same number of pulses, as real ones do.
std::vector<Block> planBlocks(const Scanner& scanner, std::uint64_t points);

/// Calls `visit(const Echo&)` for the pulses of a block until it has exactly its count of points. A pulse with more
/// returns than there is room for is skipped, so that no pulse is split.
template <typename Visitor>
void forEachEcho(const Scanner& scanner, const Block& block, const Visitor& visit) {
  std::uint32_t points = 0;
  for (std::uint64_t pulse = block.firstPulse; points < block.count; ++pulse) {
    const Echo echo = scanner.echo(block.sector, pulse);
    if (echo.count == 0 || echo.count > block.count - points) {
      continue;
    }
    points += static_cast<std::uint32_t>(echo.count);
    visit(echo);
  }
}

}  // namespace QuorViewer
