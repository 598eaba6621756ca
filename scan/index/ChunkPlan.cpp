#include "scan/index/ChunkPlan.h"

#include "scan/index/SubtreeBuilder.h"

#include <osg/Vec3d>

#include <algorithm>
#include <iterator>
#include <set>

namespace QuorViewer {
namespace {

osg::Vec3d centreOf(const NodeKey& key) {
  static const RootCube kUnit = {osg::Vec3d(), 1.0};
  return kUnit.cubeOf(key).center();
}

}  // namespace

ChunkPlan::ChunkPlan(const std::map<NodeKey, std::uint64_t>& counts, std::uint64_t mostPoints) {
  std::map<NodeKey, std::uint64_t> totals;
  for (const auto& [bucket, count] : counts) {
    totals[bucket] += count;
    for (NodeKey key = bucket; key.level > 0;) {
      key = key.parent();
      totals[key] += count;
    }
  }
  _walk(NodeKey(), totals, mostPoints);
  _addBuckets(counts);
  _chooseGivers();
}

// A key without children is a bucket, because the keys of all nodes above the buckets are there.
void ChunkPlan::_walk(const NodeKey& key, const std::map<NodeKey, std::uint64_t>& totals, std::uint64_t mostPoints) {
  const auto found = totals.find(key);
  if (found == totals.end()) {
    return;
  }
  const auto hasChildren = [&] {
    for (unsigned octant = 0; octant < 8; ++octant) {
      if (totals.count(key.child(octant)) > 0) {
        return true;
      }
    }
    return false;
  };
  if (found->second <= mostPoints || !hasChildren()) {
    _chunks.push_back({key, found->second, {}});
    return;
  }
  for (unsigned octant = 0; octant < 8; ++octant) {
    _walk(key.child(octant), totals, mostPoints);
  }
}

void ChunkPlan::_addBuckets(const std::map<NodeKey, std::uint64_t>& counts) {
  std::map<NodeKey, std::size_t> places;
  for (std::size_t i = 0; i < _chunks.size(); ++i) {
    places[_chunks[i].key] = i;
  }
  for (const auto& [bucket, count] : counts) {
    NodeKey key = bucket;
    while (places.count(key) == 0) {
      key = key.parent();
    }
    _chunks[places.at(key)].buckets.push_back(bucket);
  }
}

void ChunkPlan::_chooseGivers() {
  for (const Chunk& chunk : _chunks) {
    NodeKey cell = chunk.key;
    while (cell.level >= SubtreeBuilder::kCellBits) {
      const auto [giver, first] = _givers.emplace(cell, chunk.key);
      const osg::Vec3d centre = centreOf(cell);
      if (!first && (centreOf(chunk.key) - centre).length2() < (centreOf(giver->second) - centre).length2()) {
        giver->second = chunk.key;
      }
      cell = cell.parent();
    }
  }
}

bool ChunkPlan::mayGive(const NodeKey& chunk, const NodeKey& ancestor) const {
  NodeKey cell = chunk;
  while (cell.level > ancestor.level + SubtreeBuilder::kCellBits) {
    cell = cell.parent();
  }
  const auto giver = _givers.find(cell);
  return giver == _givers.end() || giver->second == chunk;
}

std::vector<NodeKey> ChunkPlan::keys() const {
  std::vector<NodeKey> keys;
  std::transform(_chunks.begin(), _chunks.end(), std::back_inserter(keys),
                 [](const Chunk& chunk) { return chunk.key; });
  return keys;
}

}  // namespace QuorViewer
