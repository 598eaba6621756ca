#pragma once

#include <QuorOsgUtils/Export.h>

namespace QuorOsgUtils {

/// The library's process-wide log, in the file "3Dengine.log".
///
///     QuorOsgUtils::LogFile::getInstance()->info("quor_viewer starts");
///
/// writes, after the local time and with the number of the calling thread,
///
///     2031-05-17 09:41:07.250 INFO  [4711] [QuorOsgUtils::LogFile::info@20] quor_viewer starts
///
/// and an empty line, which follows every message; one that ends in a line end itself is followed by two. The function
/// and the line between the brackets are fixed for each call and do not tell the place in the host.
///
/// The file: UTF-8 with a byte-order mark at its start, and the system's own line ends. It is opened by the first
/// message, in the working directory of that moment, and stays open; a file that is there already is continued. It is
/// never rolled over, so it grows for as long as the host writes.
///
/// A host that uses plog itself: the log is plog's instance 0 of this library alone, hidden from the host. A host's own
/// instance 0 neither appears in this file nor receives what is written here.
///
/// Threads: the first `getInstance` belongs before the threads that log; after it every call may come from any thread,
/// and no line is torn.
/// Errors: none is reported. Where the file cannot be opened or written the messages are lost and the calls return as
/// ever; a file that could not be opened by the first message is not tried again.
class QUOR_OSG_UTILS_EXPORT LogFile {
 public:
  /// The one instance, made by the first call and never destroyed. No file is made by it yet.
  static LogFile* getInstance();

  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  /// Each writes one entry. `message` is text in UTF-8 that ends with a zero byte (on Windows, unless the library was
  /// built for UTF-8, text in the active code page); it may be empty, long, and of several lines. Null is written as
  /// "(null)".
  void info(const char* message);
  void debug(const char* message);
  void error(const char* message);

 private:
  LogFile();
  ~LogFile() = default;
};

}  // namespace QuorOsgUtils
