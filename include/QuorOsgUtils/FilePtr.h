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
/// requested offset was no multiple of the granularity ends only so: `unmap` ignores its pointer.
/// Threads: `map` and `unmap` on any threads at once; `open` and `close` while no other call runs.
/// GL: none. Paths: bytes as the system takes them; on Windows in the user's own encoding.
///
/// Errors: nothing is thrown. What fails writes one line: a file that cannot be opened "Error creating file: " and the
/// system's error number to the standard error stream; a range that is none, or begins behind the file's end, the line
/// "Abnormal normal vector data : 84", and a view that the system refuses a line in GBK and the error number, both to
/// the standard output. Only regular files can be opened. A file that shrinks while a view is in use
/// takes the pages behind its end away: touching these raises the system's own fault.
class QUOR_OSG_UTILS_EXPORT FilePtr : public osg::Referenced {
 public:
  /// Opens the file for reading and writing. Null counts as an empty path.
  explicit FilePtr(const char* path);
  FilePtr(const FilePtr&) = delete;
  FilePtr& operator=(const FilePtr&) = delete;
  ~FilePtr() override;

  /// Opens the path again, with its size of now, after `close`; nothing on an open object. On Windows also sets the
  /// process's character type locale to the user's.
  void open();
  /// Ends all views and gives the file back; nothing on a closed object.
  void close();

  /// From construction or `open` to `close`, also when the file could not be opened.
  bool isOpen() const;
  /// False for ever once the file could not be opened.
  bool isValid() const;
  /// The path as given.
  const char* file() const;

  /// The byte at `offset` in a new view that ends `size` bytes behind it, or at the end that the file had when it was
  /// opened if that is nearer. Where that leaves no bytes from the view's beginning on, the view reaches to the end of
  /// the file. Null, with a line on the standard output, when there is no such view. An offset behind the end of the
  /// file is refused only if the view would begin behind it as well.
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
