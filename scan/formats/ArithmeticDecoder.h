#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/AdaptiveModels.h"

namespace QuorViewer {

/// Decodes what LASzip's arithmetic coder has encoded. Damaged bytes give arbitrary values, within the range of their
/// model. All throw ScanError if the file ends.
class ArithmeticDecoder {
 public:
  /// Starts at the current position of `from`, which outlives the decoder.
  explicit ArithmeticDecoder(SequentialBytes& from);

  /// A 32-bit integer of column 0 or 1, coded as its difference from `prediction`.
  std::uint32_t integer(IntegerModels& models, unsigned column, std::uint32_t prediction);

 private:
  bool _bit(AdaptiveBit& model);
  std::uint32_t _symbol(AdaptiveSymbols& model);
  std::uint32_t _plainBits(unsigned count);
  std::uint32_t _difference(IntegerModels& models, unsigned bits);
  void _narrow(std::uint32_t begin, std::uint32_t length);
  std::uint32_t _nextByte();

  SequentialBytes& _from;
  std::uint32_t _value = 0;  // relative to the start of the current interval
  std::uint32_t _length = 0xFFFFFFFFU;
};

}  // namespace QuorViewer
