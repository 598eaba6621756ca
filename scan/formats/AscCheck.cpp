#include "scan/formats/AscCheck.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace QuorViewer {

namespace {

constexpr std::size_t kMostLineBytes = 1000;

// Numbers and the characters between them, counted as they are matched: 5 are a point, 11 a point with a colour.
constexpr int kPointMatches = 5;
constexpr int kColouredMatches = 11;

struct Line {
  int matches = 0;
  bool finite = false;
};

/// Parses a line with the same pattern as OpenSceneGraph's reader, so that both agree on what the line holds.
Line match(std::string_view text) {
  std::array<char, kMostLineBytes + 1> line{};
  text.copy(line.data(), kMostLineBytes);
  float x = 0;
  float y = 0;
  float z = 0;
  std::array<int, 3> colour{};
  char between = 0;
  const int matches = std::sscanf(line.data(), "%f%c%f%c%f%c%d%c%d%c%d", &x, &between, &y, &between, &z, &between,
                                  &colour[0], &between, &colour[1], &between, &colour[2]);
  return {matches, std::isfinite(x) && std::isfinite(y) && std::isfinite(z)};
}

[[noreturn]] void fail(const ScanFile& file, const std::string& what, std::uint64_t line, std::uint64_t byte) {
  throw file.error(what + ", in line " + std::to_string(line) + ", at byte " + std::to_string(byte));
}

bool isPassedOver(std::string_view text) {
  return text.empty() || text[0] == '#';
}

}  // namespace

CheckedVertices checkAsc(ScanFile& file) {
  CheckedVertices found;
  std::uint64_t colouredLines = 0;
  SequentialBytes bytes(file);
  for (std::uint64_t number = 1; bytes.left() > 0; ++number) {
    const std::uint64_t start = bytes.position();
    std::string_view text;
    if (!bytes.takeLine(kMostLineBytes, text)) {
      fail(file, "a line is longer than " + std::to_string(kMostLineBytes) + " bytes", number, start);
    }
    if (isPassedOver(text)) {
      continue;
    }
    const Line line = match(text);
    if (line.matches < kPointMatches || !line.finite) {
      fail(file, "no three coordinates are found", number, start);
    }
    ++found.count;
    colouredLines += line.matches >= kColouredMatches ? 1 : 0;
  }
  found.coloured = found.count > 0 && colouredLines == found.count;
  return found;
}

}  // namespace QuorViewer
