#pragma once

#include <cmath>
#include <cstdint>

namespace QuorViewer {

/// Scrambles all bits of `value`: neighbouring inputs give unrelated outputs. Integer arithmetic only, so that every
/// platform computes the same town and the same scan.
constexpr std::uint64_t scrambled(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15ULL;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
  return value ^ (value >> 31);
}

constexpr std::uint64_t scrambled(std::uint64_t first, std::uint64_t second) {
  return scrambled(scrambled(first) ^ second);
}

/// The upper 53 bits of `bits` as a number from 0 to below 1.
constexpr double toUnit(std::uint64_t bits) {
  return static_cast<double>(bits >> 11) * 0x1p-53;
}

/// A stream of numbers that depends only on its seed. Compilers differ in the order in which they evaluate the
/// arguments of a call: draw twice in one expression only within braces, whose order is fixed.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : _state(scrambled(seed)) {}

  double unit() { return toUnit(scrambled(_state++)); }
  double between(double low, double high) { return low + (high - low) * unit(); }
  bool chance(double probability) { return unit() < probability; }
  std::size_t below(std::size_t count) { return static_cast<std::size_t>(unit() * static_cast<double>(count)); }

 private:
  std::uint64_t _state;
};

/// Sine of an angle given in full rotations, from the four basic operations alone, because maths libraries differ in
/// the last bit. The series of the sine up to the 17th power, on a quarter rotation either side of zero; its error is
/// below 1e-12.
inline double sineOfTurns(double turns) {
  double folded = turns - std::floor(turns + 0.5);
  if (folded > 0.25) {
    folded = 0.5 - folded;
  }
  if (folded < -0.25) {
    folded = -0.5 - folded;
  }
  const double angle = folded * 6.283185307179586;
  const double square = angle * angle;
  double sum = 1.0;
  for (int power = 17; power > 1; power -= 2) {
    sum = 1.0 - sum * square / (power * (power - 1));
  }
  return angle * sum;
}

inline double cosineOfTurns(double turns) {
  return sineOfTurns(turns + 0.25);
}

/// 0 up to `low`, 1 from `high` on, a smooth rise between.
inline double smoothStep(double low, double high, double value) {
  const double ratio = (value - low) / (high - low);
  const double clamped = ratio < 0.0 ? 0.0 : (ratio > 1.0 ? 1.0 : ratio);
  return clamped * clamped * (3.0 - 2.0 * clamped);
}

/// Smooth random field over the plane, 0 to 1, whose features are `size` wide.
double plainNoise(double x, double y, double size);

}  // namespace QuorViewer
