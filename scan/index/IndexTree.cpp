#include "scan/index/IndexTree.h"

#include "scan/Scan.h"
#include "scan/ScanFile.h"
#include "scan/index/PointColumns.h"
#include "scan/index/SubtreeBuilder.h"

#include <map>
#include <utility>

namespace QuorViewer {
namespace {

class BytesInFile : public IndexBytes {
 public:
  explicit BytesInFile(const std::string& path) : _file(path) {}

  std::string name() const override { return _file.path(); }
  std::uint64_t size() const override { return _file.size(); }
  std::size_t read(std::uint64_t offset, unsigned char* to, std::size_t count) const override {
    return _file.readAvailable(offset, to, count);
  }

 private:
  ScanFile _file;
};

TreeInfo infoOf(const IndexContents& contents) {
  TreeInfo info;
  info.cube = contents.grid.cube();
  info.rootSpacing = info.cube.size / static_cast<double>(1U << SubtreeBuilder::kCellBits);
  info.pointCount = contents.summary.points;
  info.bounds = contents.summary.bounds;
  info.classes = contents.summary.classes;
  info.anyIntensity = contents.summary.anyIntensity;
  return info;
}

NodePoints arraysOf(const std::vector<IndexPoint>& points, const IndexGrid& grid, const NodeKey& key) {
  NodePoints to;
  to.origin = grid.cube().cubeOf(key)._min;
  const osg::Vec3d toNode = grid.cube().least - to.origin;
  const auto count = static_cast<unsigned int>(points.size());
  to.positions = new osg::Vec3Array(count);
  to.colours = new osg::Vec4ubArray(count);
  to.intensities = new osg::UShortArray(count);
  to.classesReturns = new osg::Vec2ubArray(count);
  to.records = new osg::UIntArray(count);
  for (unsigned int i = 0; i < count; ++i) {
    const IndexPoint& point = points[i];
    (*to.positions)[i] = grid.positionOf(point.grid) + toNode;
    (*to.colours)[i].set(point.colour[0], point.colour[1], point.colour[2], 255);
    (*to.intensities)[i] = point.intensity;
    (*to.classesReturns)[i].set(point.classification, point.returns);
    (*to.records)[i] = point.record;
    to.bounds.expandBy((*to.positions)[i]);
  }
  return to;
}

}  // namespace

std::vector<TreeNode> linkNodes(const std::vector<IndexEntry>& entries) {
  std::vector<TreeNode> nodes;
  std::map<NodeKey, std::uint32_t> places;
  for (const IndexEntry& entry : entries) {
    const auto place = static_cast<std::uint32_t>(nodes.size());
    places[entry.key] = place;
    if (entry.key.level > 0) {
      const unsigned octant = (entry.key.x & 1U) | (entry.key.y & 1U) << 1U | (entry.key.z & 1U) << 2U;
      nodes[places.at(entry.key.parent())].children.at(octant) = place;
    }
    TreeNode node;
    node.key = entry.key;
    node.pointCount = entry.points;
    nodes.push_back(node);
  }
  return nodes;
}

IndexTree::IndexTree(std::shared_ptr<const IndexBytes> bytes) : _bytes(std::move(bytes)) {
  const std::vector<unsigned char> header = _load(0, IndexContents::kHeaderBytes);
  auto shared = std::make_shared<Shared>();
  IndexDirectoryPlace place;
  std::string wrong = parseIndexHeader(header.data(), shared->contents, place);
  if (wrong.empty()) {
    wrong = parseIndexDirectory(_load(place.offsetBytes, place.bytes), place, shared->contents);
  }
  if (!wrong.empty()) {
    _refuse(wrong);
  }
  shared->info = infoOf(shared->contents);
  shared->nodes = linkNodes(shared->contents.entries);
  _shared = std::move(shared);
}

std::unique_ptr<IndexTree> IndexTree::open(const std::string& path) {
  return std::make_unique<IndexTree>(std::make_shared<BytesInFile>(path));
}

void IndexTree::_refuse(const std::string& reason) const {
  throw ScanError(_bytes->name() + ": the index is damaged: " + reason);
}

std::vector<unsigned char> IndexTree::_load(std::uint64_t offset, std::uint64_t count) const {
  if (offset > _bytes->size() || count > _bytes->size() - offset) {
    _refuse("it is truncated at byte " + std::to_string(_bytes->size()));
  }
  std::vector<unsigned char> bytes(static_cast<std::size_t>(count));
  if (_bytes->read(offset, bytes.data(), bytes.size()) != bytes.size()) {
    _refuse("it cannot be read at byte " + std::to_string(offset));
  }
  return bytes;
}

NodePoints IndexTree::read(std::uint32_t node) {
  return _read(_shared->contents.entries.at(node));
}

NodePoints IndexTree::_read(const IndexEntry& entry) {
  _points.clear();
  if (entry.points > 0) {
    const std::vector<unsigned char> bytes = _load(entry.offsetBytes, entry.bytes);
    if (checksumOf(bytes.data(), bytes.size()) != entry.checksum ||
        !unpackColumns(bytes.data(), bytes.size(), entry.points, _points)) {
      _refuse("the points at byte " + std::to_string(entry.offsetBytes) + " do not match their checksum");
    }
  }
  return arraysOf(_points, _shared->contents.grid, entry.key);
}

}  // namespace QuorViewer
