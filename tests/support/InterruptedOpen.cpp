#include "support/InterruptedOpen.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

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

// A program's own definition takes precedence over the C library's. That one is variadic; its third argument has no
// meaning unless the flags create a file.
extern "C" __attribute__((visibility("default"))) int open(const char* path, int flags, unsigned int mode) {
  if (QuorTests::isInterrupted()) {
    errno = EINTR;
    return -1;
  }
  constexpr int kFromWorkingFolder = -100;
  return static_cast<int>(::syscall(SYS_openat, kFromWorkingFolder, path, flags, mode));
}
