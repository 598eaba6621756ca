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

// A library's own `atexit` is called when the library is unloaded: then the system has ended all threads but one. The
// table that the C library itself goes through at `exit` is another.
void registerWithProcess() {
#if defined(_UCRT) || defined(_MSC_VER)
  ::_crt_atexit([] { static_cast<void>(doWorkOfEnd()); });
#else
  using Register = _onexit_t (*)(_onexit_t);
  const FARPROC found = ::GetProcAddress(::GetModuleHandleW(L"msvcrt.dll"), "_onexit");
  if (found != nullptr) reinterpret_cast<Register>(reinterpret_cast<void*>(found))(doWorkOfEnd);
#endif
}

// The table would lead nowhere once the library has been unloaded, so it stays from here on.
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
