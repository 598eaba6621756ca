#pragma once

#include <QuorOsgUtils/Export.h>

#include <osg/Referenced>

#include <cstdint>
#include <memory>
#include <mutex>

namespace QuorOsgUtils {

class FileMapping;

/// Random access to an existing file through mapped views, for files of any size.
///
///     osg::ref_ptr<QuorOsgUtils::FilePtr> file = new QuorOsgUtils::FilePtr("town.las");
///     if (file->isValid()) {
///       if (const void* header = file->map(0, 375)) {
///         ...
///       }
///     }
///
/// Units: bytes; offsets and sizes are 64-bit on every platform. A view starts at a multiple of the system's allocation
/// granularity (Windows: 64 KiB, elsewhere the page size), whatever the requested offset, and each `map` creates a new
/// view. Views are writable shared mappings, so writes reach the file; pages are read on first access.
///
/// Ownership: views belong to the object. `close` unmaps them, and so does releasing the last reference. Nothing else
/// unmaps a view whose requested offset was not a multiple of the granularity: `unmap` ignores its pointer (fixed by
/// the interface). `FileView` aligns the offset and unmaps its view; `ReadOnlyFile` opens files that may not be
/// written. Threads: any number of threads may call `map` and `unmap` at the same time; call `open` and `close` only
/// while no other call runs. GL: none. Paths: passed to the system unchanged; on Windows in the user's default
/// encoding.
///
/// Errors: nothing is thrown. Each failure writes one line, except that `map` returns null silently when memory is
/// exhausted. If the file cannot be opened: "Error creating file: " and the system's error number, to standard error.
/// If the range ends before its view would start: "Abnormal normal vector data : 84", to standard output; text and
/// number are fixed by the interface and have no further meaning. If the system refuses a view: a text in GBK and the
/// error number, to standard output. Only regular files can be opened. `open` waits for another process, such as a file
/// server, to release its lease on the file. If the file shrinks while a view is in use, reading or writing the pages
/// after its new end raises a system fault.
class QUOR_OSG_UTILS_EXPORT FilePtr : public osg::Referenced {
 public:
  /// Opens the file for reading and writing. Null counts as an empty path.
  explicit FilePtr(const char* path);
  FilePtr(const FilePtr&) = delete;
  FilePtr& operator=(const FilePtr&) = delete;
  ~FilePtr() override;

  /// Reopens the path after `close` and reads its size; does nothing if the object is open. If that fails, the previous
  /// size is kept. On Windows also sets the process's character type locale (LC_CTYPE) to the user's default.
  void open();
  /// Unmaps all views and closes the file; does nothing if the object is closed.
  void close();

  /// True from construction or `open` until `close`, even if the file could not be opened (fixed by the interface).
  bool isOpen() const;
  /// Permanently false once opening has failed.
  bool isValid() const;
  /// The path as given.
  const char* file() const;

  /// Returns a pointer to the byte at `offset` in a new view. The view starts at `offset` rounded towards zero to the
  /// granularity. It ends at `offset + size`, or at the end of the file when it was last opened if that is less. A view
  /// of length 0 extends to the end of the file. Returns null, with a line on standard output, if there is no such
  /// view:
  ///
  /// | offset and size                                            | result                                      |
  /// |------------------------------------------------------------|---------------------------------------------|
  /// | the end lies before the start of the view                  | null, message with 84                       |
  /// | the offset is negative and not a multiple of granularity   | null, message with 84                       |
  /// | the length of the view exceeds 2^63 − 1                    | null, message with 84                       |
  /// | any other negative offset                                  | null: the system refuses the view           |
  /// | the end exceeds 2^63 − 1                                   | the view up to the end of the file          |
  /// | a negative size whose end lies at or after the view's      | the view up to that end; the pointer lies   |
  /// | start                                                      | after it                                    |
  /// | an offset after the end of the file whose view starts      | the view up to the end of the file; the     |
  /// | before it                                                  | pointer lies after it                       |
  [[nodiscard]] void* map(std::int64_t offset, std::int64_t size);

  /// Unmaps the view that starts at `p`; ignores any other pointer.
  void unmap(void* p);

 private:
  friend class FileView;
  struct Private;

  const FileMapping& _mapping() const;

  std::unique_ptr<Private> _data;
  bool _valid = true;
  bool _closed = true;
  std::mutex _mutex;
};

}  // namespace QuorOsgUtils
