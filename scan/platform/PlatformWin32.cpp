#include "scan/platform/InForce.h"
#include "scan/platform/Platform.h"

#include <windows.h>
// psapi.h needs windows.h before it.
#include <io.h>
#include <psapi.h>

#include <cstdio>
#include <string>

namespace QuorViewer {

namespace {

/// The state of the thread before the guarded work, whether the work was aborted, and the address of the fault.
struct Guard {
  CONTEXT outside{};
  volatile bool left = false;
  volatile std::uintptr_t address = 0;
};

thread_local Guard* guardOfThread = nullptr;

// A page that cannot be read in has an exception of its own. For a mapped file that has become shorter, some systems
// raise an access violation instead, as for any invalid address.
bool isLostPage(const EXCEPTION_RECORD& record) {
  if (record.ExceptionCode == static_cast<DWORD>(EXCEPTION_IN_PAGE_ERROR)) {
    return true;
  }
  if (record.ExceptionCode != static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION)) {
    return false;
  }
  MEMORY_BASIC_INFORMATION region{};
  const void* const address = reinterpret_cast<const void*>(record.ExceptionInformation[1]);
  return ::VirtualQuery(address, &region, sizeof region) != 0 && region.Type == MEM_MAPPED;
}

// The thread resumes in the saved state, with all its registers. The stack is not unwound.
LONG CALLBACK leaveGuardedWork(EXCEPTION_POINTERS* exception) {
  Guard* const guard = guardOfThread;
  if (guard == nullptr || !isLostPage(*exception->ExceptionRecord)) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  guard->left = true;
  guard->address = static_cast<std::uintptr_t>(exception->ExceptionRecord->ExceptionInformation[1]);
  *exception->ContextRecord = guard->outside;
  return EXCEPTION_CONTINUE_EXECUTION;
}

std::wstring widened(const std::string& text, UINT codePage) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<std::size_t>(::MultiByteToWideChar(codePage, 0, text.data(), size, wide.data(), size)));
  return wide;
}

std::string narrowed(const std::wstring& wide, UINT codePage) {
  constexpr std::size_t kMostBytesPerUnit = 4;
  std::string text(kMostBytesPerUnit * wide.size(), '\0');
  text.resize(
      static_cast<std::size_t>(::WideCharToMultiByte(codePage, 0, wide.data(), static_cast<int>(wide.size()),
                                                     text.data(), static_cast<int>(text.size()), nullptr, nullptr)));
  return text;
}

}  // namespace

std::optional<std::uintptr_t> runGuarded(const std::function<void()>& work) {
  static void* const installed = ::AddVectoredExceptionHandler(1, leaveGuardedWork);
  static_cast<void>(installed);
  Guard guard;
  const InForce inForce(guardOfThread, guard);
  // After a fault this call returns a second time.
  ::RtlCaptureContext(&guard.outside);
  if (!guard.left) {
    work();
  }
  return guard.left ? std::optional<std::uintptr_t>(guard.address) : std::nullopt;
}

std::uint64_t machineMemoryBytes() {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  return ::GlobalMemoryStatusEx(&status) != 0 ? status.ullTotalPhys : 0;
}

std::uint64_t processMemoryBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  return ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters) != 0 ? counters.WorkingSetSize
                                                                                           : 0;
}

void returnFreeMemory() {
  ::HeapCompact(::GetProcessHeap(), 0);
}

std::filesystem::path toPath(const std::string& name) {
  return widened(name, CP_ACP);
}

std::string fromPath(const std::filesystem::path& place) {
  return narrowed(place.native(), CP_ACP);
}

std::string utf8Of(const std::string& inUsersEncoding) {
  return narrowed(widened(inUsersEncoding, CP_ACP), CP_UTF8);
}

std::filesystem::path programFolder() {
  constexpr DWORD kLongest = 32768;
  std::wstring path(kLongest, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), kLongest));
  return std::filesystem::path(path).parent_path();
}

std::filesystem::path userCacheFolder() {
  const wchar_t* folder = ::_wgetenv(L"LOCALAPPDATA");
  return folder != nullptr ? std::filesystem::path(folder) : std::filesystem::path();
}

bool errorStreamIsTerminal() {
  return ::_isatty(::_fileno(stderr)) != 0;
}

}  // namespace QuorViewer
