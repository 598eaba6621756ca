#include "scan/index/CopcTree.h"

#include "scan/formats/LazCheck.h"
#include "scan/formats/LazReader.h"
#include "scan/index/CopcHierarchy.h"

#include <algorithm>
#include <utility>

namespace QuorViewer {

namespace {

std::string text(std::uint64_t points, std::uint64_t begin, std::uint64_t end) {
  return std::to_string(points) + " points in bytes " + std::to_string(begin) + " to " + std::to_string(end);
}

/// Requires each node with points to be a chunk of the file, so that its records are where the hierarchy says.
class ChunkMatch {
 public:
  ChunkMatch(const ScanFile& file, const LazChunkTable& chunks) : _file(file), _chunks(chunks) {}

  void require(const CopcNode& node) const {
    const auto chunk =
        std::lower_bound(_chunks.begin(), _chunks.end() - 1, node.firstRecord,
                         [](const LazChunk& one, std::uint64_t record) { return one.firstPoint < record; });
    if (chunk == _chunks.end() - 1) {
      _fail(node, "the chunk table ends before record " + std::to_string(node.firstRecord));
    }
    const LazChunk& next = *std::next(chunk);
    if (chunk->firstPoint != node.firstRecord || next.firstPoint - chunk->firstPoint != node.pointCount ||
        chunk->offset != node.points.offset || next.offset - chunk->offset != node.points.bytes) {
      _fail(node, text(next.firstPoint - chunk->firstPoint, chunk->offset, next.offset) + " in the chunk table");
    }
  }

 private:
  [[noreturn]] void _fail(const CopcNode& node, const std::string& found) const {
    throw _file.error(
        "node " + textOf(node.key) + " is not a chunk of the file, at byte " + std::to_string(node.entryBytes) +
        " (field \"key\"): " + text(node.pointCount, node.points.offset, node.points.offset + node.points.bytes) +
        ", but " + found);
  }

  const ScanFile& _file;
  const LazChunkTable& _chunks;
};

void requireChunks(const ScanFile& file, const CheckedLas& las, const std::vector<CopcNode>& nodes) {
  if (las.pointCount == 0) {
    return;
  }
  const CheckedLaz laz = checkLaz(file, las);
  if (!laz.varyingChunks) {
    throw file.error("the chunks of a COPC file must have a size of their own, but all have " +
                     std::to_string(laz.chunkPoints) + " points");
  }
  const ChunkMatch match(file, *laz.varyingChunks);
  for (const CopcNode& node : nodes) {
    if (node.pointCount > 0) {
      match.require(node);
    }
  }
}

}  // namespace

std::unique_ptr<PointTree> openCopc(ScanFile file) {
  const CheckedLas las = checkLas(file);
  const CopcHierarchy hierarchy = readCopcHierarchy(file, las);
  requireChunks(file, las, hierarchy.nodes);
  TreeInfo info;
  info.cube = hierarchy.cube;
  info.rootSpacing = hierarchy.rootSpacing;
  return makeRecordTree(openLaz(std::move(file), las), info, {hierarchy.nodes.begin(), hierarchy.nodes.end()});
}

}  // namespace QuorViewer
