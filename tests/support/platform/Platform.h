#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace QuorTests {

/// Operating-system services for the tests; one source file per system.

/// One of the file views that the system lists for this process.
struct ListedView {
  std::uintptr_t start = 0;
  std::size_t bytes = 0;
};

/// What the system reports about this process. The path is the one with which the file was opened.
std::vector<ListedView> listedViews(const std::string& path);
std::vector<std::intptr_t> listedHandles(const std::string& path);
std::size_t countOfHandles();
/// How many handles an open mapped file has.
std::size_t handlesOfOneFile();
/// Whether a program started by this one inherits the handle.
bool isInherited(std::intptr_t handle);

/// Views start at multiples of the granularity and are listed in multiples of the page size.
std::int64_t granularityBytes();
std::int64_t pageBytes();
/// How many views a process may have; none if the system sets no limit of its own.
std::optional<std::size_t> limitOfViews();

/// The system's error numbers for files that cannot be opened or mapped.
struct FileErrors {
  int missing;
  int notWritable;
  int emptyPath;
  int mappingOfNoFile;  ///< a view of a file that is not open
  int mappingOfEmptyFile;
  int noRoom;                           ///< one view too many
  std::vector<int> viewBehindTheEnd;    ///< a view that starts where its file ends: one of these
  std::vector<int> viewBeforeTheStart;  ///< a view at a negative offset: one of these
};
const FileErrors& fileErrors();

/// A path, and the system's error numbers: opening fails with one of `openingErrors`, or succeeds if there are none;
/// mapping fails with `mappingError`, or succeeds if that is 0.
struct PathRow {
  std::string what;
  std::string path;
  std::vector<int> openingErrors;
  int mappingError = 0;
};

/// Paths of every kind that the system has, some of them to files created in the folder.
std::vector<PathRow> pathsOfEveryKind(const std::string& folder);

/// A path that blocks a reader that opens it until someone writes. Empty if the system has no such paths.
std::string makePipe(const std::string& folder);

/// During its lifetime, this process may read the file but not open it for writing.
class WriteProtection {
 public:
  explicit WriteProtection(const std::string& path);
  WriteProtection(const WriteProtection&) = delete;
  WriteProtection& operator=(const WriteProtection&) = delete;
  ~WriteProtection();

 private:
  std::string _path;
  std::intptr_t _before = 0;
};

/// During its lifetime, no file that this process writes can grow, as on a full disk. Writing fails then and does not
/// end the process.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::uint64_t bytes);
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit();

  /// False if the system has no such limits.
  static bool isToBeHad();

 private:
  [[maybe_unused]] std::uint64_t _before = 0;
};

/// A file's bytes, mapped for reading. Some may be lost while they are mapped, as when the file is shortened or its
/// disk is removed.
class LossyView {
 public:
  explicit LossyView(const std::string& path);
  LossyView(const LossyView&) = delete;
  LossyView& operator=(const LossyView&) = delete;
  ~LossyView();

  const volatile unsigned char* start() const { return _start; }
  std::size_t bytes() const { return _bytes; }
  void loseAllBehind(std::int64_t bytes);

 private:
  std::string _path;
  unsigned char* _start = nullptr;
  std::size_t _bytes = 0;
};

/// Whether a mapped file can be shortened, or its name given to another file.
bool mappedFilesMayChange();

/// Whether a process with this status, as a death test reports it, was ended by accessing lost bytes.
bool wasEndedByALostPage(int status);

/// The text in the encoding of file names in this user's programs; none if a character is missing there.
std::optional<std::string> inUsersEncoding(const std::string& utf8);
/// The path for a name in the user's encoding. The standard library's own conversion differs between compilers.
std::filesystem::path toPath(const std::string& inUsersEncoding);

/// The text in the encoding GBK, by the system's own conversion.
std::string gbk(const std::string& utf8);

/// The text with the line ends of this system's text files instead of line feeds.
std::string withNativeLineEnds(const std::string& text);

/// Sets an environment variable for this process and those it starts; null removes it.
void setEnvironment(const char* name, const char* value);
/// From now on local times are in this time zone, written as in the variable TZ.
void setTimeZone(const char* zone);
/// Whether a process finds its display through the variable DISPLAY, so that it can be kept from finding one.
bool displayIsFoundByEnvironment();

/// During its lifetime, this process's standard output and error streams are written to a file.
class StreamsInFile {
 public:
  explicit StreamsInFile(const std::string& path);
  StreamsInFile(const StreamsInFile&) = delete;
  StreamsInFile& operator=(const StreamsInFile&) = delete;
  ~StreamsInFile();

 private:
  int _output;
  int _error;
};

/// 0 if the machine does not report it, as some virtual ones do not.
std::uint64_t physicalMemoryBytes();
int processNumber();
/// The system's ID of the calling thread.
long threadNumber();
/// Of this process.
std::size_t countOfThreads();
/// Used by this process so far.
double processorSeconds();

}  // namespace QuorTests
