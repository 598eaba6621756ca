#include "scan/index/IndexBytes.h"

#include "scan/edit/LasWriter.h"
#include "scan/index/TemporaryName.h"
#include "scan/platform/Platform.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace QuorViewer {
namespace {

class BytesInMemory : public IndexBytes {
 public:
  explicit BytesInMemory(std::shared_ptr<const std::vector<unsigned char>> bytes) : _bytes(std::move(bytes)) {}

  std::string name() const override { return "index in memory"; }
  std::uint64_t size() const override { return _bytes->size(); }
  std::uint64_t heldBytes() const override { return _bytes->size(); }
  std::size_t read(std::uint64_t offset, unsigned char* to, std::size_t count) const override {
    const std::uint64_t from = std::min<std::uint64_t>(offset, _bytes->size());
    const auto available = static_cast<std::size_t>(std::min<std::uint64_t>(count, _bytes->size() - from));
    std::copy_n(_bytes->begin() + static_cast<std::ptrdiff_t>(from), available, to);
    return available;
  }

 private:
  std::shared_ptr<const std::vector<unsigned char>> _bytes;
};

}  // namespace

std::uint64_t MemoryIndex::append(const std::vector<unsigned char>& bytes) {
  const std::uint64_t offset = _bytes->size();
  _bytes->insert(_bytes->end(), bytes.begin(), bytes.end());
  return offset;
}

void MemoryIndex::finish(const std::vector<unsigned char>& header) {
  std::copy(header.begin(), header.end(), _bytes->begin());
  _bytes->shrink_to_fit();
}

std::shared_ptr<const IndexBytes> MemoryIndex::bytes() const {
  return std::make_shared<BytesInMemory>(_bytes);
}

IndexFileSink::IndexFileSink(std::string path) : _path(std::move(path)), _temporaryPath(temporaryNameFor(_path)) {
  errno = 0;
  _file.open(toPath(_temporaryPath), std::ios::binary | std::ios::trunc);
  if (!_file) {
    throw ScanWriteError(_temporaryPath + ": cannot create the file: " + systemReason());
  }
}

IndexFileSink::~IndexFileSink() {
  if (!_temporaryPath.empty()) {
    _file.close();
    std::error_code ignored;
    std::filesystem::remove(toPath(_temporaryPath), ignored);
  }
}

void IndexFileSink::_write(const std::vector<unsigned char>& bytes) {
  errno = 0;
  if (!_file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
    throw ScanWriteError(_path + ": cannot write the index: " + systemReason());
  }
}

std::uint64_t IndexFileSink::append(const std::vector<unsigned char>& bytes) {
  _write(bytes);
  _size += bytes.size();
  return _size - bytes.size();
}

void IndexFileSink::finish(const std::vector<unsigned char>& header) {
  _file.seekp(0);
  _write(header);
  errno = 0;
  _file.close();
  if (!_file) {
    throw ScanWriteError(_path + ": cannot write the index: " + systemReason());
  }
  std::error_code failed;
  std::filesystem::rename(toPath(_temporaryPath), toPath(_path), failed);
  if (failed) {
    throw ScanWriteError(_path + ": cannot rename the finished index: " + failed.message());
  }
  _temporaryPath.clear();
}

}  // namespace QuorViewer
