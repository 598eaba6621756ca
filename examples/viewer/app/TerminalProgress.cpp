#include "TerminalProgress.h"

#include "Format.h"

#include <iostream>

#if defined(_WIN32)
#  include <io.h>
#else
#  include <unistd.h>
#endif

namespace QuorViewer {
namespace {

bool isTerminal() {
#if defined(_WIN32)
  return _isatty(_fileno(stderr)) != 0;
#else
  return isatty(STDERR_FILENO) != 0;
#endif
}

}  // namespace

void showTerminalProgress(const char* doing, std::uint64_t done, std::uint64_t total) {
  if (isTerminal()) {
    const std::uint64_t percent = total > 0 ? done * 100 / total : 100;
    std::cerr << "\r" << doing << " " << grouped(done) << " of " << grouped(total) << " points (" << percent << " %) "
              << std::flush;
  }
}

void clearTerminalProgress() {
  if (isTerminal()) {
    std::cerr << "\r\033[K" << std::flush;
  }
}

}  // namespace QuorViewer
