#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// The bytes of an index, in a file or in memory. Any number of threads may read.
class IndexBytes {
 public:
  virtual ~IndexBytes() = default;

  /// For messages.
  virtual std::string name() const = 0;
  virtual std::uint64_t size() const = 0;
  /// How much of them is in memory.
  virtual std::uint64_t heldBytes() const { return 0; }
  /// Reads up to `count` bytes, fewer only if there are no more. Returns their number.
  virtual std::size_t read(std::uint64_t offset, unsigned char* to, std::size_t count) const = 0;
};

/// Where an index is written to. One thread at a time.
class IndexSink {
 public:
  virtual ~IndexSink() = default;

  /// Appends bytes and returns their offset. Throws ScanWriteError.
  virtual std::uint64_t append(const std::vector<unsigned char>& bytes) = 0;
  /// Replaces the first bytes, which have been appended, and completes the index. Throws ScanWriteError.
  virtual void finish(const std::vector<unsigned char>& header) = 0;
};

/// An index in memory.
class MemoryIndex : public IndexSink {
 public:
  MemoryIndex() : _bytes(std::make_shared<std::vector<unsigned char>>()) {}

  std::uint64_t append(const std::vector<unsigned char>& bytes) override;
  void finish(const std::vector<unsigned char>& header) override;

  /// Of the finished index.
  std::shared_ptr<const IndexBytes> bytes() const;

 private:
  std::shared_ptr<std::vector<unsigned char>> _bytes;
};

/// An index in a file. It is written under a temporary name and gets its own when it is complete, so that a file with
/// that name is always whole; without `finish` the temporary file is deleted.
class IndexFileSink : public IndexSink {
 public:
  /// Throws ScanWriteError if the file cannot be created.
  explicit IndexFileSink(std::string path);
  IndexFileSink(const IndexFileSink&) = delete;
  IndexFileSink& operator=(const IndexFileSink&) = delete;
  ~IndexFileSink() override;

  std::uint64_t append(const std::vector<unsigned char>& bytes) override;
  void finish(const std::vector<unsigned char>& header) override;

 private:
  void _write(const std::vector<unsigned char>& bytes);

  std::string _path;
  std::string _temporaryPath;
  std::ofstream _file;
  std::uint64_t _size = 0;
};

}  // namespace QuorViewer
