#include "scan/formats/PlyHeader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace QuorViewer {

namespace {

constexpr std::array<PlyType, 11> kTypes = {{
    {"char", 1, true, true},
    {"short", 2, true, true},
    {"int", 4, true, true},
    {"int32", 4, true, true},
    {"uchar", 1, true, false},
    {"uint8", 1, true, false},
    {"ushort", 2, true, false},
    {"uint", 4, true, false},
    {"float", 4, false, true},
    {"float32", 4, false, true},
    {"double", 8, false, true},
}};

using Words = std::vector<std::string_view>;

template <typename Named>
const Named* named(const std::vector<Named>& all, std::string_view wanted) {
  const auto found = std::find_if(all.begin(), all.end(), [&](const Named& one) { return one.name == wanted; });
  return found != all.end() ? &*found : nullptr;
}

class HeaderReader {
 public:
  HeaderReader(const ScanFile& file, SequentialBytes& bytes) : _file(file), _bytes(bytes) {}

  PlyHeader run() {
    while (!_takeLine()) {
    }
    if (!_formatSeen) {
      _fail("the header does not tell the format of its data", "no line \"format\" before \"end_header\"");
    }
    return _header;
  }

 private:
  [[noreturn]] void _fail(const std::string& what, const std::string& comparison) const {
    throw _file.error(what + ", at byte " + std::to_string(_lineStart) + " (line " + std::to_string(_lineNumber) +
                      " of the PLY header): " + comparison);
  }

  /// True at the header's last line.
  bool _takeLine() {
    _lineStart = _bytes.position();
    ++_lineNumber;
    std::string_view line;
    if (!_bytes.takeLine(kPlyMostLineBytes, line)) {
      _fail(_bytes.left() == 0 ? "the file ends inside its header" : "a line is too long to be one of a header",
            "no \"end_header\" found");
    }
    const bool plain =
        std::all_of(line.begin(), line.end(), [](char c) { return c == '\t' || (c >= ' ' && c <= '~'); });
    const Words words = plyWords(line);
    const bool comment = !words.empty() && (words[0] == "comment" || words[0] == "obj_info");
    if (words.empty() || (!comment && !plain) || line.find('\r') != line.npos || line.find('\0') != line.npos) {
      _fail("a line of the header cannot be read", words.empty()
                                                       ? "it is empty"
                                                       : "it holds bytes that are no plain text (a line is to "
                                                         "end in a line feed alone)");
    }
    return _takeWords(words);
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
      _fail(what, "\"" + std::string(found) + "\" found");
    }
  }

  static std::string_view _last(const Words& words) { return words.back(); }

  void _takeFormat(const Words& words) {
    constexpr std::array<std::string_view, 3> names = {"ascii", "binary_little_endian", "binary_big_endian"};
    _require(words.size() == 3, "the line \"format\" takes a kind and a version", _last(words));
    const auto found = std::find(names.begin(), names.end(), words[1]);
    _require(found != names.end(), "the format of the data is not known", words[1]);
    _header.encoding = static_cast<PlyEncoding>(found - names.begin());
    _formatSeen = true;
  }

  // OpenSceneGraph's reader stores counts as signed 32-bit integers.
  void _takeElement(const Words& words) {
    _require(words.size() == 3, "an element takes a name and a count", _last(words));
    PlyElement element;
    element.name = words[1];
    const auto [end, code] = std::from_chars(words[2].data(), words[2].data() + words[2].size(), element.count);
    _require(code == std::errc() && end == words[2].data() + words[2].size() &&
                 element.count <= std::numeric_limits<std::int32_t>::max(),
             "the count of an element is no usable number", words[2]);
    _require(_header.element(element.name) == nullptr, "an element is told of twice", words[1]);
    _header.elements.push_back(element);
  }

  void _takeProperty(const Words& words) {
    const bool list = words.size() > 1 && words[1] == "list";
    _require(words.size() == (list ? 5U : 3U), "a property takes a type (two of them for a list) and a name",
             _last(words));
    _require(!_header.elements.empty(), "a property belongs to no element", _last(words));
    PlyElement& element = _header.elements.back();
    PlyProperty property;
    property.name = _last(words);
    property.type = _type(words[list ? 3 : 1]);
    if (list) {
      property.countType = _type(words[2]);
      _require(property.countType->integer, "the count of a list is to be a whole number", words[2]);
    }
    _require(element.property(property.name) == nullptr, "a property is told of twice", _last(words));
    element.properties.push_back(property);
  }

  const PlyType* _type(std::string_view name) const {
    const auto found =
        std::find_if(kTypes.begin(), kTypes.end(), [&](const PlyType& type) { return type.name == name; });
    _require(found != kTypes.end(), "a type of number cannot be read here", name);
    return &*found;
  }

  const ScanFile& _file;
  SequentialBytes& _bytes;
  PlyHeader _header;
  bool _formatSeen = false;
  std::uint64_t _lineStart = 0;
  std::uint64_t _lineNumber = 0;
};

}  // namespace

const PlyProperty* PlyElement::property(std::string_view wanted) const {
  return named(properties, wanted);
}

const PlyElement* PlyHeader::element(std::string_view wanted) const {
  return named(elements, wanted);
}

std::vector<std::string_view> plyWords(std::string_view line) {
  constexpr std::string_view separators = " \t";
  Words words;
  std::size_t begin = line.find_first_not_of(separators);
  while (begin != line.npos) {
    const std::size_t end = std::min(line.find_first_of(separators, begin), line.size());
    words.push_back(line.substr(begin, end - begin));
    begin = line.find_first_not_of(separators, end);
  }
  return words;
}

PlyHeader readPlyHeader(const ScanFile& file, SequentialBytes& bytes) {
  return HeaderReader(file, bytes).run();
}

}  // namespace QuorViewer
