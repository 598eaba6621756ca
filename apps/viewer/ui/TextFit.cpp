#include "viewer/ui/TextFit.h"

#include "viewer/ui/Utf8.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace QuorViewer {
namespace {

using Characters = std::vector<std::string>;  // each in UTF-8

constexpr const char* kEllipsis = "\u2026";
constexpr const char* kPartSeparator = "\u00B7";

bool isBlank(const std::string& character) {
  return character == " " || character == "\n";
}

bool isSlash(const std::string& character) {
  return character == "/" || character == "\\";
}

Characters charactersOf(const std::string& utf8) {
  Characters characters;
  for (const char byte : utf8) {
    if (continuesCharacter(byte) && !characters.empty()) {
      characters.back() += byte;
    } else {
      characters.emplace_back(1, byte);
    }
  }
  return characters;
}

std::string joined(const Characters& characters, std::size_t begin, std::size_t end) {
  const auto at = [&](std::size_t index) { return characters.begin() + static_cast<std::ptrdiff_t>(index); };
  return std::accumulate(at(begin), at(end), std::string());
}

/// The end of the longest piece from `begin` on that is at most `width` wide; at least one character.
std::size_t endOfFitting(const Characters& characters, std::size_t begin, float width, const TextWidth& widthOf) {
  std::size_t fits = begin + 1;
  std::size_t tooFar = characters.size() + 1;
  while (tooFar - fits > 1) {
    const std::size_t middle = fits + (tooFar - fits) / 2;
    (widthOf(joined(characters, begin, middle)) <= width ? fits : tooFar) = middle;
  }
  return fits;
}

bool endsWideGap(const Characters& characters, std::size_t last) {
  constexpr std::size_t kWideBlanks = 4;
  return last + 1 >= kWideBlanks &&
         std::all_of(characters.begin() + static_cast<std::ptrdiff_t>(last + 1 - kWideBlanks),
                     characters.begin() + static_cast<std::ptrdiff_t>(last + 1), isBlank);
}

/// The largest position in (begin, end] after a character of a kind; `begin` if there is none.
template <typename IsKind>
std::size_t afterLast(std::size_t begin, std::size_t end, IsKind isKind) {
  std::size_t after = end;
  while (after > begin && !isKind(after - 1)) {
    --after;
  }
  return after;
}

/// Where to end a line that may reach to `end`: after the last wide gap, which separates parts of a text; else at the
/// last blank, unless the word behind it is too wide for a line of its own; else after the last slash; else at `end`.
std::size_t breakBefore(const Characters& characters, std::size_t begin, std::size_t end, float width,
                        const TextWidth& widthOf) {
  if (end == characters.size()) {
    return end;
  }
  const std::size_t gap = afterLast(begin, end + 1, [&](std::size_t at) { return endsWideGap(characters, at); });
  if (gap > begin + 1) {
    return gap;
  }
  const std::size_t blank = afterLast(begin, end + 1, [&](std::size_t at) { return isBlank(characters[at]); });
  const auto word = characters.begin() + static_cast<std::ptrdiff_t>(blank);
  const auto wordEnd =
      blank + static_cast<std::size_t>(std::distance(word, std::find_if(word, characters.end(), isBlank)));
  if (blank > begin && widthOf(joined(characters, blank, wordEnd)) <= width) {
    return blank;
  }
  const std::size_t slash = afterLast(blank, end, [&](std::size_t at) { return isSlash(characters[at]); });
  return slash > blank ? slash : end;
}

std::vector<std::string> wrapped(const Characters& characters, float width, const TextWidth& widthOf) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < characters.size();) {
    const std::size_t end =
        breakBefore(characters, begin, endOfFitting(characters, begin, width, widthOf), width, widthOf);
    std::string line = joined(characters, begin, end);
    line.erase(line.find_last_not_of(" \n") + 1);
    lines.push_back(std::move(line));
    begin = end;
    while (begin < characters.size() && isBlank(characters[begin])) {
      ++begin;
    }
  }
  return lines;
}

std::size_t middleOfLongestWord(const Characters& characters) {
  std::size_t longest = 0, middle = characters.size() / 2;
  for (std::size_t begin = 0; begin < characters.size(); ++begin) {
    const auto from = characters.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto length = static_cast<std::size_t>(std::distance(from, std::find_if(from, characters.end(), isBlank)));
    if (length > longest) {
      longest = length;
      middle = begin + length / 2;
    }
    begin += length;
  }
  return middle;
}

Characters shortened(const Characters& characters, std::size_t middle, std::size_t removed) {
  const std::size_t begin = std::min(middle - std::min(removed / 2, middle), characters.size() - removed);
  Characters rest(characters.begin(), characters.begin() + static_cast<std::ptrdiff_t>(begin));
  rest.emplace_back(kEllipsis);
  rest.insert(rest.end(), characters.begin() + static_cast<std::ptrdiff_t>(begin + removed), characters.end());
  return rest;
}

}  // namespace

std::vector<std::string> fitLines(const std::string& utf8, float width, std::size_t mostLines,
                                  const TextWidth& widthOf) {
  const Characters characters = charactersOf(utf8);
  std::vector<std::string> lines = wrapped(characters, width, widthOf);
  if (lines.size() <= mostLines) {
    return lines;
  }
  const std::size_t middle = middleOfLongestWord(characters);
  std::size_t tooFew = 0, enough = characters.size();
  while (enough - tooFew > 1) {
    const std::size_t removed = tooFew + (enough - tooFew) / 2;
    const bool fits = wrapped(shortened(characters, middle, removed), width, widthOf).size() <= mostLines;
    (fits ? enough : tooFew) = removed;
  }
  return wrapped(shortened(characters, middle, enough), width, widthOf);
}

std::string fitParts(const std::string& utf8, float width, const TextWidth& widthOf) {
  std::string rest = utf8;
  while (!rest.empty() && widthOf(rest) > width) {
    const std::size_t separator = rest.find(kPartSeparator);
    const std::size_t next = separator == std::string::npos
                                 ? separator
                                 : rest.find_first_not_of(' ', separator + std::string(kPartSeparator).size());
    rest = next == std::string::npos ? std::string() : rest.substr(next);
  }
  return rest;
}

}  // namespace QuorViewer
