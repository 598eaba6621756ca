#include "extras/ReadOnlyFilePrivate.h"

#include <system_error>

namespace QuorOsgUtils {

std::string normalizedPath(const std::string& path) {
  return FileMapping::canonicalPath(path);
}

ReadOnlyFile::ReadOnlyFile(const std::string& path) : osg::Referenced(true), _data(std::make_unique<Private>()) {
  _data->path = path;
  const std::uint32_t error = _data->mapping.open(path, FileMapping::Access::ReadOnly);
  if (error != 0) {
    _data->error = path + ": cannot be opened: " + std::system_category().message(static_cast<int>(error));
  }
}

ReadOnlyFile::~ReadOnlyFile() {
  _data->mapping.close();
}

bool ReadOnlyFile::isValid() const {
  return _data->error.empty();
}

const std::string& ReadOnlyFile::error() const {
  return _data->error;
}

const std::string& ReadOnlyFile::path() const {
  return _data->path;
}

std::int64_t ReadOnlyFile::size() const {
  return isValid() ? _data->mapping.sizeBytes() : 0;
}

}  // namespace QuorOsgUtils
