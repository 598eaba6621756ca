#include "tests/scan/CopcFile.h"

#include "scan/formats/AdaptiveModels.h"
#include "tests/scan/LazFile.h"

#include <algorithm>
#include <random>
#include <string>
#include <utility>

namespace QuorTests {
namespace {

using QuorViewer::AdaptiveBit;
using QuorViewer::AdaptiveSymbols;
using QuorViewer::IntegerModels;
using QuorViewer::NodeKey;
using ScanBytes::Bytes;
using ScanBytes::FileSettings;
using ScanBytes::Folder;
using ScanBytes::Point;

/// The counterpart of the decoder; LASzip checks it, because it must be able to read the table.
class ArithmeticEncoder {
 public:
  explicit ArithmeticEncoder(Bytes& to) : _to(to) {}

  void integer(IntegerModels& models, unsigned column, std::uint32_t prediction, std::uint32_t value) {
    const auto difference = static_cast<std::int32_t>(value - prediction);
    const unsigned bits = _significantBits(difference);
    _symbol(models.lengths[column], bits);
    if (bits == 0) {
      _bit(models.shortest, difference == 1);
    } else if (bits < IntegerModels::kBits) {
      _difference(models, bits, difference);
    }
  }

  void finish() {
    for (unsigned shift = 32; shift > 0; shift -= 8) {
      _to.push_back(static_cast<unsigned char>(_base >> (shift - 8) & 0xFFU));
    }
  }

 private:
  // The number n for which the difference lies within -(2^n - 1) to 2^n.
  static unsigned _significantBits(std::int32_t difference) {
    const std::int64_t wide = difference;
    unsigned bits = 0;
    while (wide < 1 - (std::int64_t{1} << bits) || wide > std::int64_t{1} << bits) {
      ++bits;
    }
    return bits;
  }

  void _difference(IntegerModels& models, unsigned bits, std::int32_t difference) {
    const std::int64_t wide = difference;
    const auto number = static_cast<std::uint32_t>(difference < 0 ? wide + (std::int64_t{1} << bits) - 1 : wide - 1);
    const unsigned plain = bits - std::min(bits, IntegerModels::kModelledBits);
    _symbol(models.differences[bits - 1], number >> plain);
    if (plain > 0) {
      _plainBits(plain, number & ((1U << plain) - 1U));
    }
  }

  void _bit(AdaptiveBit& model, bool bit) {
    const std::uint32_t zeros = (_length >> AdaptiveBit::kShareBits) * model.share();
    bit ? _narrow(zeros, _length - zeros) : _narrow(0, zeros);
    model.count(bit);
  }

  void _symbol(AdaptiveSymbols& model, std::uint32_t symbol) {
    const std::uint32_t unit = _length >> AdaptiveSymbols::kShareBits;
    const std::uint32_t begin = model.begin(symbol) * unit;
    const std::uint32_t end = symbol + 1 < model.size() ? model.begin(symbol + 1) * unit : _length;
    _narrow(begin, end - begin);
    model.count(symbol);
  }

  void _plainBits(unsigned count, std::uint32_t bits) {
    if (count > 19) {
      _plainBits(16, bits & 0xFFFFU);
      return _plainBits(count - 16, bits >> 16U);
    }
    _narrow((_length >> count) * bits, _length >> count);
  }

  void _narrow(std::uint32_t begin, std::uint32_t length) {
    _base += begin;
    for (std::size_t at = _to.size(); _base < begin && at-- > 0;) {
      if (++_to[at] != 0) {
        break;
      }
    }
    _length = length;
    for (; _length < 1U << 24U; _length <<= 8U) {
      _to.push_back(static_cast<unsigned char>(_base >> 24U));
      _base <<= 8U;
    }
  }

  Bytes& _to;
  std::uint32_t _base = 0;
  std::uint32_t _length = 0xFFFFFFFFU;
};

void addFixedText(Bytes& to, std::string text, std::size_t length) {
  text.resize(length);
  to.addText(text);
}

void addRecordHead(Bytes& to, const std::string& user, std::uint16_t id) {
  to.add(std::uint16_t{0});
  addFixedText(to, user, 16);
  to.add(id);
}

std::uint32_t countOf(const TreeFileNode& node) {
  return node.statedCount.value_or(static_cast<std::uint32_t>(node.points.size()));
}

/// What LASzip makes of the points of a node.
struct Compressed {
  Bytes record;  ///< on the compression, with its head
  Bytes chunk;
};

Compressed compress(const Folder& folder, const FileSettings& settings, const std::vector<Point>& points) {
  const std::string path = folder.path("node.laz");
  writeLaz(path, settings, points, static_cast<unsigned>(points.size()));
  const Bytes file = contentOf(path);
  const auto pointsAt = static_cast<std::ptrdiff_t>(numberAt<std::uint32_t>(file, 96));
  const auto table = static_cast<std::ptrdiff_t>(numberAt<std::uint64_t>(file, static_cast<std::size_t>(pointsAt)));
  Compressed compressed;
  compressed.record.assign(file.begin() + 375, file.begin() + pointsAt);
  compressed.record.set(54 + 12, std::uint32_t{0xFFFFFFFFU});  // chunks of varying size
  compressed.chunk.assign(file.begin() + pointsAt + 8, file.begin() + table);
  return compressed;
}

class CopcWriter {
 public:
  CopcWriter(const Folder& folder, const FileSettings& settings, const std::vector<TreeFileNode>& nodes)
      : _folder(folder), _settings(settings), _nodes(nodes), _chunks(nodes.size()) {}

  CopcFile run() {
    _addStart();
    _addChunks();
    _addTable();
    _addHierarchy();
    return std::move(_file);
  }

 private:
  void _addStart() {
    std::uint64_t count = 0;
    for (const TreeFileNode& node : _nodes) {
      count += countOf(node);
    }
    Bytes& bytes = _file.bytes;
    bytes = ScanBytes::header(_settings, count);
    bytes.set(100, std::uint32_t{2});
    bytes[104] |= 0x80U;
    addRecordHead(bytes, "copc", 1);
    bytes.add(std::uint16_t{160});
    addFixedText(bytes, "octree", 32);
    for (const double centre : _settings.offset) {
      bytes.add(centre);
    }
    bytes.add(kTreeHalfSteps * kTreeStep);
    bytes.add(kTreeSpacing);
    bytes.resize(CopcFile::kInfoAt + 160);
  }

  void _addChunks() {
    Bytes& bytes = _file.bytes;
    for (std::size_t node = 0; node < _nodes.size(); ++node) {
      if (_nodes[node].points.empty()) {
        continue;
      }
      const Compressed compressed = compress(_folder, _settings, _nodes[node].points);
      if (_pointsAt == 0) {
        bytes.insert(bytes.end(), compressed.record.begin(), compressed.record.end());
        _pointsAt = bytes.size();
        bytes.set(96, static_cast<std::uint32_t>(_pointsAt));
        bytes.add(std::uint64_t{0});
      }
      _chunks[node] = {bytes.size(), compressed.chunk.size()};
      bytes.insert(bytes.end(), compressed.chunk.begin(), compressed.chunk.end());
    }
  }

  void _addTable() {
    Bytes& bytes = _file.bytes;
    _file.tableAt = bytes.size();
    bytes.set(_pointsAt, _file.tableAt);
    bytes.add(std::uint32_t{0});
    bytes.add(std::uint32_t{0});
    ArithmeticEncoder encoder(bytes);
    IntegerModels models;
    std::uint32_t chunks = 0;
    std::uint32_t points = 0;
    std::uint32_t length = 0;
    for (std::size_t node = 0; node < _nodes.size(); ++node) {
      if (_nodes[node].points.empty()) {
        continue;
      }
      const std::uint32_t pointsBefore = std::exchange(points, countOf(_nodes[node]));
      const std::uint32_t lengthBefore = std::exchange(length, static_cast<std::uint32_t>(_chunks[node].bytes));
      encoder.integer(models, 0, pointsBefore, points);
      encoder.integer(models, 1, lengthBefore, length);
      ++chunks;
    }
    encoder.finish();
    bytes.set(_file.tableAt + 4, chunks);
  }

  void _addHierarchy() {
    Bytes& bytes = _file.bytes;
    _file.hierarchyAt = bytes.size();
    bytes.set(235, _file.hierarchyAt);
    bytes.set(243, std::uint32_t{1});
    addRecordHead(bytes, "copc", 1000);
    bytes.add(std::uint64_t{0});
    addFixedText(bytes, "pages", 32);
    _file.entriesAt.resize(_nodes.size());
    for (unsigned page = 0; page <= _lastPage(); ++page) {
      _addPage(page);
    }
    _file.pagesAt.push_back(bytes.size());
    bytes.set(_file.hierarchyAt + 20, bytes.size() - _file.hierarchyAt - 60);
    bytes.set(CopcFile::kInfoAt + 40, _file.pagesAt[0]);
    bytes.set(CopcFile::kInfoAt + 48, _file.pagesAt[1] - _file.pagesAt[0]);
    for (std::size_t page = 1; page <= _lastPage(); ++page) {
      bytes.set(_file.pageEntriesAt[page - 1] + 16, _file.pagesAt[page]);
      bytes.set(_file.pageEntriesAt[page - 1] + 24,
                static_cast<std::uint32_t>(_file.pagesAt[page + 1] - _file.pagesAt[page]));
    }
  }

  unsigned _lastPage() const {
    const auto last = std::max_element(_nodes.begin(), _nodes.end(),
                                       [](const auto& one, const auto& other) { return one.page < other.page; });
    return last->page;
  }

  void _addPage(unsigned page) {
    _file.pagesAt.push_back(_file.bytes.size());
    for (std::size_t node = 0; node < _nodes.size(); ++node) {
      if (_nodes[node].page == page) {
        _file.entriesAt[node] = _file.bytes.size();
        _addEntry(_nodes[node].key, _chunks[node], countOf(_nodes[node]));
      }
    }
    if (page < _lastPage()) {
      _file.pageEntriesAt.push_back(_file.bytes.size());
      _addEntry(_firstKeyOf(page + 1), {}, 0xFFFFFFFFU);
    }
  }

  NodeKey _firstKeyOf(unsigned page) const {
    NodeKey first{~0U};
    for (const TreeFileNode& node : _nodes) {
      first = node.page == page ? std::min(first, node.key) : first;
    }
    return first;
  }

  struct Range {
    std::uint64_t offset = 0;
    std::uint64_t bytes = 0;
  };

  void _addEntry(const NodeKey& key, const Range& range, std::uint32_t count) {
    Bytes& bytes = _file.bytes;
    for (const std::uint32_t number : {key.level, key.x, key.y, key.z}) {
      bytes.add(number);
    }
    bytes.add(range.offset);
    bytes.add(static_cast<std::uint32_t>(range.bytes));
    bytes.add(count);
  }

  const Folder& _folder;
  const FileSettings& _settings;
  const std::vector<TreeFileNode>& _nodes;
  std::vector<Range> _chunks;  // by index of the node
  std::uint64_t _pointsAt = 0;
  CopcFile _file;
};

}  // namespace

FileSettings treeSettings(unsigned minor, unsigned format) {
  return {minor, format, 0, {kTreeStep, kTreeStep, kTreeStep}};
}

QuorViewer::RootCube treeCube(const FileSettings& settings) {
  const double half = kTreeHalfSteps * kTreeStep;
  return {{settings.offset[0] - half, settings.offset[1] - half, settings.offset[2] - half}, 2 * half};
}

std::vector<Point> pointsInNode(const NodeKey& key, unsigned count, unsigned format, unsigned seed) {
  std::mt19937 random(seed);
  const std::int32_t side = 2 * kTreeHalfSteps >> key.level;
  const auto placeIn = [&](std::uint32_t cell) {
    return -kTreeHalfSteps + static_cast<std::int32_t>(cell) * side +
           static_cast<std::int32_t>(random() % static_cast<unsigned>(side));
  };
  std::vector<Point> points;
  for (unsigned index = 0; index < count; ++index) {
    Point point = ScanBytes::variedPoint(seed + index, format);
    point.x = placeIn(key.x);
    point.y = placeIn(key.y);
    point.z = placeIn(key.z);
    points.push_back(point);
  }
  return points;
}

std::vector<TreeFileNode> sampleTree(unsigned format) {
  const auto node = [&](const NodeKey& key, unsigned count, unsigned page) {
    return TreeFileNode{key, pointsInNode(key, count, format, 1000 * (key.level + 7 * key.x + 3 * key.y + key.z)), page,
                        std::nullopt};
  };
  return {node({2, 3, 1, 2}, 57, 1), node({1, 1, 0, 1}, 80, 1), node({0, 0, 0, 0}, 300, 0),
          node({1, 0, 1, 0}, 0, 0),  node({2, 0, 3, 1}, 41, 0), node({3, 6, 3, 4}, 9, 2),
          node({3, 7, 2, 5}, 5, 1),  node({4, 12, 6, 9}, 1, 2), node({1, 0, 0, 1}, 2000, 0)};
}

CopcFile writeCopc(const Folder& folder, const FileSettings& settings, const std::vector<TreeFileNode>& nodes) {
  return CopcWriter(folder, settings, nodes).run();
}

}  // namespace QuorTests
