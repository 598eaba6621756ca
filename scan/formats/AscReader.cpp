#include "scan/formats/AscReader.h"

#include "scan/formats/TextNumbers.h"
#include "scan/formats/VertexReader.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace QuorViewer {

namespace {

constexpr char kEndOfTextFile = '\x1A';  // Ctrl-Z, which old programs write behind the last line

bool isSeparator(char c) {
  return isBlank(c) || c == ',' || c == ';';
}

void skipBlanks(std::string_view& text) {
  const auto* const begin = std::find_if_not(text.begin(), text.end(), isBlank);
  text.remove_prefix(static_cast<std::size_t>(begin - text.begin()));
}

/// Removes the first column, with the separator behind it, from `rest`, which begins with no blank and is empty if no
/// column is left. Returns the column, which may be empty.
std::string_view takeColumn(std::string_view& rest) {
  const auto* const end = std::find_if(rest.begin(), rest.end(), isSeparator);
  const std::string_view column = rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
  rest.remove_prefix(column.size());
  skipBlanks(rest);
  if (!rest.empty() && isSeparator(rest.front())) {
    rest.remove_prefix(1);
    skipBlanks(rest);
  }
  return column;
}

std::size_t countColumns(std::string_view line) {
  std::size_t columns = 0;
  for (; !line.empty(); ++columns) {
    takeColumn(line);
  }
  return columns;
}

/// The next line that is neither empty nor a comment. False at the end of the file.
bool takeDataLine(SequentialBytes& from, std::string_view& line) {
  while (takeTextLine(from, line)) {
    if (from.left() == 0 && !line.empty() && line.back() == kEndOfTextFile) {
      line.remove_suffix(1);
    }
    skipBlanks(line);
    if (!line.empty() && line[0] != '#' && line.substr(0, 2) != "//") {
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

  VertexFields fields() const override {
    VertexFields fields;
    fields.colour = _hasColour;
    fields.intensity = _hasIntensity;
    return fields;
  }

  bool read(SequentialBytes& from, Vertex& to) const override {
    std::string_view text;
    if (!takeDataLine(from, text)) {
      return false;
    }
    _refuseDecimalCommas(from, text);
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

  static void _refuseDecimalCommas(const SequentialBytes& from, std::string_view line) {
    if (line.find(';') != line.npos && line.find(',') != line.npos) {
      throw lineError(from, "decimal commas are not supported", "both semicolons and commas found");
    }
  }

  std::string_view _takeColumn(const SequentialBytes& from, std::string_view line, std::string_view& rest) const {
    if (rest.empty()) {
      _failColumns(from, line);
    }
    const std::string_view column = takeColumn(rest);
    if (column.empty()) {
      const std::size_t number = countColumns(line) - countColumns(rest);
      throw lineError(from, "empty column", "column " + std::to_string(number) + " has no value");
    }
    return column;
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
  const std::string firstTwo = begin.substr(0, 2);
  if (firstTwo == "\xFF\xFE" || firstTwo == "\xFE\xFF") {
    throw from.file().error("UTF-16 text is not supported: the file begins with its byte order mark");
  }
  if (begin != kMark) {
    from.moveTo(0, 0);
  }
}

bool beginsName(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || byte >= 0x80 || c == '"' || c == '\'' ||
         c == '_' || c == '/';
}

bool holdsNumber(std::string_view line) {
  while (!line.empty()) {
    if (toNumber(takeColumn(line))) {
      return true;
    }
  }
  return false;
}

/// Column names, or the count of points. Anything else is left to be read as a point, since a damaged number is not a
/// name.
bool isHeading(std::string_view line) {
  return holdsNumber(line) ? countColumns(line) == 1 : beginsName(line.front());
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
