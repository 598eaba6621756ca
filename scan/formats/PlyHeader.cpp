#include "scan/formats/PlyHeader.h"

#include "scan/formats/Quoted.h"
#include "scan/formats/TextNumbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace QuorViewer {

namespace {

constexpr std::array<PlyType, 8> kTypes = {{
    {{"char", "int8"}, 1, true, true},
    {{"short", "int16"}, 2, true, true},
    {{"int", "int32"}, 4, true, true},
    {{"uchar", "uint8"}, 1, true, false},
    {{"ushort", "uint16"}, 2, true, false},
    {{"uint", "uint32"}, 4, true, false},
    {{"float", "float32"}, 4, false, true},
    {{"double", "float64"}, 8, false, true},
}};

// The names that programs give to each value; if several are present, the first one counts.
constexpr std::array<std::array<std::string_view, 3>, kPlyValues> kValueNames = {{
    {"x"},
    {"y"},
    {"z"},
    {"red", "diffuse_red", "r"},
    {"green", "diffuse_green", "g"},
    {"blue", "diffuse_blue", "b"},
    {"intensity", "scalar_intensity", "scalar_Intensity"},
}};

// A header with more is damaged, or made to keep the reader busy.
constexpr std::size_t kMostElements = 1000;
constexpr std::size_t kMostProperties = 1000;

using Words = std::vector<std::string_view>;

template <typename Named>
Named* named(std::vector<Named>& all, std::string_view wanted) {
  const auto found = std::find_if(all.begin(), all.end(), [&](const Named& one) { return one.name == wanted; });
  return found != all.end() ? &*found : nullptr;
}

Words wordsOf(std::string_view line) {
  Words words;
  for (std::string_view word = takeWord(line, isBlank); !word.empty(); word = takeWord(line, isBlank)) {
    words.push_back(word);
  }
  return words;
}

class HeaderReader {
 public:
  explicit HeaderReader(SequentialBytes& bytes) : _bytes(bytes) {}

  PlyHeader run() {
    while (!_takeLine()) {
    }
    if (!_formatSeen) {
      throw _bytes.file().error(
          "the PLY header does not state the format of its data: no line \"format\" before "
          "\"end_header\"");
    }
    _findVertices();
    return std::move(_header);
  }

 private:
  [[noreturn]] void _fail(const std::string& what, const std::string& found) const {
    throw lineError(_bytes, what, found);
  }

  /// True at the header's last line.
  bool _takeLine() {
    std::string_view line;
    if (!takeTextLine(_bytes, line)) {
      throw _bytes.file().error("the file ends inside its PLY header, at byte " + std::to_string(_bytes.position()) +
                                ": no \"end_header\" found");
    }
    const Words words = wordsOf(line);
    return !words.empty() && _takeWords(words);
  }

  bool _takeWords(const Words& words) {
    if (words[0] == "format") {
      _takeFormat(words);
    } else if (words[0] == "element") {
      _takeElement(words);
    } else if (words[0] == "property") {
      _takeProperty(words);
    }
    return words[0] == "end_header";
  }

  void _require(bool holds, const std::string& what, std::string_view found) const {
    if (!holds) {
      _fail(what, quoted(found) + " found");
    }
  }

  void _takeFormat(const Words& words) {
    constexpr std::array<std::string_view, 3> kNames = {"ascii", "binary_little_endian", "binary_big_endian"};
    _require(words.size() == 3, "the line \"format\" needs a format and a version", words.back());
    const auto found = std::find(kNames.begin(), kNames.end(), words[1]);
    _require(found != kNames.end(), "unknown data format", words[1]);
    _header.encoding = static_cast<PlyEncoding>(found - kNames.begin());
    _formatSeen = true;
  }

  void _takeElement(const Words& words) {
    _require(words.size() == 3, "an element needs a name and a count", words.back());
    PlyElement element;
    element.name = words[1];
    const char* const countEnd = words[2].data() + words[2].size();
    const auto [end, code] = std::from_chars(words[2].data(), countEnd, element.count);
    _require(code == std::errc() && end == countEnd, "invalid count of an element", words[2]);
    _require(named(_elements, element.name) == nullptr, "an element is declared twice", words[1]);
    _elements.push_back(element);
    _requireFew(_elements.size(), kMostElements, "elements");
  }

  void _takeProperty(const Words& words) {
    const bool list = words.size() > 1 && words[1] == "list";
    _require(words.size() == (list ? 5U : 3U), "a property needs a type (a list needs two) and a name", words.back());
    _require(!_elements.empty(), "a property is declared before any element", words.back());
    PlyProperty property;
    property.name = words.back();
    property.type = _type(words[list ? 3 : 1]);
    if (list) {
      property.countType = _type(words[2]);
      _require(property.countType->integer, "the count of a list must have an integer type", words[2]);
    }
    std::vector<PlyProperty>& properties = _elements.back().properties;
    _require(named(properties, property.name) == nullptr, "a property is declared twice", words.back());
    properties.push_back(property);
    _requireFew(++_properties, kMostProperties, "properties");
  }

  void _requireFew(std::size_t count, std::size_t most, const std::string& kind) const {
    if (count > most) {
      _fail("the PLY header declares too many " + kind, "more than " + std::to_string(most));
    }
  }

  const PlyType* _type(std::string_view name) const {
    const auto found = std::find_if(kTypes.begin(), kTypes.end(), [&](const PlyType& type) {
      return std::find(type.names.begin(), type.names.end(), name) != type.names.end();
    });
    _require(found != kTypes.end(), "unknown number type", name);
    return &*found;
  }

  void _findVertices() {
    PlyElement* const vertex = named(_elements, "vertex");
    if (vertex == nullptr) {
      throw _bytes.file().error("the PLY header declares no element \"vertex\"");
    }
    _header.before.assign(_elements.data(), vertex);
    _header.vertex = *vertex;
    for (std::size_t value = 0; value < kPlyValues; ++value) {
      _assignValue(value);
    }
    for (const PlyValue axis : {PlyValue::X, PlyValue::Y, PlyValue::Z}) {
      _requireAxis(axis);
    }
  }

  void _assignValue(std::size_t value) {
    for (const std::string_view name : kValueNames[value]) {
      PlyProperty* const property = named(_header.vertex.properties, name);
      if (property == nullptr || property->countType != nullptr) {
        continue;
      }
      property->value = static_cast<PlyValue>(value);
      return;
    }
  }

  void _requireAxis(PlyValue axis) const {
    if (_header.vertex.property(axis) != nullptr) {
      return;
    }
    const std::string name(kValueNames[static_cast<std::size_t>(axis)][0]);
    throw _bytes.file().error("the PLY header declares no property \"" + name + "\" of a vertex");
  }

  SequentialBytes& _bytes;
  std::vector<PlyElement> _elements;
  PlyHeader _header;
  std::size_t _properties = 0;
  bool _formatSeen = false;
};

}  // namespace

std::uint64_t PlyElement::recordBytes() const {
  std::uint64_t bytes = 0;
  for (const PlyProperty& property : properties) {
    if (property.countType != nullptr) {
      return 0;
    }
    bytes += property.type->bytes;
  }
  return bytes;
}

const PlyProperty* PlyElement::property(PlyValue value) const {
  const auto found = std::find_if(properties.begin(), properties.end(),
                                  [value](const PlyProperty& property) { return property.value == value; });
  return found != properties.end() ? &*found : nullptr;
}

PlyHeader readPlyHeader(SequentialBytes& bytes) {
  return HeaderReader(bytes).run();
}

}  // namespace QuorViewer
