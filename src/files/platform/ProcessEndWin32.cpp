#include "files/platform/ProcessEnd.h"

#include <windows.h>

#include <cstdlib>

#if defined(_UCRT) || defined(_MSC_VER)
#  include <corecrt_startup.h>
#endif

namespace QuorOsgUtils {

namespace {

void (*workOfEnd)() = nullptr;

int doWorkOfEnd() {
  workOfEnd();
  return 0;
}

// A DLL's own `atexit` functions run when it is unloaded; by then the system has ended all threads but one. So this
// uses the separate table that the C library processes at `exit`.
void registerWithProcess() {
#if defined(_UCRT) || defined(_MSC_VER)
  ::_crt_atexit([] { static_cast<void>(doWorkOfEnd()); });
#else
  using Register = _onexit_t (*)(_onexit_t);
  const FARPROC found = ::GetProcAddress(::GetModuleHandleW(L"msvcrt.dll"), "_onexit");
  if (found != nullptr) {
    reinterpret_cast<Register>(reinterpret_cast<void*>(found))(doWorkOfEnd);
  }
#endif
}

// The table would contain a dangling pointer after the DLL is unloaded, so the DLL is kept loaded.
void keepLoaded() {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<const wchar_t*>(&workOfEnd), &module);
}

}  // namespace

void beforeProcessEnds(void (*work)()) {
  if (workOfEnd == nullptr) {
    workOfEnd = work;
    keepLoaded();
    registerWithProcess();
  }
}

}  // namespace QuorOsgUtils
