#pragma once

#include "scan/index/IndexGrid.h"
#include "scan/index/IndexPoint.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace QuorViewer {

/// Sorts the points of one cube, the chunk, into the nodes of the octree: those above the cube, to which it
/// contributes, its own, and those below. In each inner node, of the points that no node above holds, the one nearest
/// to the centre of each of 128³ cells stays; a node with few points keeps all of them.
///
/// Memory: 56 bytes for each point.
class SubtreeBuilder {
 public:
  static constexpr unsigned kCellBits = 7;  ///< cells along a node's cube: 2^7
  /// A node with at most this many points is a leaf.
  static constexpr std::size_t kLeafPoints = 16384;
  static constexpr std::size_t kBytesPerPoint = 56;

  /// Gets the points of a node, not empty. Nodes above the chunk come first, then parents before their children.
  using Sink = std::function<void(const NodeKey& key, std::vector<IndexPoint> points)>;
  /// Whether the chunk may give a point to a node so far above that a cell of the node holds several chunks: only one
  /// of them may.
  using MayGive = std::function<bool(const NodeKey& ancestor)>;

  SubtreeBuilder(const IndexGrid& grid, const NodeKey& chunk, Sink sink)
      : _grid(grid), _chunk(chunk), _sink(std::move(sink)) {}

  /// `points` lie in the chunk's cube.
  void build(std::vector<IndexPoint> points, const MayGive& mayGive);

 private:
  struct Range {
    std::size_t begin, end;  // in `_points` and `_codes`
  };

  void _sort(std::vector<IndexPoint> points);
  std::uint64_t _codeOf(const IndexPoint& point) const;
  bool _isDeepest(std::uint32_t level) const { return level >= IndexGrid::kDeepestLevel; }
  /// Whether the codes have no bits left for the cells of a level.
  bool _needsNewCodes(std::uint32_t level) const;
  /// Takes the points that a node of this level holds out of the range, whose end moves.
  std::vector<IndexPoint> _sample(std::uint32_t level, Range& range);
  std::size_t _nearestToCentre(std::uint32_t level, const Range& cell) const;
  std::size_t _endOfCell(unsigned cellBits, const Range& rest) const;
  void _divide(const NodeKey& key, Range range);

  const IndexGrid& _grid;
  NodeKey _chunk;
  Sink _sink;
  std::vector<IndexPoint> _points;    // in the order of `_codes`
  std::vector<std::uint64_t> _codes;  // Morton codes in the chunk's cube, ascending
};

}  // namespace QuorViewer
