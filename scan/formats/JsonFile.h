#pragma once

#include "scan/ScanFile.h"

#include <nlohmann/json.hpp>

#include <string>

namespace QuorViewer {

/// A JSON file whose text is an object. All errors name the file.
class JsonFile {
 public:
  /// Throws ScanError: the file cannot be read, is too large, or is not an object in JSON.
  explicit JsonFile(std::string path);

  const nlohmann::json& root() const { return _root; }
  /// A field of the object; null if it is missing.
  const nlohmann::json* find(const std::string& field) const;
  /// A field of the object. Throws ScanError if it is missing.
  const nlohmann::json& at(const std::string& field) const;

  /// An error about the value of a field, with its byte.
  ScanError error(const std::string& field, const std::string& reason) const;
  ScanError error(const std::string& what) const { return _file.error(what); }
  /// "at byte 12": where the value of a field begins. The byte is not known if the key is written with escapes. Reads
  /// the text again.
  std::string placeOf(const std::string& field) const;

 private:
  ScanFile _file;
  nlohmann::json _root;
};

}  // namespace QuorViewer
