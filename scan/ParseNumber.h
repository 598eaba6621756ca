#pragma once

#include <charconv>
#include <string_view>
#include <system_error>

namespace QuorViewer {

/// Parses all of `text` as one number, the same in every locale. A leading plus sign is allowed. The error is
/// `invalid_argument` if the text is no number, and `result_out_of_range` if `Number` cannot represent it; `number` is
/// unchanged then.
template <typename Number>
std::errc parseNumber(std::string_view text, Number& number) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
    text.remove_prefix(1);
  }
  const char* const end = text.data() + text.size();
  const auto [next, error] = std::from_chars(text.data(), end, number);
  return next == end ? error : std::errc::invalid_argument;
}

}  // namespace QuorViewer
