#include "scan/platform/InForce.h"
#include "scan/platform/Platform.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <fstream>

namespace QuorViewer {

namespace {

/// Where its thread stood before the guarded work, and why it came back there.
struct Guard {
  sigjmp_buf outside{};
  volatile std::uintptr_t address = 0;
};

thread_local Guard* guardOfThread = nullptr;

struct sigaction actionBefore {};

// A fault outside of guarded work is whoever's it was before: the touch is repeated under that action.
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

// The limit of a container, where the system tells one: "max" is none.
std::uint64_t containerMemoryBytes() {
  std::uint64_t bytes = 0;
  std::ifstream("/sys/fs/cgroup/memory.max") >> bytes;
  return bytes;
}

}  // namespace

std::optional<std::uintptr_t> faultWhile(const std::function<void()>& work) {
  static const bool installed = installHandler();
  static_cast<void>(installed);
  Guard guard;
  const InForce inForce(guardOfThread, guard);
  // The signal's mask is saved as well, since the jump leaves the handler without its end.
  if (sigsetjmp(guard.outside, 1) != 0) return guard.address;
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

// Names are bytes here, whatever they mean.
std::filesystem::path placeOf(const std::string& name) {
  return name;
}

std::string nameOf(const std::filesystem::path& place) {
  return place.string();
}

std::string utf8Of(const std::string& inUsersEncoding) {
  return inUsersEncoding;
}

std::filesystem::path programFolder() {
  std::error_code ignored;
  return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

bool errorStreamIsTerminal() {
  return ::isatty(STDERR_FILENO) != 0;
}

}  // namespace QuorViewer
