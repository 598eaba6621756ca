#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace QuorViewer {

/// The width of a text in one line, in pixels.
using TextWidth = std::function<float(const std::string& utf8)>;

/// Breaks a text into lines that are at most `width` wide: at gaps of four or more blanks, else at single blanks, and
/// in a word that is too wide, if possible after a slash. If it needs more than `mostLines` lines, "…" replaces the
/// middle of its longest word, usually a path, and if necessary some of the text around it. Each line has at least one
/// character, however small `width` is. No line if the text is empty.
std::vector<std::string> fitLines(const std::string& utf8, float width, std::size_t mostLines,
                                  const TextWidth& widthOf);

/// Drops parts, which are separated by "·", from the left until the rest is at most `width` wide. Empty if even the
/// last one is wider.
std::string fitParts(const std::string& utf8, float width, const TextWidth& widthOf);

}  // namespace QuorViewer
