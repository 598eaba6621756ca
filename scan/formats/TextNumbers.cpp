#include "scan/formats/TextNumbers.h"

#include "scan/ParseNumber.h"
#include "scan/formats/Quoted.h"

#include <algorithm>
#include <charconv>

namespace QuorViewer {

namespace {

/// Whether a number that no double can represent is below 1, so that the nearest double is 0.
bool isTiny(std::string_view number) {
  const std::size_t mantissaEnd = std::min(number.find_first_of("eE"), number.size());
  const std::string_view mantissa = number.substr(0, mantissaEnd);
  double exponent = 0;
  if (mantissaEnd < number.size()) {
    number.remove_prefix(mantissaEnd + 1);
    number.remove_prefix(!number.empty() && number.front() == '+' ? 1 : 0);
    std::from_chars(number.data(), number.data() + number.size(), exponent);
  }
  const auto point = static_cast<double>(std::min(mantissa.find('.'), mantissa.size()));
  const auto firstDigit = static_cast<double>(std::min(mantissa.find_first_of("123456789"), mantissa.size()));
  return exponent + point - firstDigit < 0;
}

/// Like parseNumber, but numbers too small for a double are 0.
std::errc parse(std::string_view word, double& value) {
  const std::errc error = parseNumber(word, value);
  if (error == std::errc::result_out_of_range && isTiny(word)) {
    value = 0;
    return std::errc();
  }
  return error;
}

}  // namespace

std::optional<double> toNumber(std::string_view word) {
  double value = 0;
  return parse(word, value) == std::errc() ? std::optional(value) : std::nullopt;
}

double requireNumber(const SequentialBytes& from, std::string_view word) {
  double value = 0;
  const std::errc code = parse(word, value);
  if (code != std::errc()) {
    const char* const what = code == std::errc::result_out_of_range ? "a number is out of range" : "not a number";
    throw lineError(from, what, quoted(word) + " found");
  }
  return value;
}

bool takeTextLine(SequentialBytes& from, std::string_view& line) {
  if (from.left() == 0) {
    return false;
  }
  const std::uint64_t begin = from.position();
  const std::uint64_t number = from.line() + 1;
  const bool whole = from.takeLine(kMostLineBytes, line);
  const auto fail = [&](const std::string& what, std::uint64_t byte) {
    throw from.file().error(what + ", in line " + std::to_string(number) + ", at byte " + std::to_string(byte));
  };
  const std::size_t carriageReturn = line.find('\r');
  if (carriageReturn != line.npos && line.find_first_not_of('\r', carriageReturn) != line.npos) {
    fail("a carriage return inside a line: lines must end with a line feed, or with both", begin + carriageReturn);
  }
  if (!whole) {
    fail("a line is longer than " + std::to_string(kMostLineBytes) + " bytes", begin);
  }
  return true;
}

ScanError lineError(const SequentialBytes& from, const std::string& what, const std::string& found) {
  return from.file().error(what + ", in line " + std::to_string(from.line()) + ", at byte " +
                           std::to_string(from.lineStart()) + ": " + found);
}

}  // namespace QuorViewer
