#pragma once

#include <cstdint>
#include <vector>

namespace QuorViewer {

// The adaptive probabilities of the arithmetic coder in compressed scans. Encoder and decoder count the symbols that
// they have seen and recompute the shares at the same intervals, in integers, so that both always have the same shares.

/// The probability of a bit.
class AdaptiveBit {
 public:
  static constexpr unsigned kShareBits = 13;  ///< shares are fractions of 2^13

  /// Of the bit 0.
  std::uint32_t share() const { return _share; }
  /// Counts a bit that was coded.
  void count(bool bit);

 private:
  void _update();

  std::uint32_t _share = 1U << (kShareBits - 1);
  std::uint32_t _zeros = 1;
  std::uint32_t _total = 2;
  std::uint32_t _interval = 4;
  std::uint32_t _untilUpdate = 4;
};

/// The probabilities of symbols 0 to `size() - 1`.
class AdaptiveSymbols {
 public:
  static constexpr unsigned kShareBits = 15;  ///< shares are fractions of 2^15

  /// Expects at least 2.
  explicit AdaptiveSymbols(std::uint32_t symbols);

  std::uint32_t size() const { return static_cast<std::uint32_t>(_counts.size()); }
  /// The shares of all symbols before this one.
  std::uint32_t begin(std::uint32_t symbol) const { return _begins[symbol]; }
  /// The symbol whose part of the shares contains `share`.
  std::uint32_t symbolAt(std::uint32_t share) const;
  /// Counts a symbol that was coded.
  void count(std::uint32_t symbol);

 private:
  void _update();

  std::vector<std::uint32_t> _counts;
  std::vector<std::uint32_t> _begins;
  std::uint32_t _total = 0;
  std::uint32_t _interval;
  std::uint32_t _untilUpdate;
};

/// The models of a sequence of 32-bit integers in two interleaved columns. Each integer is coded as its difference from
/// a prediction: first the number of significant bits of the difference, then these bits.
struct IntegerModels {
  static constexpr unsigned kBits = 32;
  static constexpr unsigned kModelledBits = 8;  ///< of the difference; further bits are coded without a model

  IntegerModels();

  std::vector<AdaptiveSymbols> lengths;      ///< number of significant bits, by column
  AdaptiveBit shortest;                      ///< the difference if that number is 0
  std::vector<AdaptiveSymbols> differences;  ///< its upper bits, by that number less 1
};

}  // namespace QuorViewer
