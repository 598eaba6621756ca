#include "scan/formats/JsonFile.h"

#include "scan/formats/Quoted.h"

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
  return error("field " + QuorViewer::quoted(field) + ": " + shown(at(field)) + " found, " + reason);
}

}  // namespace QuorViewer
