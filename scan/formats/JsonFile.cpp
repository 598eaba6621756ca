#include "scan/formats/JsonFile.h"

#include "scan/formats/Quoted.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace QuorViewer {

namespace {

constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 28U;

nlohmann::json parse(const ScanFile& file) {
  const std::vector<unsigned char> text = file.beginning(static_cast<std::size_t>(kMostBytes));
  try {
    return nlohmann::json::parse(text.begin(), text.end());
  } catch (const nlohmann::json::parse_error& error) {
    // The parser counts from 1.
    throw file.error("not valid JSON, at byte " + std::to_string(error.byte > 0 ? error.byte - 1 : 0));
  } catch (const nlohmann::json::exception&) {
    throw file.error("a number in the JSON text is too large");
  }
}

/// Finds the values of an object's fields in its text, which is valid JSON.
class FieldPlaces {
 public:
  FieldPlaces(const std::vector<unsigned char>& text, const std::string& field)
      : _text(text), _quoted('"' + field + '"') {}

  /// Of the last field with this key, which is the one that counts; without a value if it is not written that way.
  std::optional<std::size_t> find() {
    std::optional<std::size_t> found;
    int depth = 0;
    while (_at < _text.size()) {
      const unsigned char c = _text[_at];
      depth += c == '{' || c == '[' ? 1 : c == '}' || c == ']' ? -1 : 0;
      const std::size_t begin = _at;
      _skip();
      if (c == '"' && depth == 1 && _isKey(begin)) {
        found = _at;
      }
    }
    return found;
  }

 private:
  /// A string, or one character.
  void _skip() {
    const bool isString = _text[_at++] == '"';
    while (isString && _at < _text.size() && _text[_at] != '"') {
      _at += _text[_at] == '\\' ? 2 : 1;
    }
    _at += isString ? 1 : 0;
  }
  void _skipSpace() {
    while (_at < _text.size() && std::isspace(_text[_at]) != 0) {
      ++_at;
    }
  }
  /// Whether the string that has just been skipped is the key of a field. Then skips to its value.
  bool _isKey(std::size_t begin) {
    const bool isSame = _at - begin == _quoted.size() && _at <= _text.size() &&
                        std::equal(_quoted.begin(), _quoted.end(), _text.begin() + static_cast<std::ptrdiff_t>(begin));
    _skipSpace();
    if (_at >= _text.size() || _text[_at] != ':') {
      return false;
    }
    ++_at;
    _skipSpace();
    return isSame;
  }

  const std::vector<unsigned char>& _text;
  std::string _quoted;
  std::size_t _at = 0;
};

/// The first part of a value as JSON text.
std::string shown(const nlohmann::json& value) {
  const std::string text = QuorViewer::quoted(value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
  return text.substr(1, text.size() - 2);
}

}  // namespace

JsonFile::JsonFile(std::string path) : _file(std::move(path)) {
  if (_file.size() > kMostBytes) {
    throw _file.error("the file is too large: " + std::to_string(_file.size()) + " bytes found, " +
                      std::to_string(kMostBytes) + " supported");
  }
  _root = parse(_file);
  if (!_root.is_object()) {
    throw _file.error("not a JSON object, at byte 0");
  }
}

const nlohmann::json* JsonFile::find(const std::string& field) const {
  const auto found = _root.find(field);
  return found != _root.end() ? &*found : nullptr;
}

const nlohmann::json& JsonFile::at(const std::string& field) const {
  const nlohmann::json* found = find(field);
  if (found == nullptr) {
    throw error("the field \"" + field + "\" is missing");
  }
  return *found;
}

ScanError JsonFile::error(const std::string& field, const std::string& reason) const {
  return error(placeOf(field) + ", field " + QuorViewer::quoted(field) + ": " + shown(at(field)) + " found, " + reason);
}

std::string JsonFile::placeOf(const std::string& field) const {
  const std::vector<unsigned char> text = _file.beginning(static_cast<std::size_t>(kMostBytes));
  const std::optional<std::size_t> place = FieldPlaces(text, field).find();
  return place ? "at byte " + std::to_string(*place) : "at an unknown byte";
}

}  // namespace QuorViewer
