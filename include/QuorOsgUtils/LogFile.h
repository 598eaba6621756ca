#pragma once

#include <QuorOsgUtils/Export.h>

namespace QuorOsgUtils {

/// The library's process-wide log, in the file "3Dengine.log".
///
///     QuorOsgUtils::LogFile::getInstance()->info("quor_viewer starts");
///
/// writes one entry with the local time and the ID of the calling thread:
///
///     2031-05-17 09:41:07.250 INFO  [4711] [QuorOsgUtils::LogFile::info@20] quor_viewer starts
///
/// Every message is followed by an empty line; a message that itself ends with a newline is followed by two. The
/// function and line number in brackets are fixed for each call, by the interface; they do not refer to the caller.
///
/// The file: UTF-8 with a byte-order mark and the system's line endings. The first message opens it in the current
/// working directory; it then stays open. An existing file is appended to. The file is not rotated and grows without
/// limit.
///
/// Applications that use plog: the log is plog instance 0, private to this library. The application's own instance 0
/// neither writes to this file nor receives its messages.
///
/// Threads: call `getInstance` once before starting threads that log; after that, every function may be called on any
/// thread, and entries are never interleaved.
/// Errors: none are reported. If the file cannot be opened or written, messages are lost and the calls return normally.
/// If the first message could not open the file, this is not tried again.
class QUOR_OSG_UTILS_EXPORT LogFile {
 public:
  /// The only instance, created by the first call and never destroyed. Does not create the file.
  static LogFile* getInstance();

  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  ///@{
  /// Writes one entry. `message` is null-terminated UTF-8 (on Windows, unless the library was built for UTF-8,
  /// text in the active code page). It may be empty, long or have several lines. Null is written as "(null)".
  void info(const char* message);
  void debug(const char* message);
  void error(const char* message);
  ///@}

 private:
  LogFile();
  ~LogFile() = default;
};

}  // namespace QuorOsgUtils
