#include "scan/formats/Wkt.h"

#include "scan/ParseNumber.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <string>
#include <vector>

namespace QuorViewer {
namespace {

/// KEYWORD["text", number, CHILD[…], …]
struct WktNode {
  std::string keyword;
  std::vector<std::string> values;  ///< texts without quotes, numbers and plain words
  std::vector<WktNode> children;

  const WktNode* child(std::string_view name) const {
    const auto found =
        std::find_if(children.begin(), children.end(), [&](const WktNode& node) { return node.keyword == name; });
    return found == children.end() ? nullptr : &*found;
  }
};

class WktParser {
 public:
  explicit WktParser(std::string_view text) : _left(text) {}

  std::optional<WktNode> parse() {
    WktNode root;
    root.keyword = _word();
    return !root.keyword.empty() && _parseList(root, 0) ? std::optional(std::move(root)) : std::nullopt;
  }

 private:
  // A list is everything between brackets; either kind of bracket is allowed.
  bool _parseList(WktNode& node, int depth) {
    constexpr int kDeepest = 32;
    if (depth > kDeepest || (!_take('[') && !_take('('))) {
      return false;
    }
    do {
      if (!_parseItem(node, depth)) {
        return false;
      }
    } while (_take(','));
    return _take(']') || _take(')');
  }

  bool _parseItem(WktNode& node, int depth) {
    if (_take('"')) {
      return _parseText(node);
    }
    std::string word = _word();
    if (word.empty()) {
      return false;
    }
    if (_next() != '[' && _next() != '(') {
      node.values.push_back(std::move(word));
      return true;
    }
    node.children.emplace_back();
    node.children.back().keyword = std::move(word);
    return _parseList(node.children.back(), depth + 1);
  }

  // A quotation mark in a text is written twice.
  bool _parseText(WktNode& node) {
    std::string text;
    for (std::size_t end = _left.find('"'); end != _left.npos; end = _left.find('"')) {
      text += _left.substr(0, end);
      _left.remove_prefix(end + 1);
      if (_left.empty() || _left.front() != '"') {
        node.values.push_back(std::move(text));
        return true;
      }
      text += '"';
      _left.remove_prefix(1);
    }
    return false;
  }

  std::string _word() {
    _skipSpaces();
    const auto isPart = [](char c) { return std::string_view("[](),\" \t\r\n").find(c) == std::string_view::npos; };
    const auto end = std::find_if_not(_left.begin(), _left.end(), isPart);
    std::string word(_left.begin(), end);
    _left.remove_prefix(word.size());
    std::transform(word.begin(), word.end(), word.begin(),
                   [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
    return word;
  }

  char _next() {
    _skipSpaces();
    return _left.empty() ? '\0' : _left.front();
  }

  bool _take(char c) {
    const bool found = _next() == c;
    _left.remove_prefix(found ? 1 : 0);
    return found;
  }

  void _skipSpaces() { _left.remove_prefix(std::min(_left.find_first_not_of(" \t\r\n"), _left.size())); }

  std::string_view _left;
};

bool isOneOf(const std::string& keyword, std::initializer_list<std::string_view> keywords) {
  return std::find(keywords.begin(), keywords.end(), keyword) != keywords.end();
}

// Compound and bound systems consist of others; the horizontal one comes first.
const WktNode& horizontalPartOf(const WktNode& root) {
  const WktNode* node = &root;
  while (isOneOf(node->keyword, {"COMPD_CS", "COMPOUNDCRS", "BOUNDCRS", "SOURCECRS"}) && !node->children.empty()) {
    node = &node->children.front();
  }
  return *node;
}

unsigned epsgOf(const WktNode& node) {
  for (const char* keyword : {"AUTHORITY", "ID"}) {
    const WktNode* id = node.child(keyword);
    unsigned code = 0;
    if (id != nullptr && id->values.size() >= 2 && id->values[0] == "EPSG" &&
        parseNumber(id->values[1], code) == std::errc()) {
      return code;
    }
  }
  return 0;
}

// The unit of a geographic system is an angle. In version 2 the unit may be that of the axes.
double metresPerUnitOf(const WktNode& node) {
  if (node.keyword.rfind("GEOG", 0) == 0) {
    return 0.0;
  }
  for (const char* keyword : {"UNIT", "LENGTHUNIT"}) {
    const WktNode* unit = node.child(keyword);
    double metres = 0.0;
    if (unit != nullptr && unit->values.size() >= 2 && parseNumber(unit->values[1], metres) == std::errc()) {
      return metres > 0.0 ? metres : 0.0;
    }
  }
  const WktNode* axis = node.child("AXIS");
  return axis != nullptr ? metresPerUnitOf(*axis) : 0.0;
}

}  // namespace

CoordinateSystem coordinateSystemOfWkt(std::string_view text) {
  const std::optional<WktNode> root = WktParser(text).parse();
  if (!root) {
    return {};
  }
  const WktNode& node = horizontalPartOf(*root);
  CoordinateSystem system;
  system.name = node.values.empty() || isOneOf(node.values[0], {"unnamed", "unknown"}) ? std::string() : node.values[0];
  system.epsg = epsgOf(node);
  system.metresPerUnit = metresPerUnitOf(node);
  return system;
}

}  // namespace QuorViewer
