#include "scan/formats/AscReader.h"

#include "scan/formats/TextNumbers.h"
#include "scan/formats/VertexReader.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace QuorViewer {

namespace {

bool isSeparator(char c) {
  return isBlank(c) || c == ',' || c == ';';
}

std::size_t countColumns(std::string_view line) {
  std::size_t columns = 0;
  while (!takeWord(line, isSeparator).empty()) {
    ++columns;
  }
  return columns;
}

/// The next line that is neither empty nor a comment. False at the end of the file.
bool takeDataLine(SequentialBytes& from, std::string_view& line) {
  while (takeTextLine(from, line)) {
    const std::size_t begin = line.find_first_not_of(" \t\r");
    if (begin == line.npos) {
      continue;
    }
    line.remove_prefix(begin);
    if (line[0] != '#' && line.substr(0, 2) != "//") {
      return true;
    }
  }
  return false;
}

class AscDecoder : public VertexDecoder {
 public:
  /// `line`: the number of the line that has these columns.
  AscDecoder(std::size_t columns, std::uint64_t line)
      : _columns(columns), _line(line), _hasIntensity(columns == 4 || columns == 7), _hasColour(columns >= 6) {}

  VertexFields fields() const override { return {_hasColour, _hasIntensity}; }

  bool read(SequentialBytes& from, Vertex& to) const override {
    std::string_view text;
    if (!takeDataLine(from, text)) {
      return false;
    }
    std::string_view rest = text;
    const auto take = [&](double& value) { value = requireNumber(from, _takeColumn(from, text, rest)); };
    take(to.position.x());
    take(to.position.y());
    take(to.position.z());
    if (_hasIntensity) {
      take(to.intensity);
    }
    for (std::size_t channel = 0; _hasColour && channel < 3; ++channel) {
      take(to.colour[channel]);
    }
    if (_valuesRead() + countColumns(rest) != _columns) {
      _failColumns(from, text);
    }
    return true;
  }

  bool skip(SequentialBytes& from) const override {
    std::string_view text;
    return takeDataLine(from, text);
  }

 private:
  std::size_t _valuesRead() const { return 3U + (_hasIntensity ? 1U : 0U) + (_hasColour ? 3U : 0U); }

  std::string_view _takeColumn(const SequentialBytes& from, std::string_view line, std::string_view& rest) const {
    const std::string_view word = takeWord(rest, isSeparator);
    if (word.empty()) {
      _failColumns(from, line);
    }
    return word;
  }

  [[noreturn]] void _failColumns(const SequentialBytes& from, std::string_view line) const {
    throw lineError(from, "the number of columns changes",
                    std::to_string(countColumns(line)) + " found, " + std::to_string(_columns) + " in line " +
                        std::to_string(_line));
  }

  std::size_t _columns;
  std::uint64_t _line;
  bool _hasIntensity;
  bool _hasColour;
};

void skipByteOrderMark(SequentialBytes& from) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  std::string begin(std::min<std::size_t>(kMark.size(), from.left()), '\0');
  from.take(reinterpret_cast<unsigned char*>(begin.data()), begin.size());
  if (begin != kMark) {
    from.moveTo(0, 0);
  }
}

bool isHeading(std::string_view line) {
  const std::size_t columns = countColumns(line);
  return columns == 1 || !toNumber(takeWord(line, isSeparator));
}

/// Moves to the first line that holds a point, and returns the decoder for all of them.
AscDecoder findPoints(SequentialBytes& from) {
  skipByteOrderMark(from);
  std::uint64_t begin = from.position();
  std::uint64_t linesBefore = 0;
  std::string_view line;
  bool found = takeDataLine(from, line);
  if (found && isHeading(line)) {
    begin = from.position();
    linesBefore = from.line();
    found = takeDataLine(from, line);
  }
  if (!found) {
    throw from.file().error("no line contains a point: at least x, y and z expected");
  }
  const std::size_t columns = countColumns(line);
  if (columns < 3) {
    throw lineError(from, "at least x, y and z expected", std::to_string(columns) + " columns found");
  }
  AscDecoder decoder(columns, from.line());
  from.moveTo(begin, linesBefore);
  return decoder;
}

}  // namespace

std::unique_ptr<ScanReader> openAsc(ScanFile file) {
  SequentialBytes bytes(file);
  VertexScan scan;
  scan.format = "ASC";
  scan.decoder = std::make_shared<AscDecoder>(findPoints(bytes));
  scan.table.count = std::numeric_limits<std::uint64_t>::max();
  scan.indexFrom(bytes);
  return openVertices(std::move(file), std::move(scan));
}

}  // namespace QuorViewer
