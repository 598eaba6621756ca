#include "scan/formats/PlyCheck.h"

#include "scan/formats/PlyHeader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>

namespace QuorViewer {

namespace {

// No face has more corners; a longer list is a damaged count, and OpenSceneGraph would allocate memory for it
// unchecked.
constexpr std::int64_t kMostListItems = 1 << 20;

/// The numbers of the data in sequence, in text or binary encoding.
class PlyNumbers {
 public:
  virtual ~PlyNumbers() = default;

  /// Called before the numbers of each element.
  virtual void beginElement() = 0;

  virtual std::int64_t takeInteger(const PlyType& type) = 0;

  /// Skips `count` numbers of a type.
  virtual void skip(const PlyType& type, std::uint64_t count) = 0;

  /// Position of the last number read, or of the missing one, for messages.
  virtual std::string place() const = 0;
};

class TextNumbers : public PlyNumbers {
 public:
  TextNumbers(const ScanFile& file, SequentialBytes& bytes) : _file(file), _bytes(bytes) {}

  void beginElement() override {
    _lineStart = _bytes.position();
    std::string_view line;
    if (!_bytes.takeLine(kPlyMostLineBytes, line)) {
      throw _file.error((_bytes.left() == 0 ? "the file is cut off: lines are missing, " : "a line is too long, ") +
                        place());
    }
    _words = plyWords(line);
    _next = 0;
  }

  std::int64_t takeInteger(const PlyType&) override {
    const std::string_view word = _takeWord();
    std::int64_t value = 0;
    const auto [end, code] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (code != std::errc() || end != word.data() + word.size()) {
      _failWord(word);
    }
    return value;
  }

  void skip(const PlyType& type, std::uint64_t count) override {
    for (std::uint64_t item = 0; item < count; ++item) {
      const std::string_view word = _takeWord();
      const bool plain = std::all_of(word.begin(), word.end(), [](char c) { return c > ' ' && c <= '~'; });
      const char first = word[word[0] == '-' || word[0] == '+' ? 1U % word.size() : 0U];
      // A coordinate may be "nan" or "inf", a whole number may not.
      if (!plain || !((first >= '0' && first <= '9') || (!type.integer && (first == '.' || _isWordNumber(word))))) {
        _failWord(word);
      }
    }
  }

  std::string place() const override { return "at byte " + std::to_string(_lineStart) + " (a line of PLY data)"; }

 private:
  static bool _isWordNumber(std::string_view word) {
    constexpr std::array<std::string_view, 6> names = {"nan", "inf", "NaN", "Inf", "NAN", "INF"};
    const std::string_view bare = word.substr(word[0] == '-' || word[0] == '+' ? 1 : 0);
    return std::find(names.begin(), names.end(), bare) != names.end();
  }

  [[noreturn]] void _failWord(std::string_view word) const {
    throw _file.error("a number cannot be read, " + place() + ": \"" + std::string(word.substr(0, 40)) + "\" found");
  }

  std::string_view _takeWord() {
    if (_next == _words.size()) {
      throw _file.error("numbers are missing, " + place() + ": " + std::to_string(_words.size()) +
                        " found, more stated by the header");
    }
    return _words[_next++];
  }

  const ScanFile& _file;
  SequentialBytes& _bytes;
  std::vector<std::string_view> _words;
  std::size_t _next = 0;
  std::uint64_t _lineStart = 0;
};

class BinaryNumbers : public PlyNumbers {
 public:
  BinaryNumbers(const ScanFile& file, SequentialBytes& bytes, PlyEncoding encoding)
      : _file(file), _bytes(bytes), _bigEndian(encoding == PlyEncoding::BigEndian) {}

  void beginElement() override {}

  std::int64_t takeInteger(const PlyType& type) override {
    _require(type.bytes);
    std::array<unsigned char, 4> bytes{};
    _bytes.take(bytes.data(), type.bytes);
    std::int64_t value = 0;
    for (unsigned byte = 0; byte < type.bytes; ++byte) {
      value |= std::int64_t{bytes[byte]} << 8U * (_bigEndian ? type.bytes - 1 - byte : byte);
    }
    const std::int64_t range = std::int64_t{1} << 8U * type.bytes;
    return type.isSigned && value >= range / 2 ? value - range : value;
  }

  void skip(const PlyType& type, std::uint64_t count) override {
    _require(type.bytes * count);
    _bytes.skip(type.bytes * count);
  }

  std::string place() const override { return "at byte " + std::to_string(_bytes.position()); }

 private:
  void _require(std::uint64_t bytes) const {
    if (_bytes.left() < bytes) {
      throw _file.error("the file is cut off: its header states more data than it holds, at byte " +
                        std::to_string(_file.size()));
    }
  }

  const ScanFile& _file;
  SequentialBytes& _bytes;
  bool _bigEndian;
};

bool isCornerList(const PlyElement& element, const PlyProperty& property) {
  return element.name == "face" && (property.name == "vertex_indices" || property.name == "vertex_index");
}

class PlyWalk {
 public:
  PlyWalk(const ScanFile& file, const PlyHeader& header, PlyNumbers& numbers)
      : _file(file), _numbers(numbers), _vertexCount(header.element("vertex")->count) {}

  void pass(const PlyElement& element) {
    for (std::uint64_t index = 0; index < element.count; ++index) {
      _numbers.beginElement();
      for (const PlyProperty& property : element.properties) {
        property.countType != nullptr ? _passList(property, isCornerList(element, property))
                                      : _numbers.skip(*property.type, 1);
      }
    }
  }

 private:
  void _passList(const PlyProperty& list, bool corners) {
    const std::int64_t count = _numbers.takeInteger(*list.countType);
    if (count < 0 || count > kMostListItems) {
      throw _file.error("the length of a list is not possible, " + _numbers.place() + ": " + std::to_string(count) +
                        " found");
    }
    if (!corners) {
      _numbers.skip(*list.type, static_cast<std::uint64_t>(count));
      return;
    }
    for (std::int64_t item = 0; item < count; ++item) {
      _requireVertex(_numbers.takeInteger(*list.type));
    }
  }

  void _requireVertex(std::int64_t index) const {
    if (index < 0 || index >= static_cast<std::int64_t>(_vertexCount)) {
      throw _file.error("a face has a corner that is no vertex, " + _numbers.place() + ": vertex " +
                        std::to_string(index) + " found, 0 to " + std::to_string(_vertexCount) +
                        " (not included) present");
    }
  }

  const ScanFile& _file;
  PlyNumbers& _numbers;
  std::uint64_t _vertexCount;
};

void checkVertexElement(const ScanFile& file, const PlyHeader& header) {
  const PlyElement* vertex = header.element("vertex");
  if (vertex == nullptr) {
    throw file.error("the PLY header tells of no element \"vertex\"");
  }
  for (const char* axis : {"x", "y", "z"}) {
    if (vertex->property(axis) == nullptr) {
      throw file.error("the PLY header gives its vertices no property \"" + std::string(axis) + "\"");
    }
  }
  for (const PlyProperty& property : vertex->properties) {
    if (property.countType != nullptr) {
      throw file.error("the PLY header gives its vertices a list, which cannot be read here: property \"" +
                       property.name + "\"");
    }
  }
}

// In text, OpenSceneGraph's reader mishandles every list that it does not store, and it stores only one list of
// corners.
void checkFaceLists(const ScanFile& file, const PlyElement& face) {
  const PlyProperty* corners = nullptr;
  for (const PlyProperty& property : face.properties) {
    if (property.countType != nullptr && (corners != nullptr || !isCornerList(face, property))) {
      throw file.error("the PLY header gives its faces a list, which cannot be read from text: property \"" +
                       property.name + "\"");
    }
    corners = property.countType != nullptr ? &property : corners;
  }
}

void checkFaceElement(const ScanFile& file, const PlyElement& face) {
  for (const PlyProperty& property : face.properties) {
    if (isCornerList(face, property) && (property.countType == nullptr || !property.type->integer)) {
      throw file.error("the PLY header gives its faces corners that are no list of whole numbers: property \"" +
                       property.name + "\"");
    }
  }
}

// OpenSceneGraph's reader does not skip elements it does not know: it reads their numbers as those of the next element.
void checkElementOrder(const ScanFile& file, const PlyHeader& header) {
  bool unknownSeen = false;
  for (const PlyElement& element : header.elements) {
    const bool known = element.name == "vertex" || element.name == "face";
    if (known && unknownSeen) {
      throw file.error(
          "the PLY data has elements other than vertices and faces before these, which cannot be read here");
    }
    unknownSeen = unknownSeen || (!known && element.count > 0);
    if (known && element.count > 0 && element.properties.empty()) {
      throw file.error("the PLY header gives the element \"" + element.name + "\" a count but no property");
    }
  }
}

bool hasBytes(const PlyElement& vertex, std::initializer_list<const char*> names) {
  return std::all_of(names.begin(), names.end(), [&](const char* name) {
    const PlyProperty* property = vertex.property(name);
    return property != nullptr && property->type->integer && property->type->bytes == 1 && !property->type->isSigned;
  });
}

// "red" or "alpha" decide which colours OpenSceneGraph's reader returns; diffuse ones only if both are absent.
bool isColoured(const PlyElement& vertex) {
  const bool plain = vertex.property("red") != nullptr || vertex.property("alpha") != nullptr;
  return plain ? hasBytes(vertex, {"red", "green", "blue"})
               : vertex.property("ambient") == nullptr &&
                     hasBytes(vertex, {"diffuse_red", "diffuse_green", "diffuse_blue"});
}

void walkData(const ScanFile& file, SequentialBytes& bytes, const PlyHeader& header) {
  TextNumbers text(file, bytes);
  BinaryNumbers binary(file, bytes, header.encoding);
  PlyNumbers& numbers = header.encoding == PlyEncoding::Text ? static_cast<PlyNumbers&>(text) : binary;
  PlyWalk walk(file, header, numbers);
  for (const PlyElement& element : header.elements) {
    if (element.name == "vertex" || element.name == "face") {
      walk.pass(element);
    }
  }
}

}  // namespace

CheckedVertices checkPly(ScanFile& file) {
  SequentialBytes bytes(file);
  const PlyHeader header = readPlyHeader(file, bytes);
  checkVertexElement(file, header);
  checkElementOrder(file, header);
  if (const PlyElement* face = header.element("face")) {
    checkFaceElement(file, *face);
    if (header.encoding == PlyEncoding::Text) {
      checkFaceLists(file, *face);
    }
  }
  walkData(file, bytes, header);
  const PlyElement& vertex = *header.element("vertex");
  return {vertex.count, isColoured(vertex)};
}

}  // namespace QuorViewer
