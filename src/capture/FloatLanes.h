#pragma once

#include <array>
#include <cstddef>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#  include <emmintrin.h>
#endif

namespace QuorOsgUtils {

/// Four floats processed together, for any processor. Both kinds of lanes compare exactly like single floats, including
/// NaN and signed zeros.
struct PlainLanes {
  static constexpr std::size_t kCount = 4;
  using Flags = std::array<int, kCount>;

  static PlainLanes load(const float* first) {
    PlainLanes lanes;
    std::memcpy(lanes.values.data(), first, sizeof(values));
    return lanes;
  }

  static PlainLanes fill(float value) { return {{value, value, value, value}}; }

  void store(float* first) const { std::memcpy(first, values.data(), sizeof(values)); }

  /// a < b ? a : b in each lane: b if either is NaN.
  static PlainLanes least(PlainLanes a, PlainLanes b) {
    for (std::size_t k = 0; k < kCount; ++k) {
      b.values[k] = a.values[k] < b.values[k] ? a.values[k] : b.values[k];
    }
    return b;
  }

  /// With a and b consecutive in memory: the four values that start one place before b.
  static PlainLanes oneBack(PlainLanes a, PlainLanes b) {
    return {{a.values[3], b.values[0], b.values[1], b.values[2]}};
  }

  /// The same, but starting two places before b.
  static PlainLanes twoBack(PlainLanes a, PlainLanes b) {
    return {{a.values[2], a.values[3], b.values[0], b.values[1]}};
  }

  /// Sets `flags` where a is above b and not equal to `excluded`.
  static void flagAbove(Flags& flags, PlainLanes a, PlainLanes b, PlainLanes excluded) {
    for (std::size_t k = 0; k < kCount; ++k) {
      flags[k] |= static_cast<int>(a.values[k] > b.values[k]) & static_cast<int>(a.values[k] != excluded.values[k]);
    }
  }

  static Flags noFlags() { return {}; }
  static bool any(const Flags& flags) { return (flags[0] | flags[1] | flags[2] | flags[3]) != 0; }

  std::array<float, kCount> values;
};

#if defined(__SSE2__) || defined(_M_X64)
/// The same in one SSE register.
struct SseLanes {
  static constexpr std::size_t kCount = 4;
  struct Flags {
    __m128 bits;
  };

  static SseLanes load(const float* first) { return {_mm_loadu_ps(first)}; }
  static SseLanes fill(float value) { return {_mm_set1_ps(value)}; }
  void store(float* first) const { _mm_storeu_ps(first, values); }
  static SseLanes least(SseLanes a, SseLanes b) { return {_mm_min_ps(a.values, b.values)}; }

  static SseLanes oneBack(SseLanes a, SseLanes b) {
    const __m128 edge = _mm_shuffle_ps(a.values, b.values, _MM_SHUFFLE(0, 0, 3, 3));
    return {_mm_shuffle_ps(edge, b.values, _MM_SHUFFLE(2, 1, 2, 0))};
  }

  static SseLanes twoBack(SseLanes a, SseLanes b) {
    return {_mm_shuffle_ps(a.values, b.values, _MM_SHUFFLE(1, 0, 3, 2))};
  }

  static void flagAbove(Flags& flags, SseLanes a, SseLanes b, SseLanes excluded) {
    const __m128 above = _mm_and_ps(_mm_cmpgt_ps(a.values, b.values), _mm_cmpneq_ps(a.values, excluded.values));
    flags.bits = _mm_or_ps(flags.bits, above);
  }

  static Flags noFlags() { return {_mm_setzero_ps()}; }
  static bool any(const Flags& flags) { return _mm_movemask_ps(flags.bits) != 0; }

  __m128 values;
};

using FloatLanes = SseLanes;
#else
using FloatLanes = PlainLanes;
#endif

}  // namespace QuorOsgUtils
