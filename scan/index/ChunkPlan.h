#pragma once

#include "scan/index/NodeKey.h"

#include <cstdint>
#include <map>
#include <vector>

namespace QuorViewer {

/// A cube whose points are sorted in memory.
struct Chunk {
  NodeKey key;
  std::uint64_t points = 0;
  std::vector<NodeKey> buckets;  ///< that lie in it
};

/// Joins buckets into cubes that are as large as possible and have at most a number of points. Does not change: any
/// thread.
class ChunkPlan {
 public:
  /// `counts`: of disjoint buckets. One with more points becomes a chunk of its own.
  ChunkPlan(const std::map<NodeKey, std::uint64_t>& counts, std::uint64_t mostPoints);

  /// In the order of a walk through the octree, so that nodes above them are completed early.
  const std::vector<Chunk>& chunks() const { return _chunks; }
  std::vector<NodeKey> keys() const;

  /// Whether a chunk may give a point to a node so far above it that a cell of the node contains several chunks: of
  /// these, the one nearest to the cell's centre.
  bool mayGive(const NodeKey& chunk, const NodeKey& ancestor) const;

 private:
  void _walk(const NodeKey& key, const std::map<NodeKey, std::uint64_t>& totals, std::uint64_t mostPoints);
  void _addBuckets(const std::map<NodeKey, std::uint64_t>& counts);
  void _chooseGivers();

  std::vector<Chunk> _chunks;
  std::map<NodeKey, NodeKey> _givers;  // by cell
};

}  // namespace QuorViewer
