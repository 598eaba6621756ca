#include "viewer/ui/TerminalProgress.h"

#include "scan/platform/Platform.h"
#include "viewer/ui/Format.h"

#include <iostream>

namespace QuorViewer {
void showTerminalProgress(const char* doing, std::uint64_t done, std::uint64_t total) {
  if (errorStreamIsTerminal()) {
    const std::uint64_t percent = total > 0 ? done * 100 / total : 100;
    std::cerr << "\r" << doing << " " << grouped(done) << " of " << grouped(total) << " points (" << percent << " %) "
              << std::flush;
  }
}

void clearTerminalProgress() {
  if (errorStreamIsTerminal()) {
    std::cerr << "\r\033[K" << std::flush;
  }
}

}  // namespace QuorViewer
