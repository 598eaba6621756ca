#pragma once

#include <QuorOsgUtils/Export.h>

#include <osg/Referenced>

#include <cstdint>
#include <memory>
#include <mutex>

namespace QuorOsgUtils {

/// Random access to an existing file through mapped views, for files of any size.
///
///     osg::ref_ptr<QuorOsgUtils::FilePtr> file = new QuorOsgUtils::FilePtr("town.las");
///     if (file->isValid()) {
///       if (const void* header = file->map(0, 375)) {
///         ...
///       }
///     }
///
/// Units: bytes; offsets and sizes are 64-bit on every platform. A view begins at a multiple of the system's allocation
/// granularity (Windows: 64 KiB, elsewhere the page size), whatever offset was asked for, and each `map` makes a view
/// of its own. Views are writable and shared with all openers of the file; nothing is read before it is touched.
///
/// Ownership: views belong to the object and end with `close`, `open` after it, or the last reference. A view whose
/// requested offset was no multiple of the granularity ends only that way: `unmap` ignores its pointer.
/// Threads: `map` and `unmap` on any threads at once; `open` and `close` while no other call runs.
/// GL: none. Paths: bytes as the system takes them; on Windows in the user's own encoding.
///
/// Errors: nothing is thrown. Each failure writes one line: a file that cannot be opened "Error creating file: " and
/// the system's error number to the standard error stream; a range that ends before its view would start "Abnormal
/// normal vector data : 84" (the number has no further meaning), and a view that the system refuses a line in GBK and
/// the error number, both to the standard output. Only regular files can be opened. `open` waits while another process,
/// such as a file server, gives up its lease on the file. A file that shrinks while a view is in use takes away the
/// pages after its new end: reading or writing them raises the system's own fault.
class QUOR_OSG_UTILS_EXPORT FilePtr : public osg::Referenced {
 public:
  /// Opens the file for reading and writing. Null counts as an empty path.
  explicit FilePtr(const char* path);
  FilePtr(const FilePtr&) = delete;
  FilePtr& operator=(const FilePtr&) = delete;
  ~FilePtr() override;

  /// Opens the path again after `close` and reads its size; does nothing on an open object. If that fails, the last
  /// size stays. On Windows also sets the process's character type locale (LC_CTYPE) to the user's default.
  void open();
  /// Ends all views and closes the file; does nothing on a closed object.
  void close();

  /// From construction or `open` to `close`, also when the file could not be opened.
  bool isOpen() const;
  /// False permanently once opening has failed.
  bool isValid() const;
  /// The path as given.
  const char* file() const;

  /// The byte at `offset` in a new view. The view starts at `offset` rounded towards zero to the granularity and ends
  /// at `offset + size`, or where the file ended when it was last opened if that is less. A view of length 0 reaches to
  /// the end of the file. Null, with a line on the standard output, if there is no such view:
  ///
  /// | offset and size                                            | result                                      |
  /// |------------------------------------------------------------|---------------------------------------------|
  /// | the end lies before the start of the view                  | null, line with 84                          |
  /// | the offset is negative and no multiple of the granularity  | null, line with 84                          |
  /// | the length of the view exceeds 2^63 − 1                    | null, line with 84                          |
  /// | any other negative offset                                  | the system is asked, and refuses the view   |
  /// | the end exceeds 2^63 − 1                                   | the view up to the end of the file          |
  /// | a negative size whose end lies at or after the view's      | the view up to that end; the pointer lies   |
  /// | start                                                      | after it                                    |
  /// | an offset after the end of the file whose view starts      | the view up to the end of the file; the     |
  /// | before it                                                  | pointer lies after it                       |
  void* map(std::int64_t offset, std::int64_t size);

  /// Ends the view that begins at `p`; nothing for any other pointer.
  void unmap(void* p);

 private:
  struct Private;

  std::unique_ptr<Private> _data;
  bool _valid = true;
  bool _closed = true;
  std::mutex _mutex;
};

}  // namespace QuorOsgUtils
