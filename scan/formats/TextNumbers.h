#pragma once

#include "scan/ScanFile.h"

#include <optional>
#include <string>
#include <string_view>

namespace QuorViewer {

/// A longer line is treated as damage.
inline constexpr std::size_t kMostLineBytes = std::size_t{1} << 16;

inline bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

/// Removes the first word from `text`, with the separators before it, and returns it; empty if there is none.
template <typename IsSeparator>
std::string_view takeWord(std::string_view& text, const IsSeparator& isSeparator) {
  std::size_t begin = 0;
  while (begin < text.size() && isSeparator(text[begin])) {
    ++begin;
  }
  std::size_t end = begin;
  while (end < text.size() && !isSeparator(text[end])) {
    ++end;
  }
  const std::string_view word = text.substr(begin, end - begin);
  text.remove_prefix(end);
  return word;
}

/// The number that a word stands for, the same in every locale; nothing if it is not a number or too large for a
/// double. Numbers too small for a double are 0.
std::optional<double> toNumber(std::string_view word);

/// The number that a word stands for. Throws a ScanError with the current line if there is none.
double requireNumber(const SequentialBytes& from, std::string_view word);

/// Takes a line. False at the end of the file. Throws ScanError if the line is too long, or contains a carriage return
/// before its end.
bool takeTextLine(SequentialBytes& from, std::string_view& line);

/// An error in the line that was read last. The text says what is wrong, the line, the byte, and what was found.
ScanError lineError(const SequentialBytes& from, const std::string& what, const std::string& found);

}  // namespace QuorViewer
