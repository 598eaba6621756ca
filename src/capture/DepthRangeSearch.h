#pragma once

#include "capture/DepthRange.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace QuorOsgUtils {

/// The search used by `depthRange`, for either kind of lanes.
///
/// The maximum depends on the running minimum at each value; a direct implementation takes one slow, branching step per
/// value. Instead the depths are split into blocks. A vectorised pass stores the running minimum at each block's start.
/// Then the blocks are searched from the last to the first until the maximum is found, usually in the first block
/// searched. In a block that does not lower the minimum, the candidates are simply the values above it. A block that
/// lowers it is split again in the same way, down to chunks of a few dozen values. A chunk contains a value above the
/// running minimum if one of its values exceeds the least of all values before it, tested four at a time.
template <typename Lanes>
class DepthRangeSearch {
 public:
  static DepthRange range(const float* first, const float* last) {
    const Blocks blocks(kBackground, first, last);
    DepthRange range;
    range.minimum = blocks.minimum();
    if (const float* found = blocks.lastAbove()) {
      range.maximum = *found;
    }
    return range;
  }

 private:
  static constexpr float kBackground = 1.0f;
  static constexpr std::size_t kChunk = 64;
  static constexpr std::size_t kMostBlocks = 1024;
  static constexpr std::size_t kLanes = Lanes::kCount;

  static std::size_t _count(const float* first, const float* last) { return static_cast<std::size_t>(last - first); }

  static bool _isAbove(float depth, float minimum) { return depth > minimum && depth != kBackground; }

  static float _leastLane(Lanes lanes) {
    std::array<float, kLanes> values;
    lanes.store(values.data());
    return std::min(std::min(values[0], values[1]), std::min(values[2], values[3]));
  }

  /// The least of background and the given depths. A NaN is the first operand of each comparison, so it is ignored.
  static float _minimumOf(const float* first, const float* last) {
    Lanes a = Lanes::fill(kBackground);
    Lanes b = a, c = a, d = a;
    for (; _count(first, last) >= 4 * kLanes; first += 4 * kLanes) {
      a = Lanes::least(Lanes::load(first), a);
      b = Lanes::least(Lanes::load(first + kLanes), b);
      c = Lanes::least(Lanes::load(first + 2 * kLanes), c);
      d = Lanes::least(Lanes::load(first + 3 * kLanes), d);
    }
    float minimum = _leastLane(Lanes::least(Lanes::least(a, b), Lanes::least(c, d)));
    for (; first != last; ++first) {
      minimum = *first < minimum ? *first : minimum;
    }
    return minimum;
  }

  static bool _chunkHasAbove(float minimum, const float* chunk) {
    const Lanes background = Lanes::fill(kBackground), least = Lanes::fill(minimum);
    typename Lanes::Flags above = Lanes::noFlags();
    for (const float* row = chunk; row != chunk + kChunk; row += kLanes) {
      Lanes::flagAbove(above, Lanes::load(row), least, background);
    }
    return Lanes::any(above);
  }

  /// The last depth above a minimum that none of these depths lowers, or null.
  static const float* _lastAboveConstant(float minimum, const float* first, const float* last) {
    while (_count(first, last) >= kChunk && !_chunkHasAbove(minimum, last - kChunk)) {
      last -= kChunk;
    }
    while (last != first) {
      if (_isAbove(*--last, minimum)) {
        return last;
      }
    }
    return nullptr;
  }

  /// The last depth above the running minimum, one depth at a time, or null.
  static const float* _lastAboveStepwise(float minimum, const float* first, const float* last) {
    const float* found = nullptr;
    for (; first != last; ++first) {
      if (*first < minimum) {
        minimum = *first;
      } else if (_isAbove(*first, minimum)) {
        found = first;
      }
    }
    return found;
  }

  /// Whether a chunk has a depth above the running minimum. Two shifted comparisons, by one and by two lanes, give the
  /// least of each depth and the three before it. The least of these over all rows so far, lane by lane, is the running
  /// minimum.
  static bool _chunkHasAboveRunning(float minimum, const float* chunk) {
    static_assert(kLanes == 4, "two steps back cover one row of four");
    const Lanes start = Lanes::fill(minimum), background = Lanes::fill(kBackground);
    Lanes before = start, pairsBefore = start, running = start;
    typename Lanes::Flags above = Lanes::noFlags();
    for (const float* row = chunk; row != chunk + kChunk; row += kLanes) {
      const Lanes depths = Lanes::load(row);
      const Lanes numbers = Lanes::least(depths, start);
      const Lanes pairs = Lanes::least(numbers, Lanes::oneBack(before, numbers));
      const Lanes fours = Lanes::least(pairs, Lanes::twoBack(pairsBefore, pairs));
      running = Lanes::least(fours, running);
      Lanes::flagAbove(above, depths, running, background);
      before = numbers;
      pairsBefore = pairs;
    }
    return Lanes::any(above);
  }

  /// The last depth above the running minimum, or null.
  static const float* _lastAboveRunning(float minimum, const float* first, const float* last) {
    const std::size_t count = _count(first, last);
    if (count > kChunk) {
      return Blocks(minimum, first, last).lastAbove();
    }
    if (count == kChunk && !_chunkHasAboveRunning(minimum, first)) {
      return nullptr;
    }
    return _lastAboveStepwise(minimum, first, last);
  }

  /// Depths split into at most `kMostBlocks` blocks of whole chunks, with the running minimum at both ends of each.
  class Blocks {
   public:
    Blocks(float minimum, const float* first, const float* last)
        : _first(first), _last(last), _length(_blockLength(_count(first, last))) {
      _minimumBefore[0] = minimum;
      while (_size * _length < _count(first, last)) {
        const float* begin = _first + _size * _length;
        _minimumBefore[_size + 1] = std::min(_minimumBefore[_size], _minimumOf(begin, _blockEnd(begin)));
        ++_size;
      }
    }

    /// +0 and -0 compare equal, and a lane may have kept either; the result is the first one in buffer order.
    float minimum() const {
      const float minimum = _minimumBefore[_size];
      if (minimum != 0.0f) {
        return minimum;
      }
      const auto after = std::find(_minimumBefore.begin(), _minimumBefore.end(), minimum);
      const std::size_t block = static_cast<std::size_t>(after - _minimumBefore.begin()) - 1;
      return *std::find(_first + block * _length, _last, minimum);
    }

    const float* lastAbove() const {
      const float* found = nullptr;
      for (std::size_t block = _size; block > 0 && !found; --block) {
        found = _lastAboveIn(block - 1);
      }
      return found;
    }

   private:
    static std::size_t _blockLength(std::size_t count) {
      constexpr std::size_t kLeastCovered = kChunk * kMostBlocks;
      return std::max<std::size_t>(1, (count + kLeastCovered - 1) / kLeastCovered) * kChunk;
    }

    const float* _blockEnd(const float* begin) const { return begin + std::min(_length, _count(begin, _last)); }

    const float* _lastAboveIn(std::size_t block) const {
      const float* begin = _first + block * _length;
      const float before = _minimumBefore[block];
      const bool lowersTheMinimum = _minimumBefore[block + 1] < before;
      return (lowersTheMinimum ? _lastAboveRunning : _lastAboveConstant)(before, begin, _blockEnd(begin));
    }

    const float* _first;
    const float* _last;
    std::size_t _length;
    std::size_t _size = 0;
    std::array<float, kMostBlocks + 1> _minimumBefore;
  };
};

}  // namespace QuorOsgUtils
