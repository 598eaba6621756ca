#pragma once

#include <QuorOsgUtils/Export.h>

#include <osg/Referenced>

#include <cstdint>
#include <memory>
#include <string>

namespace QuorOsgUtils {

/// The path as an absolute path without links, "." and "..", so that two names of a file are equal: "big.bin",
/// "./big.bin" and a link to it. The part of a path that does not exist is normalised as text. On Windows the result
/// has the letter case of the file system. Paths and result are in the user's default encoding.
[[nodiscard]] QUOR_OSG_UTILS_EXPORT std::string normalizedPath(const std::string& path);

/// An existing regular file that is open for reading only, to be read through a `FileView`. Unlike `FilePtr` it needs
/// no permission to write, prints nothing, and says why the file cannot be opened.
///
///     osg::ref_ptr<QuorOsgUtils::ReadOnlyFile> file = new QuorOsgUtils::ReadOnlyFile("town.las");
///     if (!file->isValid()) {
///       std::cerr << file->error() << std::endl;  // town.las: cannot be opened: No such file or directory
///     }
///     const QuorOsgUtils::FileView header(*file, 0, 375);
///
/// Units: bytes; sizes are 64-bit on every platform.
/// Ownership: hold it by `osg::ref_ptr`. Views hold a reference, so the file stays open as long as there are any.
/// Threads: the object does not change after its construction; any number of threads may use it.
/// GL: none.
/// Errors: see `error`. Only regular files can be opened. If the file shrinks while a view of it is in use, reading the
/// pages after its new end raises a system fault, as for `FilePtr`.
class QUOR_OSG_UTILS_EXPORT ReadOnlyFile : public osg::Referenced {
 public:
  /// Opens the file. Waits for another process to release its lease on it.
  explicit ReadOnlyFile(const std::string& path);
  ReadOnlyFile(const ReadOnlyFile&) = delete;
  ReadOnlyFile& operator=(const ReadOnlyFile&) = delete;

  /// Whether the file is open.
  bool isValid() const;
  /// Empty if the file is open; otherwise "PATH: cannot be opened: REASON", with the reason in the system's words.
  const std::string& error() const;
  /// As given.
  const std::string& path() const;
  /// Of the file when it was opened; 0 if it is not open.
  std::int64_t size() const;

 protected:
  ~ReadOnlyFile() override;

 private:
  friend class FileView;
  struct Private;
  std::unique_ptr<Private> _data;
};

}  // namespace QuorOsgUtils
