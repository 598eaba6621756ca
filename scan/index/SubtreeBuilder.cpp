#include "scan/index/SubtreeBuilder.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace QuorViewer {
namespace {

constexpr unsigned kCodeBits = 21;  // along each axis

/// Spreads 21 bits, two zero bits after each.
std::uint64_t spread(std::uint64_t bits) {
  bits = (bits | bits << 32U) & 0x1F00000000FFFFULL;
  bits = (bits | bits << 16U) & 0x1F0000FF0000FFULL;
  bits = (bits | bits << 8U) & 0x100F00F00F00F00FULL;
  bits = (bits | bits << 4U) & 0x10C30C30C30C30C3ULL;
  return (bits | bits << 2U) & 0x1249249249249249ULL;
}

NodeKey ancestorOf(NodeKey key, std::uint32_t level) {
  while (key.level > level) {
    key = key.parent();
  }
  return key;
}

}  // namespace

void SubtreeBuilder::build(std::vector<IndexPoint> points, const MayGive& mayGive) {
  _sort(std::move(points));
  Range all = {0, _points.size()};
  for (std::uint32_t level = 0; level < _chunk.level; ++level) {
    const NodeKey ancestor = ancestorOf(_chunk, level);
    const bool isShared = _chunk.level - level > kCellBits;
    if (all.begin < all.end && (!isShared || mayGive(ancestor))) {
      _sink(ancestor, _sample(level, all));
    }
  }
  _divide(_chunk, all);
}

void SubtreeBuilder::_sort(std::vector<IndexPoint> points) {
  struct Entry {
    std::uint64_t code;
    std::uint32_t place;
    bool operator<(const Entry& other) const { return code != other.code ? code < other.code : place < other.place; }
  };
  std::vector<Entry> order(points.size());
  for (std::size_t place = 0; place < points.size(); ++place) {
    order[place] = {_codeOf(points[place]), static_cast<std::uint32_t>(place)};
  }
  std::sort(order.begin(), order.end());
  _points.resize(points.size());
  _codes.resize(points.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    _points[i] = points[order[i].place];
    _codes[i] = order[i].code;
  }
}

std::uint64_t SubtreeBuilder::_codeOf(const IndexPoint& point) const {
  const IndexGrid::Place place = _grid.placeOf(point.grid);
  std::uint64_t code = 0;
  for (unsigned axis = 0; axis < 3; ++axis) {
    const std::uint32_t inChunk = place[axis] << _chunk.level;
    code |= spread(inChunk >> (32U - kCodeBits)) << axis;
  }
  return code;
}

bool SubtreeBuilder::_needsNewCodes(std::uint32_t level) const {
  return level - _chunk.level + kCellBits > kCodeBits;
}

std::size_t SubtreeBuilder::_endOfCell(unsigned cellBits, const Range& rest) const {
  const unsigned shift = 3 * (kCodeBits - cellBits);
  const auto from = _codes.begin() + static_cast<std::ptrdiff_t>(rest.begin);
  const auto until = _codes.begin() + static_cast<std::ptrdiff_t>(rest.end);
  const std::uint64_t cell = cellBits == 0 ? 0 : *from >> shift;
  const auto other =
      std::find_if(from, until, [&](std::uint64_t code) { return cellBits > 0 && code >> shift != cell; });
  return static_cast<std::size_t>(other - _codes.begin());
}

std::size_t SubtreeBuilder::_nearestToCentre(std::uint32_t level, const Range& cell) const {
  const auto size = std::uint64_t{1} << (32U - kCellBits - level);
  std::size_t nearest = cell.begin;
  double least = std::numeric_limits<double>::max();
  for (std::size_t i = cell.begin; i < cell.end; ++i) {
    const IndexGrid::Place place = _grid.placeOf(_points[i].grid);
    double square = 0.0;
    for (const std::uint32_t along : place) {
      const double fromCentre = static_cast<double>(along & (size - 1)) + 0.5 - 0.5 * static_cast<double>(size);
      square += fromCentre * fromCentre;
    }
    if (square < least || (square == least && _points[i].record < _points[nearest].record)) {
      least = square;
      nearest = i;
    }
  }
  return nearest;
}

std::vector<IndexPoint> SubtreeBuilder::_sample(std::uint32_t level, Range& range) {
  const unsigned below = level + kCellBits;
  const unsigned cellBits = below > _chunk.level ? std::min(below - _chunk.level, kCodeBits) : 0;
  std::vector<IndexPoint> taken;
  std::size_t kept = range.begin;
  for (Range rest = range; rest.begin < rest.end;) {
    const Range cell = {rest.begin, _endOfCell(cellBits, rest)};
    const std::size_t nearest = _nearestToCentre(level, cell);
    taken.push_back(_points[nearest]);
    for (std::size_t i = cell.begin; i < cell.end; ++i) {
      if (i != nearest) {
        _points[kept] = _points[i];
        _codes[kept] = _codes[i];
        ++kept;
      }
    }
    rest.begin = cell.end;
  }
  range.end = kept;
  return taken;
}

void SubtreeBuilder::_divide(const NodeKey& key, Range range) {
  if (range.begin == range.end) {
    return;
  }
  if (range.end - range.begin <= kLeafPoints || _isDeepest(key.level)) {
    const auto first = _points.begin() + static_cast<std::ptrdiff_t>(range.begin);
    return _sink(key, {first, _points.begin() + static_cast<std::ptrdiff_t>(range.end)});
  }
  if (_needsNewCodes(key.level)) {
    SubtreeBuilder below(_grid, key, _sink);
    below._sort({_points.begin() + static_cast<std::ptrdiff_t>(range.begin),
                 _points.begin() + static_cast<std::ptrdiff_t>(range.end)});
    return below._divide(key, {0, range.end - range.begin});
  }
  _sink(key, _sample(key.level, range));
  const unsigned shift = 3 * (kCodeBits - 1 - (key.level - _chunk.level));
  for (unsigned octant = 0; octant < 8; ++octant) {
    const auto begin = _codes.begin() + static_cast<std::ptrdiff_t>(range.begin);
    const auto end = std::find_if(begin, _codes.begin() + static_cast<std::ptrdiff_t>(range.end),
                                  [&](std::uint64_t code) { return (code >> shift & 7U) != octant; });
    const std::size_t boundary = static_cast<std::size_t>(end - _codes.begin());
    _divide(key.child(octant), {range.begin, boundary});
    range.begin = boundary;
  }
}

}  // namespace QuorViewer
