#include "scan/index/RecordTree.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace QuorViewer {

namespace {

constexpr std::uint32_t kDeepestLevel = 31;
constexpr std::uint64_t kMostRecords = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kBlockPoints = std::uint32_t{1} << 20U;

bool byKey(const RecordNode& node, const NodeKey& key) {
  return node.key < key;
}

/// The index of the node with a key; their number if there is none.
std::size_t indexOf(const std::vector<RecordNode>& nodes, const NodeKey& key) {
  const auto found = std::lower_bound(nodes.begin(), nodes.end(), key, byKey);
  return found != nodes.end() && found->key == key ? static_cast<std::size_t>(found - nodes.begin()) : nodes.size();
}

std::string rangeFault(const NodeKey& key) {
  if (key.level > kDeepestLevel) {
    return "its level is outside the range 0 to " + std::to_string(kDeepestLevel);
  }
  const std::uint64_t cells = std::uint64_t{1} << key.level;
  return key.x >= cells || key.y >= cells || key.z >= cells
             ? "it is outside its level, which has " + std::to_string(cells) + " cells along each axis"
             : std::string();
}

std::string faultAt(const std::vector<RecordNode>& nodes, std::size_t node) {
  const NodeKey& key = nodes[node].key;
  if (std::string reason = rangeFault(key); !reason.empty()) {
    return reason;
  }
  if (node > 0 && nodes[node - 1].key == key) {
    return "it occurs twice";
  }
  if (key.level > 0 && indexOf(nodes, key.parent()) == nodes.size()) {
    return "its parent " + textOf(key.parent()) + " is missing";
  }
  return {};
}

// Children come after their parents, so this also leaves out parents whose children are all left out.
std::vector<RecordNode> withoutEmptyLeaves(const std::vector<RecordNode>& nodes) {
  std::vector<bool> kept(nodes.size());
  for (std::size_t node = nodes.size(); node-- > 0;) {
    kept[node] = kept[node] || nodes[node].pointCount > 0;
    if (kept[node] && nodes[node].key.level > 0) {
      kept[indexOf(nodes, nodes[node].key.parent())] = true;
    }
  }
  std::vector<RecordNode> left;
  for (std::size_t node = 0; node < nodes.size(); ++node) {
    if (kept[node]) {
      left.push_back(nodes[node]);
    }
  }
  return left;
}

unsigned octantOf(const NodeKey& key) {
  return (key.x & 1U) | (key.y & 1U) << 1U | (key.z & 1U) << 2U;
}

/// What all clones of a tree share.
struct SharedTree {
  TreeInfo info;
  std::vector<TreeNode> nodes;
  std::vector<std::uint64_t> firstRecords;
};

std::shared_ptr<const SharedTree> shareTree(const TreeInfo& info, const std::vector<RecordNode>& nodes) {
  auto tree = std::make_shared<SharedTree>();
  tree->info = info;
  for (const RecordNode& node : nodes) {
    const auto index = static_cast<std::uint32_t>(tree->nodes.size());
    tree->nodes.emplace_back();
    tree->nodes.back().key = node.key;
    tree->nodes.back().pointCount = static_cast<std::uint32_t>(node.pointCount);
    tree->firstRecords.push_back(node.firstRecord);
    if (node.key.level > 0) {
      tree->nodes[indexOf(nodes, node.key.parent())].children[octantOf(node.key)] = index;
    }
  }
  return tree;
}

template <typename Array>
void appendAll(const Array& from, Array& to) {
  to.asVector().insert(to.end(), from.begin(), from.end());
}

void append(const PointChunk& from, PointChunk& to) {
  appendAll(*from.positions, *to.positions);
  appendAll(*from.colours, *to.colours);
  appendAll(*from.intensities, *to.intensities);
  appendAll(*from.classesReturns, *to.classesReturns);
  to.bounds.expandBy(from.bounds);
}

class RecordTree : public PointTree {
 public:
  RecordTree(std::unique_ptr<ScanReader> reader, std::shared_ptr<const SharedTree> tree)
      : _reader(std::move(reader)), _tree(std::move(tree)) {}

  const TreeInfo& info() const override { return _tree->info; }
  const std::vector<TreeNode>& nodes() const override { return _tree->nodes; }

  NodePoints read(std::uint32_t node) override {
    assert(node < _tree->nodes.size());
    const std::uint32_t count = _tree->nodes[node].pointCount;
    const std::uint64_t first = _tree->firstRecords[node];
    NodePoints points;
    points.origin = _tree->info.cube.cubeOf(_tree->nodes[node].key)._min;
    const PointChunk chunk = _readChunk(first, count, points.origin);
    points.positions = chunk.positions;
    points.colours = chunk.colours;
    points.intensities = chunk.intensities;
    points.classesReturns = chunk.classesReturns;
    points.bounds = chunk.bounds;
    points.records = new osg::UIntArray(count);
    std::iota(points.records->begin(), points.records->end(), static_cast<std::uint32_t>(first));
    return points;
  }

  std::unique_ptr<PointTree> clone() const override { return std::make_unique<RecordTree>(_reader->clone(), _tree); }

 private:
  // The count may be wrong, and compressed points do not show how many they are. So the memory of a large node grows
  // with the points that were decompressed.
  PointChunk _readChunk(std::uint64_t first, std::uint32_t count, const osg::Vec3d& origin) {
    PointChunk chunk = _reader->read(first, std::min(count, kBlockPoints), origin);
    while (chunk.positions->size() < count) {
      const auto held = static_cast<std::uint32_t>(chunk.positions->size());
      append(_reader->read(first + held, std::min(count - held, kBlockPoints), origin), chunk);
    }
    return chunk;
  }

  std::unique_ptr<ScanReader> _reader;
  std::shared_ptr<const SharedTree> _tree;
};

}  // namespace

std::string textOf(const NodeKey& key) {
  std::string joined = std::to_string(static_cast<std::int32_t>(key.level));
  for (const std::uint32_t cell : {key.x, key.y, key.z}) {
    joined += "-" + std::to_string(static_cast<std::int32_t>(cell));
  }
  return joined;
}

std::string faultOf(const RootCube& cube) {
  if (!(cube.size > 0.0)) {
    return "its size is not positive: " + std::to_string(cube.size);
  }
  if (!isUsable(cube.least) || !isUsable(cube.cubeOf({})._max)) {
    return "its corners are not finite, or too far from the origin";
  }
  return {};
}

std::optional<NodeFault> findFault(const std::vector<RecordNode>& nodes) {
  for (std::size_t node = 0; node < nodes.size(); ++node) {
    if (std::string reason = faultAt(nodes, node); !reason.empty()) {
      return NodeFault{node, std::move(reason)};
    }
  }
  return std::nullopt;
}

std::unique_ptr<PointTree> makeRecordTree(std::unique_ptr<ScanReader> reader, const TreeInfo& info,
                                          const std::vector<RecordNode>& nodes) {
  const ScanInfo& scan = reader->info();
  if (scan.pointCount > kMostRecords) {
    throw ScanError(scan.path + ": too many points for an octree: " + std::to_string(scan.pointCount) + " found, " +
                    std::to_string(kMostRecords) + " supported");
  }
  TreeInfo complete = info;
  complete.pointCount = scan.pointCount;
  complete.bounds = scan.bounds;
  return std::make_unique<RecordTree>(std::move(reader), shareTree(complete, withoutEmptyLeaves(nodes)));
}

}  // namespace QuorViewer
