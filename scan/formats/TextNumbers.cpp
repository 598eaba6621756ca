#include "scan/formats/TextNumbers.h"

#include <charconv>

namespace QuorViewer {

std::optional<double> toNumber(std::string_view word) {
  if (!word.empty() && word.front() == '+') {
    word.remove_prefix(1);
  }
  double value = 0;
  const auto [end, code] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (code != std::errc() || end != word.data() + word.size()) {
    return std::nullopt;
  }
  return value;
}

double requireNumber(const SequentialBytes& from, std::string_view word) {
  constexpr std::size_t kMostQuoted = 40;
  const std::optional<double> number = toNumber(word);
  if (!number) {
    throw lineError(from, "not a number", "\"" + std::string(word.substr(0, kMostQuoted)) + "\" found");
  }
  return *number;
}

bool takeTextLine(SequentialBytes& from, std::string_view& line) {
  if (from.left() == 0) {
    return false;
  }
  if (!from.takeLine(kMostLineBytes, line)) {
    throw from.file().error("a line is longer than " + std::to_string(kMostLineBytes) + " bytes, in line " +
                            std::to_string(from.line() + 1) + ", at byte " + std::to_string(from.position()));
  }
  return true;
}

ScanError lineError(const SequentialBytes& from, const std::string& what, const std::string& found) {
  return from.file().error(what + ", in line " + std::to_string(from.line()) + ", at byte " +
                           std::to_string(from.lineStart()) + ": " + found);
}

}  // namespace QuorViewer
