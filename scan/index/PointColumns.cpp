#include "scan/index/PointColumns.h"

#include "scan/LittleEndian.h"

#include <algorithm>
#include <array>
#include <limits>

namespace QuorViewer {
namespace {

constexpr std::size_t kColumnHeadBytes = 5;  // least value, bits for each difference
constexpr unsigned kGroupBits = 7;
constexpr unsigned kGroupMask = (1U << kGroupBits) - 1U;

/// An attribute as a whole number.
struct Column {
  std::uint32_t (*get)(const IndexPoint& point);
  void (*set)(IndexPoint& point, std::uint32_t value);
};

template <typename T, T IndexPoint::*member>
constexpr Column columnOf() {
  return {[](const IndexPoint& point) { return std::uint32_t{point.*member}; },
          [](IndexPoint& point, std::uint32_t value) { point.*member = static_cast<T>(value); }};
}

template <std::size_t axis>
constexpr Column gridColumn() {
  return {[](const IndexPoint& point) { return point.grid[axis]; },
          [](IndexPoint& point, std::uint32_t value) { point.grid[axis] = value; }};
}

template <std::size_t channel>
constexpr Column colourColumn() {
  return {[](const IndexPoint& point) { return std::uint32_t{point.colour[channel]}; },
          [](IndexPoint& point, std::uint32_t value) { point.colour[channel] = static_cast<std::uint8_t>(value); }};
}

// In the order in which they are stored, after the records.
constexpr std::array<Column, 9> kColumns = {gridColumn<0>(),
                                            gridColumn<1>(),
                                            gridColumn<2>(),
                                            columnOf<std::uint16_t, &IndexPoint::intensity>(),
                                            columnOf<std::uint8_t, &IndexPoint::classification>(),
                                            columnOf<std::uint8_t, &IndexPoint::returns>(),
                                            colourColumn<0>(),
                                            colourColumn<1>(),
                                            colourColumn<2>()};

unsigned bitsFor(std::uint32_t value) {
  unsigned bits = 0;
  for (; value != 0; value >>= 1U) {
    ++bits;
  }
  return bits;
}

std::size_t packedBytes(std::uint64_t count, unsigned bits) {
  return static_cast<std::size_t>((count * bits + 7) / 8);
}

void packRecords(const std::vector<IndexPoint>& points, std::vector<unsigned char>& to) {
  std::uint32_t before = 0;
  for (const IndexPoint& point : points) {
    std::uint32_t step = point.record - before;
    before = point.record;
    for (; step > kGroupMask; step >>= kGroupBits) {
      to.push_back(static_cast<unsigned char>(step & kGroupMask) | 0x80U);
    }
    to.push_back(static_cast<unsigned char>(step));
  }
}

void packColumn(const std::vector<IndexPoint>& points, const Column& column, std::vector<unsigned char>& to) {
  std::uint32_t least = std::numeric_limits<std::uint32_t>::max(), most = 0;
  for (const IndexPoint& point : points) {
    least = std::min(least, column.get(point));
    most = std::max(most, column.get(point));
  }
  const unsigned bits = bitsFor(most - least);
  std::array<unsigned char, kColumnHeadBytes> head{};
  storeLittle(least, head.data());
  head[4] = static_cast<unsigned char>(bits);
  to.insert(to.end(), head.begin(), head.end());
  std::uint64_t pending = 0;
  unsigned pendingBits = 0;
  for (const IndexPoint& point : points) {
    pending |= std::uint64_t{column.get(point) - least} << pendingBits;
    for (pendingBits += bits; pendingBits >= 8; pendingBits -= 8, pending >>= 8U) {
      to.push_back(static_cast<unsigned char>(pending & 0xFFU));
    }
  }
  if (pendingBits > 0) {
    to.push_back(static_cast<unsigned char>(pending & 0xFFU));
  }
}

/// The bytes that are left to unpack.
struct Bytes {
  const unsigned char* next;
  const unsigned char* end;

  std::size_t left() const { return static_cast<std::size_t>(end - next); }
};

bool unpackRecords(Bytes& from, std::vector<IndexPoint>& points) {
  std::uint32_t record = 0;
  for (IndexPoint& point : points) {
    std::uint64_t step = 0;
    unsigned char group = 0x80U;
    for (unsigned shift = 0; (group & 0x80U) != 0; shift += kGroupBits) {
      if (from.next == from.end || shift > 4 * kGroupBits) {
        return false;
      }
      group = *from.next++;
      step |= std::uint64_t{group & kGroupMask} << shift;
    }
    record += static_cast<std::uint32_t>(step);
    point.record = record;
  }
  return true;
}

bool unpackColumn(Bytes& from, const Column& column, std::vector<IndexPoint>& points) {
  if (from.left() < kColumnHeadBytes) {
    return false;
  }
  const auto least = loadLittle<std::uint32_t>(from.next);
  const unsigned bits = from.next[4];
  from.next += kColumnHeadBytes;
  if (bits > 32 || from.left() < packedBytes(points.size(), bits)) {
    return false;
  }
  const auto mask = static_cast<std::uint32_t>((std::uint64_t{1} << bits) - 1U);
  std::uint64_t pending = 0;
  unsigned pendingBits = 0;
  for (IndexPoint& point : points) {
    for (; pendingBits < bits; pendingBits += 8) {
      pending |= std::uint64_t{*from.next++} << pendingBits;
    }
    column.set(point, least + (static_cast<std::uint32_t>(pending) & mask));
    pending >>= bits;
    pendingBits -= bits;
  }
  return true;
}

}  // namespace

std::vector<unsigned char> packColumns(const std::vector<IndexPoint>& points) {
  std::vector<unsigned char> bytes;
  bytes.reserve(points.size() * 12 + kColumns.size() * kColumnHeadBytes);
  packRecords(points, bytes);
  for (const Column& column : kColumns) {
    packColumn(points, column, bytes);
  }
  return bytes;
}

bool unpackColumns(const unsigned char* bytes, std::size_t size, std::uint32_t count, std::vector<IndexPoint>& points) {
  if (count > size) {  // each record takes a byte at least
    return false;
  }
  points.resize(count);
  Bytes from = {bytes, bytes + size};
  return unpackRecords(from, points) &&
         std::all_of(kColumns.begin(), kColumns.end(),
                     [&](const Column& column) { return unpackColumn(from, column, points); }) &&
         from.left() == 0;
}

}  // namespace QuorViewer
