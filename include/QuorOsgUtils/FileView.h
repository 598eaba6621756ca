#pragma once

#include <QuorOsgUtils/Export.h>

#include <osg/Referenced>
#include <osg/ref_ptr>

#include <cstdint>
#include <string>

namespace QuorOsgUtils {

class FileMapping;
class FilePtr;
class ReadOnlyFile;

/// A mapped range of a file, unmapped by the destructor. Any offset is allowed: the view that the system maps is
/// aligned to its allocation granularity, and `data` points to the requested byte.
///
///     const QuorOsgUtils::FileView records(*file, 227 + 34 * first, 34 * count);
///     if (records) {
///       read(records.data(), records.size());
///     } else {
///       std::cerr << records.error() << std::endl;
///     }
///
/// Units: bytes. A range that extends past the end of the file (as it was when it was opened) is shortened: `size` is
/// what remains. A range without bytes is valid and maps nothing.
/// Ownership: the view holds a reference to its file. Views can be moved, not copied. Do not call `FilePtr::close`
/// while one of the file's views exists. Threads: any number of threads may create, use and destroy views of one file;
/// use each view on one thread at a time. GL: none. Errors: nothing is thrown or printed, but see below. If the range
/// is not mapped, the view is false and `error` says why. If the system itself refuses a view of a `FilePtr`, that
/// class writes its line on standard output.
class QUOR_OSG_UTILS_EXPORT FileView {
 public:
  /// Without a file; false.
  FileView();
  /// For reading.
  FileView(const ReadOnlyFile& file, std::int64_t offset, std::int64_t size);
  /// Writable: what is written to `writableData` reaches the file.
  FileView(FilePtr& file, std::int64_t offset, std::int64_t size);
  FileView(const FileView&) = delete;
  FileView& operator=(const FileView&) = delete;
  ///@{
  /// The source becomes a view without a file.
  FileView(FileView&& other) noexcept;
  FileView& operator=(FileView&& other) noexcept;
  ///@}
  ~FileView();

  /// Whether the range is mapped.
  explicit operator bool() const { return _error.empty(); }
  /// "PATH: REASON"; empty if the range is mapped.
  const std::string& error() const { return _error; }

  /// The byte at the offset; null if nothing is mapped.
  const unsigned char* data() const { return _data; }
  /// The same; null for a view of a `ReadOnlyFile`.
  unsigned char* writableData() const { return _writable ? _data : nullptr; }
  /// How many bytes may be read from `data` on.
  std::int64_t size() const { return _size; }

 private:
  bool _mayMap(const std::string& path, std::int64_t fileSize, std::int64_t offset, std::int64_t size);
  void _release();
  void _takeFrom(FileView& other);

  osg::ref_ptr<const osg::Referenced> _file;  // a read-only one
  osg::ref_ptr<FilePtr> _writable;
  void* _start = nullptr;  // of the system's view
  unsigned char* _data = nullptr;
  std::int64_t _size = 0;
  std::int64_t _lead = 0;  // bytes from the start of the system's view to `_data`
  std::string _error;
};

}  // namespace QuorOsgUtils
