#include "scan/formats/PlyReader.h"

#include "scan/LittleEndian.h"
#include "scan/formats/PlyHeader.h"
#include "scan/formats/Quoted.h"
#include "scan/formats/TextNumbers.h"
#include "scan/formats/VertexReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>
#include <utility>

namespace QuorViewer {

namespace {

template <typename Signed, typename Unsigned>
double integerIn(const unsigned char* bytes, bool isSigned) {
  return isSigned ? static_cast<double>(loadLittle<Signed>(bytes)) : static_cast<double>(loadLittle<Unsigned>(bytes));
}

double numberIn(const unsigned char* bytes, const PlyType& type) {
  if (!type.integer) {
    return type.bytes == 4 ? double{loadLittle<float>(bytes)} : loadLittle<double>(bytes);
  }
  if (type.bytes == 1) {
    return integerIn<std::int8_t, std::uint8_t>(bytes, type.isSigned);
  }
  if (type.bytes == 2) {
    return integerIn<std::int16_t, std::uint16_t>(bytes, type.isSigned);
  }
  return integerIn<std::int32_t, std::uint32_t>(bytes, type.isSigned);
}

/// The numbers of one element in a binary file.
class BinaryNumbers {
 public:
  BinaryNumbers(SequentialBytes& from, bool bigEndian) : _from(from), _bigEndian(bigEndian) {}

  double take(const PlyType& type) {
    std::array<unsigned char, 8> bytes{};
    _require(type.bytes);
    _taken = _from.position();
    _from.take(bytes.data(), type.bytes);
    if (_bigEndian) {
      std::reverse(bytes.begin(), bytes.begin() + type.bytes);
    }
    return numberIn(bytes.data(), type);
  }

  void skip(const PlyType& type, std::uint64_t count) {
    _require(type.bytes * count);
    _from.skip(type.bytes * count);
  }

  /// An error of the number that was taken last.
  ScanError error(const std::string& what, const std::string& found) const { return _errorAt(_taken, what, found); }

  void finish() const {}

 private:
  ScanError _errorAt(std::uint64_t byte, const std::string& what, const std::string& found) const {
    return _from.file().error(what + ", at byte " + std::to_string(byte) + ": " + found);
  }

  void _require(std::uint64_t bytes) const {
    if (_from.left() < bytes) {
      throw _errorAt(_from.position(), "the file is truncated or its counts are wrong",
                     std::to_string(bytes) + " bytes needed, " + std::to_string(_from.left()) + " left");
    }
  }

  SequentialBytes& _from;
  bool _bigEndian;
  std::uint64_t _taken = 0;  // offset of the number taken last
};

/// The next line that is not empty. False at the end of the file.
bool takeElementLine(SequentialBytes& from, std::string_view& line) {
  do {
    if (!takeTextLine(from, line)) {
      return false;
    }
  } while (line.find_first_not_of(" \t\r") == line.npos);
  return true;
}

/// The numbers of one element in a text file, which are those of a line.
class TextNumbers {
 public:
  TextNumbers(SequentialBytes& from, std::string_view line) : _from(from), _line(line) {}

  double take(const PlyType& /*type*/) { return requireNumber(_from, _takeWord()); }

  void skip(const PlyType& /*type*/, std::uint64_t count) {
    for (std::uint64_t item = 0; item < count; ++item) {
      _takeWord();
    }
  }

  ScanError error(const std::string& what, const std::string& found) const { return lineError(_from, what, found); }

  /// Throws ScanError if numbers are left in the line.
  void finish() {
    const std::uint64_t declared = _taken;
    while (!takeWord(_line, isBlank).empty()) {
      ++_taken;
    }
    if (_taken > declared) {
      throw error("too many numbers", std::to_string(_taken) + " found, " + std::to_string(declared) + " declared");
    }
  }

 private:
  std::string_view _takeWord() {
    const std::string_view word = takeWord(_line, isBlank);
    if (word.empty()) {
      throw error("numbers are missing", std::to_string(_taken) + " found, more declared");
    }
    ++_taken;
    return word;
  }

  SequentialBytes& _from;
  std::string_view _line;
  std::uint64_t _taken = 0;
};

// No list has more items; a longer one is a damaged count.
constexpr double kMostListItems = 4294967295.0;

/// Reads the number of items of a list.
template <typename Numbers>
std::uint64_t takeLength(const PlyProperty& list, Numbers& numbers) {
  const double length = numbers.take(*list.countType);
  if (length >= 0 && length <= kMostListItems && length == std::floor(length)) {
    return static_cast<std::uint64_t>(length);
  }
  std::ostringstream found;
  found << length << " found";
  throw numbers.error("invalid length of the list " + quoted(list.name), found.str());
}

/// Reads one element. `values` has a place for each `PlyValue`, `None` included.
template <typename Numbers>
void readElement(const PlyElement& element, Numbers numbers, std::array<double, kPlyValues + 1>& values) {
  for (const PlyProperty& property : element.properties) {
    if (property.countType != nullptr) {
      numbers.skip(*property.type, takeLength(property, numbers));
    } else if (property.value == PlyValue::None) {
      numbers.skip(*property.type, 1);
    } else {
      values[static_cast<std::size_t>(property.value)] = numbers.take(*property.type);
    }
  }
  numbers.finish();
}

class PlyDecoder : public VertexDecoder {
 public:
  explicit PlyDecoder(PlyHeader header) : _header(std::move(header)), _fields(_findFields()) {}

  VertexFields fields() const override { return _fields; }

  bool read(SequentialBytes& from, Vertex& to) const override {
    std::array<double, kPlyValues + 1> values{};
    if (!_readElement(_header.vertex, from, values)) {
      return false;
    }
    to.position.set(values[0], values[1], values[2]);
    to.colour = {values[3], values[4], values[5]};
    to.intensity = values[6];
    return true;
  }

  bool skip(SequentialBytes& from) const override { return _skipElement(_header.vertex, from); }

  /// Moves past everything between the header and the vertices.
  void skipToVertices(SequentialBytes& from) const {
    for (const PlyElement& element : _header.before) {
      if (element.properties.empty()) {
        continue;
      }
      if (_isFixed(element)) {
        _requireRecords(element, from);
        from.skip(element.count * element.recordBytes());
        continue;
      }
      std::uint64_t found = 0;
      while (found < element.count && _skipElement(element, from)) {
        ++found;
      }
      requireLines(element, found, from);
    }
  }

  const PlyElement& vertex() const { return _header.vertex; }

  static void requireLines(const PlyElement& element, std::uint64_t found, const SequentialBytes& from) {
    if (found < element.count) {
      throw _truncated(element, "lines expected", found, from);
    }
  }

  VertexTable table(SequentialBytes& from) const {
    if (!_isFixed(_header.vertex)) {
      return {_header.vertex.count, 0, {}};
    }
    _requireRecords(_header.vertex, from);
    return {_header.vertex.count, _header.vertex.recordBytes(), {{from.position(), 0}}};
  }

  bool storesSinglePrecision() const {
    return _header.encoding != PlyEncoding::Text && _isSingle(PlyValue::X) && _isSingle(PlyValue::Y);
  }

 private:
  VertexFields _findFields() const {
    VertexFields fields;
    const std::array<const PlyProperty*, 3> colour = {_header.vertex.property(PlyValue::Red),
                                                      _header.vertex.property(PlyValue::Green),
                                                      _header.vertex.property(PlyValue::Blue)};
    const PlyProperty* const intensity = _header.vertex.property(PlyValue::Intensity);
    fields.colour = std::find(colour.begin(), colour.end(), nullptr) == colour.end();
    fields.namedColour = fields.colour;
    fields.floatingColour = fields.colour && !colour[0]->type->integer;
    fields.intensity = intensity != nullptr;
    fields.floatingIntensity = fields.intensity && !intensity->type->integer;
    return fields;
  }

  bool _isFixed(const PlyElement& element) const {
    return _header.encoding != PlyEncoding::Text && element.recordBytes() > 0;
  }

  bool _isSingle(PlyValue value) const {
    const PlyType& type = *_header.vertex.property(value)->type;
    return !type.integer && type.bytes == 4;
  }

  // By division, so that no product can overflow.
  static void _requireRecords(const PlyElement& element, const SequentialBytes& from) {
    const std::uint64_t held = from.left() / element.recordBytes();
    if (held >= element.count) {
      return;
    }
    const std::string expected = "records of " + std::to_string(element.recordBytes()) + " bytes expected from byte " +
                                 std::to_string(from.position()) + " on";
    throw _truncated(element, expected, held, from);
  }

  static ScanError _truncated(const PlyElement& element, const std::string& expected, std::uint64_t found,
                              const SequentialBytes& from) {
    return from.file().error("the file is truncated or its count is wrong (element " + quoted(element.name) +
                             "): " + std::to_string(element.count) + " " + expected + ", " + std::to_string(found) +
                             " found, the file ends at byte " + std::to_string(from.file().size()));
  }

  /// False at the end of a text file.
  bool _readElement(const PlyElement& element, SequentialBytes& from,
                    std::array<double, kPlyValues + 1>& values) const {
    if (_header.encoding != PlyEncoding::Text) {
      readElement(element, BinaryNumbers(from, _header.encoding == PlyEncoding::BigEndian), values);
      return true;
    }
    std::string_view line;
    if (!takeElementLine(from, line)) {
      return false;
    }
    readElement(element, TextNumbers(from, line), values);
    return true;
  }

  /// Moves past an element of varying length. False at the end of a text file.
  bool _skipElement(const PlyElement& element, SequentialBytes& from) const {
    if (_header.encoding == PlyEncoding::Text) {
      std::string_view line;
      return takeElementLine(from, line);
    }
    std::array<double, kPlyValues + 1> unused{};
    return _readElement(element, from, unused);
  }

  PlyHeader _header;
  VertexFields _fields;
};

}  // namespace

std::unique_ptr<ScanReader> openPly(ScanFile file) {
  SequentialBytes bytes(file);
  const auto decoder = std::make_shared<const PlyDecoder>(readPlyHeader(bytes));
  decoder->skipToVertices(bytes);
  VertexScan scan;
  scan.format = "PLY";
  scan.table = decoder->table(bytes);
  scan.localOnly = decoder->storesSinglePrecision();
  scan.decoder = decoder;
  if (scan.table.recordBytes == 0) {
    scan.indexFrom(bytes);
    PlyDecoder::requireLines(decoder->vertex(), scan.table.count, bytes);
  }
  return openVertices(std::move(file), std::move(scan));
}

}  // namespace QuorViewer
