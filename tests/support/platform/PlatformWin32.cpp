#include "support/platform/Platform.h"

// The order matters: the others need the first.
#include <windows.h>
//
#include <fcntl.h>
#include <io.h>
#include <psapi.h>
#include <sys/stat.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cwctype>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace QuorTests {

namespace {

constexpr int kOutput = 1;
constexpr int kError = 2;

HANDLE handleOf(std::intptr_t value) {
  return reinterpret_cast<HANDLE>(value);
}

std::wstring widened(const std::string& text, UINT codePage) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<std::size_t>(::MultiByteToWideChar(codePage, 0, text.data(), size, wide.data(), size)));
  return wide;
}

std::optional<std::string> encoded(const std::wstring& wide, UINT codePage) {
  std::string text(4 * wide.size(), '\0');
  BOOL missing = FALSE;
  // UTF-8, which may be the user's encoding, has every letter, and Windows rejects the question for a missing one.
  const bool isUtf8 = (codePage == CP_ACP ? ::GetACP() : codePage) == CP_UTF8;
  const int bytes =
      ::WideCharToMultiByte(codePage, isUtf8 ? 0 : WC_NO_BEST_FIT_CHARS, wide.data(), static_cast<int>(wide.size()),
                            text.data(), static_cast<int>(text.size()), nullptr, isUtf8 ? nullptr : &missing);
  text.resize(static_cast<std::size_t>(bytes));
  return missing == FALSE ? std::optional<std::string>(text) : std::nullopt;
}

/// A path in lower case with backslashes, without the prefix before its first folder, which the system writes in
/// several ways.
std::wstring inOneSpelling(std::wstring path) {
  std::transform(path.begin(), path.end(), path.begin(),
                 [](wchar_t letter) { return letter == L'/' ? L'\\' : static_cast<wchar_t>(std::towlower(letter)); });
  return path;
}

std::wstring placeOnDisk(const std::string& path) {
  return inOneSpelling(std::filesystem::absolute(toPath(path)).relative_path().wstring());
}

/// Whether the system's name for an open object ends with this path.
bool endsWith(const std::wstring& name, const std::wstring& place) {
  return name.size() > place.size() && name.compare(name.size() - place.size(), place.size(), place) == 0 &&
         name[name.size() - place.size() - 1] == L'\\';
}

std::wstring nameOfViewAt(const void* address) {
  std::wstring name(32768, L'\0');
  const DWORD length = ::K32GetMappedFileNameW(::GetCurrentProcess(), const_cast<void*>(address), name.data(),
                                               static_cast<DWORD>(name.size()));
  return inOneSpelling(name.substr(0, length));
}

std::wstring nameOfHandle(HANDLE handle) {
  std::wstring name(32768, L'\0');
  const DWORD length =
      ::GetFinalPathNameByHandleW(handle, name.data(), static_cast<DWORD>(name.size()), VOLUME_NAME_DOS);
  return inOneSpelling(name.substr(0, length));
}

// On some systems the name of a mapping's handle is that of its file.
bool isMapping(HANDLE handle) {
  void* const view = ::MapViewOfFile(handle, FILE_MAP_READ, 0, 0, 1);
  if (view != nullptr) {
    ::UnmapViewOfFile(view);
  }
  return view != nullptr;
}

/// Calls a function for each handle of this process. Handles are numbered in steps; ordinary programs get no list of
/// them.
template <typename Use>
void forEachHandle(const Use& use) {
  constexpr std::intptr_t kStep = 4;
  constexpr std::intptr_t kGreatest = 0x2000;
  for (std::intptr_t value = kStep; value <= kGreatest; value += kStep) {
    DWORD flags = 0;
    if (::GetHandleInformation(handleOf(value), &flags) != 0) {
      use(value);
    }
  }
}

SYSTEM_INFO systemInfo() {
  SYSTEM_INFO info{};
  ::GetSystemInfo(&info);
  return info;
}

std::string ownProgram() {
  std::wstring path(32768, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return std::filesystem::path(path).string();
}

}  // namespace

std::vector<ListedView> listedViews(const std::string& path) {
  std::vector<ListedView> views;
  const std::wstring place = placeOnDisk(path);
  MEMORY_BASIC_INFORMATION region{};
  for (const char* next = nullptr; ::VirtualQuery(next, &region, sizeof region) != 0;) {
    const auto start = reinterpret_cast<std::uintptr_t>(region.AllocationBase);
    if (region.State == MEM_COMMIT && region.Type == MEM_MAPPED && endsWith(nameOfViewAt(region.BaseAddress), place)) {
      if (views.empty() || views.back().start != start) {
        views.push_back({start, 0});
      }
      views.back().bytes += region.RegionSize;
    }
    next = static_cast<const char*>(region.BaseAddress) + region.RegionSize;
  }
  return views;
}

std::vector<std::intptr_t> listedHandles(const std::string& path) {
  std::vector<std::intptr_t> handles;
  const std::wstring place = placeOnDisk(path);
  forEachHandle([&](std::intptr_t value) {
    const HANDLE handle = handleOf(value);
    if (::GetFileType(handle) == FILE_TYPE_DISK && !isMapping(handle) && endsWith(nameOfHandle(handle), place)) {
      handles.push_back(value);
    }
  });
  return handles;
}

std::size_t countOfHandles() {
  std::size_t count = 0;
  forEachHandle([&count](std::intptr_t) { ++count; });
  return count;
}

// One of the file, one of its mapping.
std::size_t handlesOfOneFile() {
  return 2;
}

bool isInherited(std::intptr_t handle) {
  DWORD flags = 0;
  ::GetHandleInformation(handleOf(handle), &flags);
  return (flags & HANDLE_FLAG_INHERIT) != 0;
}

std::int64_t pageBytes() {
  return systemInfo().dwPageSize;
}

std::int64_t granularityBytes() {
  return systemInfo().dwAllocationGranularity;
}

std::optional<std::size_t> limitOfViews() {
  return std::nullopt;
}

const FileErrors& fileErrors() {
  static const FileErrors errors{ERROR_FILE_NOT_FOUND,
                                 ERROR_SHARING_VIOLATION,
                                 ERROR_PATH_NOT_FOUND,
                                 ERROR_INVALID_HANDLE,
                                 ERROR_INVALID_HANDLE,
                                 ERROR_NOT_ENOUGH_MEMORY,
                                 {ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER},
                                 {ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER, ERROR_NOT_ENOUGH_MEMORY}};
  return errors;
}

// A device can be opened like a file but not mapped, and no path blocks when it is opened.
std::vector<PathRow> pathsOfEveryKind(const std::string& folder) {
  constexpr int kNoHandle = ERROR_INVALID_HANDLE;
  // Wine reports both of these as a missing file.
  const std::vector<int> noDrive = {ERROR_PATH_NOT_FOUND, ERROR_FILE_NOT_FOUND};
  const std::vector<int> tooLong = {ERROR_FILENAME_EXCED_RANGE, ERROR_PATH_NOT_FOUND, ERROR_INVALID_NAME,
                                    ERROR_FILE_NOT_FOUND};
  return {{"a path through a file", ownProgram() + "\\scan", {ERROR_PATH_NOT_FOUND}, kNoHandle},
          {"a folder that is not there", folder + "\\none\\scan", {ERROR_PATH_NOT_FOUND}, kNoHandle},
          {"a drive that is not there", "Q:\\scan", noDrive, kNoHandle},
          {"a directory", folder, {ERROR_ACCESS_DENIED}, kNoHandle},
          {"a running program, which nobody may write", ownProgram(), {ERROR_SHARING_VIOLATION}, kNoHandle},
          {"a pipe that is not there", R"(\\.\pipe\quor nobody serves this)", {ERROR_FILE_NOT_FOUND}, kNoHandle},
          {"a device", "NUL", {}, kNoHandle},
          {"a name with letters that no name may have", folder + "\\a<b>|c?", {ERROR_INVALID_NAME}, kNoHandle},
          {"a path longer than the system allows", folder + "\\" + std::string(5000, 'n'), tooLong, kNoHandle}};
}

std::string makePipe(const std::string& /*folder*/) {
  return {};
}

// Holds the file open without sharing it for writing: this works for every user, and on every disk.
WriteProtection::WriteProtection(const std::string& path) : _path(path) {
  const HANDLE file = ::CreateFileW(toPath(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot open " + path);
  }
  _before = reinterpret_cast<std::intptr_t>(file);
}

WriteProtection::~WriteProtection() {
  ::CloseHandle(handleOf(_before));
}

FileSizeLimit::FileSizeLimit(std::uint64_t /*bytes*/) {}

FileSizeLimit::~FileSizeLimit() = default;

bool FileSizeLimit::isToBeHad() {
  return false;
}

LossyView::LossyView(const std::string& path) : _path(path), _bytes(std::filesystem::file_size(toPath(path))) {
  const HANDLE file = ::CreateFileW(toPath(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  const HANDLE mapping = ::CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
  _start = static_cast<unsigned char*>(::MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
  ::CloseHandle(mapping);
  ::CloseHandle(file);
  if (_start == nullptr) {
    throw std::runtime_error("cannot map " + path);
  }
}

LossyView::~LossyView() {
  ::UnmapViewOfFile(_start);
}

// A mapped file cannot be shortened here, and no disk can be removed on demand: the pages are made inaccessible
// instead.
void LossyView::loseAllBehind(std::int64_t bytes) {
  DWORD before = 0;
  const auto kept = static_cast<std::size_t>(bytes);
  if (::VirtualProtect(_start + kept, _bytes - kept, PAGE_NOACCESS, &before) == 0) {
    throw std::runtime_error("cannot forbid the pages of " + _path);
  }
}

bool mappedFilesMayChange() {
  return false;
}

bool wasEndedByALostPage(int status) {
  return static_cast<DWORD>(status) == static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION);
}

std::optional<std::string> inUsersEncoding(const std::string& utf8) {
  return encoded(widened(utf8, CP_UTF8), CP_ACP);
}

std::filesystem::path toPath(const std::string& inUsersEncoding) {
  return widened(inUsersEncoding, CP_ACP);
}

std::string gbk(const std::string& utf8) {
  constexpr UINT kGbk = 936;
  const std::optional<std::string> text = encoded(widened(utf8, CP_UTF8), kGbk);
  if (!text) {
    throw std::runtime_error("the text has no form in GBK");
  }
  return *text;
}

std::string withNativeLineEnds(const std::string& text) {
  std::string ended;
  for (const char letter : text) {
    if (letter == '\n') {
      ended += '\r';
    }
    ended += letter;
  }
  return ended;
}

void setEnvironment(const char* name, const char* value) {
  ::_putenv_s(name, value == nullptr ? "" : value);
}

void setTimeZone(const char* zone) {
  setEnvironment("TZ", zone);
  ::_tzset();
}

bool displayIsFoundByEnvironment() {
  return false;
}

StreamsInFile::StreamsInFile(const std::string& path) : _output(::_dup(kOutput)), _error(::_dup(kError)) {
  const int file = ::_open(path.c_str(), _O_CREAT | _O_WRONLY | _O_APPEND | _O_BINARY, _S_IREAD | _S_IWRITE);
  std::fflush(nullptr);
  ::_dup2(file, kOutput);
  ::_dup2(file, kError);
  ::_close(file);
}

StreamsInFile::~StreamsInFile() {
  std::fflush(nullptr);
  ::_dup2(_output, kOutput);
  ::_dup2(_error, kError);
  ::_close(_output);
  ::_close(_error);
}

std::uint64_t physicalMemoryBytes() {
  ULONGLONG kibibytes = 0;
  ::GetPhysicallyInstalledSystemMemory(&kibibytes);
  return kibibytes * 1024;
}

int processNumber() {
  return static_cast<int>(::GetCurrentProcessId());
}

long threadNumber() {
  return static_cast<long>(::GetCurrentThreadId());
}

std::size_t countOfThreads() {
  const HANDLE all = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 thread{};
  thread.dwSize = sizeof thread;
  std::size_t count = 0;
  for (BOOL found = ::Thread32First(all, &thread); found != 0; found = ::Thread32Next(all, &thread)) {
    count += thread.th32OwnerProcessID == ::GetCurrentProcessId() ? 1 : 0;
  }
  ::CloseHandle(all);
  return count;
}

double processorSeconds() {
  FILETIME created{}, ended{}, kernel{}, user{};
  ::GetProcessTimes(::GetCurrentProcess(), &created, &ended, &kernel, &user);
  const auto seconds = [](const FILETIME& time) {
    return 1e-7 * (4294967296.0 * static_cast<double>(time.dwHighDateTime) + static_cast<double>(time.dwLowDateTime));
  };
  return seconds(kernel) + seconds(user);
}

}  // namespace QuorTests
