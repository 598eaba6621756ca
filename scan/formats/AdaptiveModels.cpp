#include "scan/formats/AdaptiveModels.h"

#include <algorithm>

namespace QuorViewer {

namespace {

constexpr std::uint32_t kOne = 1U << 31U;  // fixed-point 1 of the divisions
constexpr std::uint32_t kMostBitCounts = 1U << AdaptiveBit::kShareBits;
constexpr std::uint32_t kMostSymbolCounts = 1U << AdaptiveSymbols::kShareBits;
constexpr std::uint32_t kLongestBitInterval = 64;

std::uint32_t halfRoundedUp(std::uint32_t number) {
  return (number + 1) / 2;
}

std::uint32_t lengthened(std::uint32_t interval) {
  return interval * 5 / 4;
}

}  // namespace

void AdaptiveBit::count(bool bit) {
  _zeros += bit ? 0 : 1;
  --_untilUpdate;
  if (_untilUpdate == 0) {
    _update();
  }
}

void AdaptiveBit::_update() {
  _total += _interval;
  if (_total > kMostBitCounts) {
    _total = halfRoundedUp(_total);
    _zeros = halfRoundedUp(_zeros);
    _total += _zeros == _total ? 1 : 0;
  }
  _share = _zeros * (kOne / _total) >> (31U - kShareBits);
  _interval = std::min(lengthened(_interval), kLongestBitInterval);
  _untilUpdate = _interval;
}

AdaptiveSymbols::AdaptiveSymbols(std::uint32_t symbols)
    : _counts(symbols, 1), _begins(symbols), _interval(symbols), _untilUpdate(symbols) {
  _update();
  _interval = (symbols + 6) / 2;
  _untilUpdate = _interval;
}

std::uint32_t AdaptiveSymbols::symbolAt(std::uint32_t share) const {
  const auto next = std::upper_bound(_begins.begin() + 1, _begins.end(), share);
  return static_cast<std::uint32_t>(next - _begins.begin() - 1);
}

void AdaptiveSymbols::count(std::uint32_t symbol) {
  ++_counts[symbol];
  --_untilUpdate;
  if (_untilUpdate == 0) {
    _update();
  }
}

void AdaptiveSymbols::_update() {
  _total += _interval;
  if (_total > kMostSymbolCounts) {
    _total = 0;
    for (std::uint32_t& count : _counts) {
      count = halfRoundedUp(count);
      _total += count;
    }
  }
  const std::uint32_t scale = kOne / _total;
  std::uint32_t sum = 0;
  for (std::size_t symbol = 0; symbol < _counts.size(); ++symbol) {
    _begins[symbol] = scale * sum >> (31U - kShareBits);
    sum += _counts[symbol];
  }
  _interval = std::min(lengthened(_interval), (size() + 6) * 8);
  _untilUpdate = _interval;
}

IntegerModels::IntegerModels() : lengths(2, AdaptiveSymbols(kBits + 1)) {
  for (unsigned bits = 1; bits < kBits; ++bits) {
    differences.emplace_back(1U << std::min(bits, kModelledBits));
  }
}

}  // namespace QuorViewer
