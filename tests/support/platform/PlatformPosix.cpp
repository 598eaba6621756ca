#include "support/platform/Platform.h"

#include <fcntl.h>
#include <iconv.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace QuorTests {

std::vector<ListedView> listedViews(const std::string& path) {
  std::vector<ListedView> views;
  std::ifstream listing("/proc/self/maps");
  for (std::string line; std::getline(listing, line);) {
    // start-end rights offset device inode, and after some blanks the path
    const std::size_t place = line.find('/');
    if (place == std::string::npos || line.substr(place) != path) {
      continue;
    }
    std::istringstream fields(line);
    std::uintptr_t end = 0;
    ListedView view;
    char dash = 0;
    fields >> std::hex >> view.start >> dash >> end;
    view.bytes = end - view.start;
    views.push_back(view);
  }
  return views;
}

std::vector<std::intptr_t> listedHandles(const std::string& path) {
  std::vector<std::intptr_t> handles;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (std::filesystem::read_symlink(entry.path(), gone) == path) {
      handles.push_back(std::stoi(entry.path().filename().string()));
    }
  }
  return handles;
}

std::size_t countOfHandles() {
  using Listing = std::filesystem::directory_iterator;
  return static_cast<std::size_t>(std::distance(Listing("/proc/self/fd"), Listing()));
}

std::size_t handlesOfOneFile() {
  return 1;
}

bool isInherited(std::intptr_t handle) {
  return (::fcntl(static_cast<int>(handle), F_GETFD) & FD_CLOEXEC) == 0;
}

std::int64_t pageBytes() {
  return ::sysconf(_SC_PAGESIZE);
}

std::int64_t granularityBytes() {
  return pageBytes();
}

std::optional<std::size_t> limitOfViews() {
  std::size_t limit = 0;
  std::ifstream("/proc/sys/vm/max_map_count") >> limit;
  return limit;
}

const FileErrors& fileErrors() {
  static const FileErrors errors{ENOENT, EACCES, ENOENT, EBADF, EINVAL, ENOMEM, {EINVAL}, {EINVAL, EOVERFLOW, ENOMEM}};
  return errors;
}

std::vector<PathRow> pathsOfEveryKind(const std::string& folder) {
  return {{"a path through a file", "/proc/self/exe/scan", {ENOTDIR}, EBADF},
          {"a directory", folder, {EISDIR}, EBADF},
          {"a running program, which nobody may write", "/proc/self/exe", {ETXTBSY}, EBADF},
          {"a pipe", makePipe(folder), {ENODEV}, EBADF},
          {"a device", "/dev/null", {ENODEV}, EBADF},
          {"a path longer than the system allows", folder + "/" + std::string(5000, 'n'), {ENAMETOOLONG}, EBADF}};
}

std::string makePipe(const std::string& folder) {
  std::string path = folder + "/pipe";
  if (::mkfifo(path.c_str(), 0600) != 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  return path;
}

// The superuser may write every file, so it becomes another user.
WriteProtection::WriteProtection(const std::string& path) : _path(path), _before(::geteuid()) {
  constexpr uid_t kNobody = 65534;
  std::filesystem::permissions(std::filesystem::path(path).parent_path(), std::filesystem::perms(0755));
  std::filesystem::permissions(path, std::filesystem::perms(0444));
  if (_before == 0 && ::seteuid(kNobody) != 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
}

WriteProtection::~WriteProtection() {
  if (_before == 0 && ::seteuid(0) != 0) {
    std::abort();
  }
}

FileSizeLimit::FileSizeLimit(std::uint64_t bytes) {
  rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  _before = limit.rlim_cur;
  limit.rlim_cur = bytes;
  std::signal(SIGXFSZ, SIG_IGN);
  ::setrlimit(RLIMIT_FSIZE, &limit);
}

FileSizeLimit::~FileSizeLimit() {
  rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = _before;
  ::setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, SIG_DFL);
}

bool FileSizeLimit::isToBeHad() {
  return true;
}

LossyView::LossyView(const std::string& path) : _path(path), _bytes(std::filesystem::file_size(path)) {
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  void* const start = ::mmap(nullptr, _bytes, PROT_READ, MAP_SHARED, descriptor, 0);
  ::close(descriptor);
  if (start == MAP_FAILED) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  _start = static_cast<unsigned char*>(start);
}

LossyView::~LossyView() {
  ::munmap(_start, _bytes);
}

void LossyView::loseAllBehind(std::int64_t bytes) {
  std::filesystem::resize_file(_path, static_cast<std::uintmax_t>(bytes));
}

bool mappedFilesMayChange() {
  return true;
}

bool wasEndedByALostPage(int status) {
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGBUS;
}

std::optional<std::string> inUsersEncoding(const std::string& utf8) {
  return utf8;
}

std::filesystem::path toPath(const std::string& inUsersEncoding) {
  return inUsersEncoding;
}

std::string gbk(const std::string& utf8) {
  const iconv_t conversion = ::iconv_open("GBK", "UTF-8");
  if (conversion == reinterpret_cast<iconv_t>(-1)) {
    throw std::runtime_error("the system has no conversion to GBK");
  }
  std::string source = utf8;
  std::string result(2 * utf8.size(), '\0');
  char* from = source.data();
  char* to = result.data();
  std::size_t fromLeft = source.size();
  std::size_t toLeft = result.size();
  const std::size_t outcome = ::iconv(conversion, &from, &fromLeft, &to, &toLeft);
  ::iconv_close(conversion);
  if (outcome != 0 || fromLeft != 0) {
    throw std::runtime_error("the text has no form in GBK");
  }
  result.resize(result.size() - toLeft);
  return result;
}

std::string withNativeLineEnds(const std::string& text) {
  return text;
}

void setEnvironment(const char* name, const char* value) {
  if (value == nullptr) {
    ::unsetenv(name);
  } else {
    ::setenv(name, value, 1);
  }
}

void setTimeZone(const char* zone) {
  setEnvironment("TZ", zone);
  ::tzset();
}

bool displayIsFoundByEnvironment() {
  return true;
}

StreamsInFile::StreamsInFile(const std::string& path) : _output(::dup(STDOUT_FILENO)), _error(::dup(STDERR_FILENO)) {
  const int file = ::open(path.c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
  std::fflush(nullptr);
  ::dup2(file, STDOUT_FILENO);
  ::dup2(file, STDERR_FILENO);
  ::close(file);
}

StreamsInFile::~StreamsInFile() {
  std::fflush(nullptr);
  ::dup2(_output, STDOUT_FILENO);
  ::dup2(_error, STDERR_FILENO);
  ::close(_output);
  ::close(_error);
}

std::uint64_t physicalMemoryBytes() {
  return static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) * static_cast<std::uint64_t>(pageBytes());
}

int processNumber() {
  return ::getpid();
}

long threadNumber() {
  return ::gettid();
}

std::size_t countOfThreads() {
  using Listing = std::filesystem::directory_iterator;
  return static_cast<std::size_t>(std::distance(Listing("/proc/self/task"), Listing()));
}

double processorSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace QuorTests
