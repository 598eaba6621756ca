#include "files/platform/FileMapping.h"

#include <windows.h>

#include <cassert>
#include <clocale>
#include <cstdlib>
#include <string>
#include <vector>

namespace QuorOsgUtils {

namespace {

HANDLE handleOf(std::intptr_t value) {
  return reinterpret_cast<HANDLE>(value);
}

std::intptr_t valueOf(HANDLE handle) {
  return reinterpret_cast<std::intptr_t>(handle);
}

// The older C library of Windows (msvcrt) does not support UTF-8 locales.
std::vector<wchar_t> widenedFromUtf8(const std::string& path) {
  const int bytes = static_cast<int>(path.size()) + 1;
  std::vector<wchar_t> wide(path.size() + 1, L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, path.c_str(), bytes, wide.data(), bytes);
  return wide;
}

// The path is in the user's default encoding, which the C library uses only after `setlocale`.
std::vector<wchar_t> widened(const std::string& path) {
  std::setlocale(LC_CTYPE, "");
  if (::GetACP() == CP_UTF8) {
    return widenedFromUtf8(path);
  }
  constexpr auto kInvalid = static_cast<std::size_t>(-1);
  const std::size_t length = std::mbstowcs(nullptr, path.c_str(), 0);
  std::vector<wchar_t> wide(length == kInvalid ? 1 : length + 1, L'\0');
  if (length != kInvalid) {
    std::mbstowcs(wide.data(), path.c_str(), wide.size());
  }
  return wide;
}

DWORD upperHalf(std::int64_t value) {
  return static_cast<DWORD>(static_cast<std::uint64_t>(value) >> 32U);
}

DWORD lowerHalf(std::int64_t value) {
  return static_cast<DWORD>(static_cast<std::uint64_t>(value) & 0xFFFFFFFFU);
}

}  // namespace

std::uint32_t FileMapping::open(const std::string& path, Access access) {
  _access = access;
  const bool writes = access == Access::ReadWrite;
  // Must outlive GetLastError: freeing its memory might change the error.
  const std::vector<wchar_t> widePath = widened(path);
  const HANDLE file =
      ::CreateFileW(widePath.data(), writes ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  const std::uint32_t error = file == INVALID_HANDLE_VALUE ? ::GetLastError() : 0;
  LARGE_INTEGER size{};
  if (::GetFileSizeEx(file, &size) != 0) {
    _sizeBytes = size.QuadPart;
  }
  const HANDLE mapping = ::CreateFileMappingW(file, nullptr, writes ? PAGE_READWRITE : PAGE_READONLY, 0, 0, nullptr);
  SYSTEM_INFO system{};
  ::GetSystemInfo(&system);
  _file = valueOf(file);
  _mapping = valueOf(mapping);
  _granularityBytes = system.dwAllocationGranularity;
  return error;
}

void FileMapping::close() {
  if (handleOf(_file) != INVALID_HANDLE_VALUE) {
    ::CloseHandle(handleOf(_file));
  }
  if (_mapping != 0) {
    ::CloseHandle(handleOf(_mapping));
  }
  _file = valueOf(INVALID_HANDLE_VALUE);
  _mapping = 0;
}

FileMapping::View FileMapping::view(std::int64_t offset, std::int64_t lengthBytes, std::uint32_t& error) const {
  assert(offset % granularityBytes() == 0);
  const DWORD access = _access == Access::ReadWrite ? FILE_MAP_ALL_ACCESS : FILE_MAP_READ;
  void* const start = ::MapViewOfFile(handleOf(_mapping), access, upperHalf(offset), lowerHalf(offset),
                                      static_cast<SIZE_T>(lengthBytes));
  if (start != nullptr) {
    return {start, lengthBytes};
  }
  error = ::GetLastError();
  return {};
}

void FileMapping::release(const View& view) {
  ::UnmapViewOfFile(view.start);
}

// On Windows pipes have names in a separate namespace, and opening one does not wait.
bool FileMapping::isPipe(const std::string& /*path*/) {
  return false;
}

// The system knows the final name, with links resolved and in the file's own letter case, only of an open file.
std::string FileMapping::canonicalPath(const std::string& path) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  constexpr DWORD kLongest = 32768;
  std::string name(kLongest, '\0');
  const HANDLE file =
      ::CreateFileA(path.c_str(), 0, kShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  DWORD length = 0;
  if (file != INVALID_HANDLE_VALUE) {
    length = ::GetFinalPathNameByHandleA(file, name.data(), kLongest, FILE_NAME_NORMALIZED);
    ::CloseHandle(file);
  }
  if (length == 0 || length >= kLongest) {
    length = ::GetFullPathNameA(path.c_str(), kLongest, name.data(), nullptr);
  }
  if (length == 0 || length >= kLongest) {
    return path;
  }
  name.resize(length);
  constexpr const char* kPrefix = R"(\\?\)";  // of final names; of network paths it is followed by UNC
  const bool isLocal = name.rfind(kPrefix, 0) == 0 && name.rfind(R"(\\?\UNC)", 0) != 0;
  return isLocal ? name.substr(std::char_traits<char>::length(kPrefix)) : name;
}

}  // namespace QuorOsgUtils
