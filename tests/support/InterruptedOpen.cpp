#include "support/InterruptedOpen.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>

namespace QuorTests {
namespace {

std::atomic<int> left{0};

bool isInterrupted() {
  int before = left;
  while (before > 0 && !left.compare_exchange_weak(before, before - 1)) {
  }
  return before > 0;
}

}  // namespace

void interruptNextOpens(int times) {
  left = times;
}

int interruptionsLeft() {
  return left;
}

}  // namespace QuorTests

// A program's own definition goes before the C library's. The system's header would declare it in other words.
extern "C" __attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
  if (QuorTests::isInterrupted()) {
    errno = EINTR;
    return -1;
  }
  std::va_list rest;
  va_start(rest, flags);
  const auto mode = va_arg(rest, unsigned int);  // of no meaning where the flags make no file
  va_end(rest);
  constexpr int kFromWorkingFolder = -100;
  return static_cast<int>(::syscall(SYS_openat, kFromWorkingFolder, path, flags, mode));
}
