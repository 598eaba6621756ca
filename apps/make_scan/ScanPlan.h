#pragma once

#include "make_scan/Scanner.h"

#include <cstdint>
#include <vector>

namespace QuorViewer {

/// A run of points that is computed in one go: the returns of pulses of one sector, counted from `firstPulse`.
struct Block {
  unsigned sector;
  std::uint64_t firstPulse;
  std::uint64_t firstPoint;  ///< index in the scan
  std::uint32_t count;
};

/// Divides an exact number of points among the sectors of a survey, in proportion to what comes back from each, as
/// found by a few pulses beforehand; so every station sends about the same number of pulses, as real ones do.
std::vector<Block> planBlocks(const Scanner& scanner, std::uint64_t points);

/// Calls `visit(const Echo&)` for the pulses of a block until it has exactly its count of points. A pulse whose returns
/// do not all find room in the end is passed over, so that no pulse is ever cut apart.
template <typename Visitor>
void forEachEcho(const Scanner& scanner, const Block& block, const Visitor& visit) {
  std::uint32_t points = 0;
  for (std::uint64_t pulse = block.firstPulse; points < block.count; ++pulse) {
    const Echo echo = scanner.echo(block.sector, pulse);
    if (echo.count == 0 || echo.count > block.count - points) continue;
    points += static_cast<std::uint32_t>(echo.count);
    visit(echo);
  }
}

}  // namespace QuorViewer
