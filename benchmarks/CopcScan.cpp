#include "benchmarks/CopcScan.h"

#include "tests/scan/CopcFile.h"

#include <fstream>
#include <optional>
#include <vector>

namespace QuorBenchmarks {
namespace {

constexpr unsigned kFormat = 7;
constexpr std::uint32_t kLevels = 3;

std::vector<QuorTests::TreeFileNode> fullTree(unsigned pointsPerNode) {
  std::vector<QuorTests::TreeFileNode> nodes;
  for (std::uint32_t level = 0; level < kLevels; ++level) {
    for (std::uint32_t cell = 0; cell < 1U << 3 * level; ++cell) {
      const std::uint32_t side = (1U << level) - 1;
      const QuorViewer::NodeKey key{level, cell & side, cell >> level & side, cell >> 2 * level};
      const auto seed = static_cast<unsigned>(nodes.size()) * pointsPerNode;
      nodes.push_back({key, QuorTests::pointsInNode(key, pointsPerNode, kFormat, seed), 0, std::nullopt});
    }
  }
  return nodes;
}

}  // namespace

void writeCopcScan(const std::string& path, unsigned pointsPerNode) {
  const ScanBytes::Folder folder("quor_benchmark_copc");
  const QuorTests::CopcFile file =
      QuorTests::writeCopc(folder, QuorTests::treeSettings(4, kFormat), fullTree(pointsPerNode));
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(file.bytes.data()), static_cast<std::streamsize>(file.bytes.size()));
}

}  // namespace QuorBenchmarks
