#include "MakeScan.h"

#include <iostream>
#include <string>
#include <vector>

namespace {

// One line on the terminal, rewritten at each whole per cent; standard error, so that it never mixes with output.
void showProgress(std::uint64_t done, std::uint64_t all) {
  static std::uint64_t shown = 0;
  const std::uint64_t percent =
      all == 0 ? 100 : static_cast<std::uint64_t>(100.0 * static_cast<double>(done) / static_cast<double>(all));
  if (percent == shown) return;
  shown = percent;
  std::cerr << "\r" << percent << " %" << (done == all ? "\n" : "") << std::flush;
}

}  // namespace

int main(int count, char** arguments) {
  return QuorViewer::runMakeScan({arguments + 1, arguments + count}, std::cout, std::cerr, showProgress);
}
