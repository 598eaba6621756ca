#include "scan/formats/ArithmeticDecoder.h"

#include <algorithm>

namespace QuorViewer {

namespace {

constexpr std::uint32_t kLeastLength = 1U << 24U;
constexpr unsigned kMostPlainBits = 19;  // at once, so that the interval does not become empty
constexpr unsigned kHalfBits = 16;

}  // namespace

ArithmeticDecoder::ArithmeticDecoder(SequentialBytes& from) : _from(from) {
  for (int byte = 0; byte < 4; ++byte) {
    _value = _value << 8U | _nextByte();
  }
}

std::uint32_t ArithmeticDecoder::_nextByte() {
  if (_from.left() == 0) {
    throw _from.file().error("the file ends inside its chunk table, at byte " + std::to_string(_from.position()));
  }
  unsigned char byte = 0;
  _from.take(&byte, 1);
  return byte;
}

void ArithmeticDecoder::_narrow(std::uint32_t begin, std::uint32_t length) {
  _value -= begin;
  _length = length;
  while (_length < kLeastLength) {
    _value = _value << 8U | _nextByte();
    _length <<= 8U;
  }
}

bool ArithmeticDecoder::_bit(AdaptiveBit& model) {
  const std::uint32_t zeros = (_length >> AdaptiveBit::kShareBits) * model.share();
  const bool bit = _value >= zeros;
  bit ? _narrow(zeros, _length - zeros) : _narrow(0, zeros);
  model.count(bit);
  return bit;
}

// The last symbol also gets what the division leaves of the interval.
std::uint32_t ArithmeticDecoder::_symbol(AdaptiveSymbols& model) {
  const std::uint32_t unit = _length >> AdaptiveSymbols::kShareBits;
  const std::uint32_t symbol = model.symbolAt(_value / unit);
  const std::uint32_t begin = model.begin(symbol) * unit;
  const std::uint32_t end = symbol + 1 < model.size() ? model.begin(symbol + 1) * unit : _length;
  _narrow(begin, end - begin);
  model.count(symbol);
  return symbol;
}

std::uint32_t ArithmeticDecoder::_plainBits(unsigned count) {
  if (count > kMostPlainBits) {
    const std::uint32_t lower = _plainBits(kHalfBits);
    return _plainBits(count - kHalfBits) << kHalfBits | lower;
  }
  const std::uint32_t unit = _length >> count;
  const std::uint32_t bits = std::min(_value / unit, (1U << count) - 1U);
  _narrow(bits * unit, unit);
  return bits;
}

std::uint32_t ArithmeticDecoder::integer(IntegerModels& models, unsigned column, std::uint32_t prediction) {
  return prediction + _difference(models, _symbol(models.lengths[column]));
}

// With n significant bits a difference is in the range -(2^n - 1) to -2^(n - 1), or 2^(n - 1) + 1 to 2^n. Both halves
// are coded as one number without a gap.
std::uint32_t ArithmeticDecoder::_difference(IntegerModels& models, unsigned bits) {
  if (bits == 0) {
    return _bit(models.shortest) ? 1 : 0;
  }
  if (bits == IntegerModels::kBits) {
    return 1U << (IntegerModels::kBits - 1);
  }
  const unsigned plain = bits - std::min(bits, IntegerModels::kModelledBits);
  std::uint32_t number = _symbol(models.differences[bits - 1]);
  if (plain > 0) {
    number = number << plain | _plainBits(plain);
  }
  return number >= 1U << (bits - 1) ? number + 1 : number - ((1U << bits) - 1U);
}

}  // namespace QuorViewer
