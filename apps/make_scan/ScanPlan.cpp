#include "make_scan/ScanPlan.h"

#include <algorithm>

namespace QuorViewer {

namespace {

constexpr std::uint64_t kBlockPointsMost = 65536;
// Far enough apart that two blocks of a sector never send the same pulse.
constexpr std::uint64_t kPulsesBetweenBlocks = std::uint64_t{1} << 32;

std::uint64_t pointsOfTrial(const Scanner& scanner, unsigned sector, std::uint64_t pulses) {
  std::uint64_t points = 0;
  for (std::uint64_t pulse = 0; pulse < pulses; ++pulse) {
    points += scanner.echo(sector, pulse).count;
  }
  return points;
}

// points * part / whole without overflow.
std::uint64_t share(std::uint64_t points, std::uint64_t part, std::uint64_t whole) {
  return points / whole * part + points % whole * part / whole;
}

void addBlocks(std::vector<Block>& blocks, unsigned sector, std::uint64_t first, std::uint64_t end) {
  for (std::uint64_t pulse = 0; first < end; pulse += kPulsesBetweenBlocks) {
    const std::uint64_t count = std::min(kBlockPointsMost, end - first);
    blocks.push_back({sector, pulse, first, static_cast<std::uint32_t>(count)});
    first += count;
  }
}

}  // namespace

std::vector<Block> planBlocks(const Scanner& scanner, std::uint64_t points) {
  const unsigned sectors = scanner.sectorCount();
  const std::uint64_t trialPulses = std::clamp<std::uint64_t>(points / sectors / 8, 16, 256);
  std::vector<std::uint64_t> upTo(sectors + 1U, 0);
  for (unsigned sector = 0; sector < sectors; ++sector) {
    upTo[sector + 1U] = upTo[sector] + pointsOfTrial(scanner, sector, trialPulses);
  }
  std::vector<Block> blocks;
  for (unsigned sector = 0; sector < sectors; ++sector) {
    addBlocks(blocks, sector, share(points, upTo[sector], upTo.back()), share(points, upTo[sector + 1U], upTo.back()));
  }
  return blocks;
}

}  // namespace QuorViewer
