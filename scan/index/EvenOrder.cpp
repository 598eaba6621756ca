#include "scan/index/EvenOrder.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace QuorViewer {
namespace {

using Order = std::vector<std::uint32_t>;

constexpr unsigned kCodeBits = 10;  // along each axis

/// Spreads 10 bits, two zero bits after each.
std::uint32_t spread(std::uint32_t bits) {
  bits = (bits | bits << 16U) & 0x030000FFU;
  bits = (bits | bits << 8U) & 0x0300F00FU;
  bits = (bits | bits << 4U) & 0x030C30C3U;
  return (bits | bits << 2U) & 0x09249249U;
}

/// Morton codes in the least cube that contains all points.
std::vector<std::uint32_t> codesOf(const osg::Vec3Array& positions) {
  osg::BoundingBox bounds;
  for (const osg::Vec3f& position : positions) {
    bounds.expandBy(position);
  }
  const osg::Vec3f extent = bounds.valid() ? bounds._max - bounds._min : osg::Vec3f();
  const float side = std::max({extent.x(), extent.y(), extent.z()});
  constexpr float kMostCells = 1U << kCodeBits;
  std::vector<std::uint32_t> codes;
  for (const osg::Vec3f& position : positions) {
    std::uint32_t code = 0;
    for (int axis = 0; axis < 3; ++axis) {
      const float place = side > 0.0f ? (position[axis] - bounds._min[axis]) / side : 0.0f;
      code |= spread(static_cast<std::uint32_t>(std::min(place * kMostCells, kMostCells - 1.0f))) << axis;
    }
    codes.push_back(code);
  }
  return codes;
}

Order alongTheCurve(const osg::Vec3Array& positions) {
  const std::vector<std::uint32_t> codes = codesOf(positions);
  std::vector<std::pair<std::uint32_t, std::uint32_t>> sorted;
  for (std::uint32_t place = 0; place < codes.size(); ++place) {
    sorted.emplace_back(codes[place], place);
  }
  std::sort(sorted.begin(), sorted.end());
  Order order;
  for (const auto& [code, place] : sorted) {
    order.push_back(place);
  }
  return order;
}

std::uint64_t reversed(std::uint64_t number, unsigned bits) {
  std::uint64_t result = 0;
  for (unsigned bit = 0; bit < bits; ++bit) {
    result |= (number >> bit & 1U) << (bits - 1 - bit);
  }
  return result;
}

// Neighbours along the Morton curve are neighbours in space, and numbers with reversed bits are spread evenly.
Order evenOrder(const osg::Vec3Array& positions) {
  const Order curve = alongTheCurve(positions);
  unsigned bits = 0;
  while (std::size_t{1} << bits < curve.size()) {
    ++bits;
  }
  Order order;
  for (std::uint64_t number = 0; number < std::uint64_t{1} << bits; ++number) {
    const std::uint64_t place = reversed(number, bits);
    if (place < curve.size()) {
      order.push_back(curve[place]);
    }
  }
  return order;
}

template <typename Array>
void reorder(Array& array, const Order& order) {
  const std::vector<typename Array::ElementDataType> before(array.begin(), array.end());
  for (std::size_t place = 0; place < order.size(); ++place) {
    array[place] = before[order[place]];
  }
}

}  // namespace

void orderEvenly(NodePoints& points) {
  const Order order = evenOrder(*points.positions);
  reorder(*points.positions, order);
  reorder(*points.colours, order);
  reorder(*points.intensities, order);
  reorder(*points.classesReturns, order);
  reorder(*points.records, order);
}

}  // namespace QuorViewer
