#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace QuorTests {

/// What the tests ask of the operating system itself; a file for each.

/// One of the views of files that the system lists for this process.
struct ListedView {
  std::uintptr_t start = 0;
  std::size_t bytes = 0;
};

/// What the system says of this process. The path is the one that the file was opened with.
std::vector<ListedView> listedViews(const std::string& path);
std::vector<std::intptr_t> listedHandles(const std::string& path);
std::size_t countOfHandles();
/// How many of them an open mapped file has.
std::size_t handlesOfOneFile();
/// Whether a program started by this one gets the handle as well.
bool isInherited(std::intptr_t handle);

/// Views start at multiples of the one and are listed in multiples of the other.
std::int64_t granularityBytes();
std::int64_t pageBytes();
/// How many views a process may have; none where the system sets no limit of its own.
std::optional<std::size_t> limitOfViews();

/// The system's numbers for files that cannot be opened or mapped.
struct FileErrors {
  int missing;
  int notWritable;
  int emptyPath;
  int mappingOfNoFile;  ///< a view of what is not open
  int mappingOfEmptyFile;
  int noRoom;                           ///< one view too many
  std::vector<int> viewBehindTheEnd;    ///< a view that starts where its file ends: one of these
  std::vector<int> viewBeforeTheStart;  ///< a view at a negative offset: one of these
};
const FileErrors& fileErrors();

/// A path, and the system's numbers for what must fail: one of those for its opening, none where it opens, and 0 for a
/// mapping that succeeds.
struct PathRow {
  std::string what;
  std::string path;
  std::vector<int> openingErrors;
  int mappingError = 0;
};

/// Paths of every kind that the system has, some of them of files made in the folder.
std::vector<PathRow> pathsOfEveryKind(const std::string& folder);

/// Something that holds up whoever opens it for reading, until someone writes. Empty where no path leads to such
/// things.
std::string makePipe(const std::string& folder);

/// As long as it lives, this process may read the file and may not open it for writing.
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

/// As long as it lives, no file that this process writes gets longer: as on a disk that is full. Writing fails there
/// and does not end the process.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::uint64_t bytes);
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit();

  /// False where the system has no such limits.
  static bool isToBeHad();

 private:
  [[maybe_unused]] std::uint64_t _before = 0;
};

/// A file's bytes, mapped for reading, of which some may be lost while they are mapped, as when the file is shortened
/// or its disk goes away.
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

/// Whether a file that is mapped can be made shorter, or its name given to another.
bool mappedFilesMayChange();

/// Whether a process with this status, as a death test has it, was ended by touching lost bytes.
bool wasEndedByALostPage(int status);

/// The text in the encoding in which this user's programs are given names of files; none where it has no such letters.
std::optional<std::string> inUsersEncoding(const std::string& utf8);
/// What a name in the user's encoding leads to. The standard library's own reading of such names differs between
/// compilers.
std::filesystem::path placeOf(const std::string& inUsersEncoding);

/// The text in the encoding GBK, by the system's own conversion.
std::string gbk(const std::string& utf8);

/// The text as a text file of this system has it, from one whose lines end with a line feed.
std::string withNativeLineEnds(const std::string& text);

/// Sets a variable for this process and those it starts; null takes it away.
void setEnvironment(const char* name, const char* value);
/// From now on local times are those of this zone, written as in the variable TZ.
void setTimeZone(const char* zone);
/// Whether a process finds its display by the variable DISPLAY, so that it can be kept from finding one.
bool displayIsFoundByEnvironment();

/// As long as it lives, what this process writes to its standard output and error streams goes into a file.
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

/// 0 where the machine, as some virtual ones, does not tell.
std::uint64_t physicalMemoryBytes();
int processNumber();
/// The system's number of the calling thread.
long threadNumber();
/// Of this process.
std::size_t countOfThreads();
/// Used by this process so far.
double processorSeconds();

}  // namespace QuorTests
