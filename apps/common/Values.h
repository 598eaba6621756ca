#pragma once

#include "scan/ParseNumber.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <type_traits>

namespace QuorViewer {

/// All of `text` as a finite number, independent of the locale; empty if it is no such number.
template <typename Number>
std::optional<Number> readNumber(const std::string& text) {
  Number number{};
  if (parseNumber(text, number) != std::errc()) {
    return std::nullopt;
  }
  if constexpr (std::is_floating_point_v<Number>) {
    if (!std::isfinite(number)) {
      return std::nullopt;
    }
  }
  return number;
}

/// The same, and empty outside `least` to `most`.
template <typename Number>
std::optional<Number> readNumber(const std::string& text, Number least, Number most) {
  const std::optional<Number> number = readNumber<Number>(text);
  return number && *number >= least && *number <= most ? number : std::nullopt;
}

/// Exactly `count` numbers separated by blanks.
template <std::size_t count>
std::optional<std::array<double, count>> readNumbers(const std::string& text) {
  std::istringstream words(text);
  std::array<double, count> numbers{};
  std::string word;
  for (double& number : numbers) {
    const std::optional<double> read = words >> word ? readNumber<double>(word) : std::nullopt;
    if (!read) {
      return std::nullopt;
    }
    number = *read;
  }
  return words >> word ? std::nullopt : std::optional(numbers);
}

/// A size in GiB, 0.0001 to 1000000, in bytes.
inline std::optional<std::uint64_t> readGibibytes(const std::string& text) {
  constexpr double kGibibyte = 1024.0 * 1024.0 * 1024.0;
  const auto size = readNumber<double>(text, 0.0001, 1e6);
  return size ? std::optional(static_cast<std::uint64_t>(*size * kGibibyte)) : std::nullopt;
}

/// The value of the word `text`.
template <typename Value>
std::optional<Value> readWord(const std::string& text, const std::map<std::string, Value>& values) {
  const auto found = values.find(text);
  return found == values.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace QuorViewer
