#include "scan/platform/InForce.h"
#include "scan/platform/Platform.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <fstream>

namespace QuorViewer {

namespace {

/// The state of the thread before the guarded work, and the address of the fault.
struct Guard {
  sigjmp_buf outside{};
  volatile std::uintptr_t address = 0;
};

thread_local Guard* guardOfThread = nullptr;

struct sigaction actionBefore {};

// A fault outside guarded work: the previous handler is restored, and the access is repeated under it.
void leaveGuardedWork(int signal, siginfo_t* info, void* /*context*/) {
  Guard* const guard = guardOfThread;
  if (guard == nullptr) {
    sigaction(signal, &actionBefore, nullptr);
    return;
  }
  guard->address = reinterpret_cast<std::uintptr_t>(info->si_addr);
  siglongjmp(guard->outside, 1);
}

bool installHandler() {
  struct sigaction action {};
  action.sa_sigaction = leaveGuardedWork;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  return sigaction(SIGBUS, &action, &actionBefore) == 0;
}

// The container's memory limit; 0 if there is none (the file then reads "max").
std::uint64_t containerMemoryBytes() {
  std::uint64_t bytes = 0;
  std::ifstream("/sys/fs/cgroup/memory.max") >> bytes;
  return bytes;
}

}  // namespace

std::optional<std::uintptr_t> runGuarded(const std::function<void()>& work) {
  static const bool installed = installHandler();
  static_cast<void>(installed);
  Guard guard;
  const InForce inForce(guardOfThread, guard);
  // The signal mask is saved too, because the jump leaves the handler without returning from it.
  if (sigsetjmp(guard.outside, 1) != 0) {
    return guard.address;
  }
  work();
  return std::nullopt;
}

std::uint64_t machineMemoryBytes() {
  const auto pages = static_cast<std::uint64_t>(std::max(sysconf(_SC_PHYS_PAGES), 0L));
  const std::uint64_t physical = pages * static_cast<std::uint64_t>(std::max(sysconf(_SC_PAGESIZE), 0L));
  const std::uint64_t container = containerMemoryBytes();
  return container > 0 ? std::min(container, physical) : physical;
}

std::uint64_t processMemoryBytes() {
  std::uint64_t allPages = 0, residentPages = 0;
  std::ifstream("/proc/self/statm") >> allPages >> residentPages;
  return residentPages * static_cast<std::uint64_t>(std::max(sysconf(_SC_PAGESIZE), 0L));
}

void returnFreeMemory() {
  malloc_trim(0);
}

// File names are bytes here, whatever their encoding.
std::filesystem::path toPath(const std::string& name) {
  return name;
}

std::string fromPath(const std::filesystem::path& place) {
  return place.string();
}

std::string utf8Of(const std::string& inUsersEncoding) {
  return inUsersEncoding;
}

std::filesystem::path programFolder() {
  std::error_code ignored;
  return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

// By the base directory specification, a relative path in the variable is ignored.
std::filesystem::path userCacheFolder() {
  const char* cache = std::getenv("XDG_CACHE_HOME");
  if (cache != nullptr && *cache == '/') {
    return cache;
  }
  const char* home = std::getenv("HOME");
  return home != nullptr && *home == '/' ? std::filesystem::path(home) / ".cache" : std::filesystem::path();
}

bool errorStreamIsTerminal() {
  return ::isatty(STDERR_FILENO) != 0;
}

}  // namespace QuorViewer
