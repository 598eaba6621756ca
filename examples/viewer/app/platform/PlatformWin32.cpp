#include "platform/Platform.h"

#include <windows.h>
// After the header it builds on.
#include <psapi.h>

namespace QuorViewer {

namespace {

struct Guard {
  void* outside[5] = {};
  std::uintptr_t address = 0;
};

thread_local Guard* guardOfThread = nullptr;

// A file that is mapped cannot be shortened here; what is left are disks and shares that go away. Where the system is
// emulated, a page that is gone counts as a forbidden one.
bool isLostPage(const EXCEPTION_RECORD& record) {
  constexpr ULONG_PTR kReading = 0;
  return (record.ExceptionCode == EXCEPTION_IN_PAGE_ERROR || record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION) &&
         record.ExceptionInformation[0] == kReading;
}

LONG CALLBACK leaveGuardedWork(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  Guard* const guard = guardOfThread;
  if (guard == nullptr || !isLostPage(record)) return EXCEPTION_CONTINUE_SEARCH;
  guard->address = static_cast<std::uintptr_t>(record.ExceptionInformation[1]);
  __builtin_longjmp(guard->outside, 1);
}

}  // namespace

std::optional<std::uintptr_t> faultWhile(const std::function<void()>& work) {
  static void* const installed = AddVectoredExceptionHandler(1, leaveGuardedWork);
  static_cast<void>(installed);
  Guard guard;
  if (__builtin_setjmp(guard.outside) != 0) {
    const std::uintptr_t address = guardOfThread->address;
    guardOfThread = nullptr;
    return address;
  }
  guardOfThread = &guard;
  work();
  guardOfThread = nullptr;
  return std::nullopt;
}

std::uint64_t machineMemoryBytes() {
  MEMORYSTATUSEX status = {};
  status.dwLength = sizeof status;
  return GlobalMemoryStatusEx(&status) != 0 ? status.ullTotalPhys : 0;
}

std::uint64_t processMemoryBytes() {
  PROCESS_MEMORY_COUNTERS counters = {};
  return K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) != 0 ? counters.WorkingSetSize : 0;
}

void returnFreeMemory() {
  HeapCompact(GetProcessHeap(), 0);
}

}  // namespace QuorViewer
