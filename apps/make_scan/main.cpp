#include "make_scan/MakeScan.h"

#include <chrono>
#include <iostream>
#include <string>
#include <vector>

namespace {

// One line on standard error, updated at each whole per cent, if the program runs for more than two seconds.
class ProgressLine {
 public:
  void show(std::uint64_t done, std::uint64_t all) {
    constexpr std::chrono::seconds kPatience(2);
    if (std::chrono::steady_clock::now() - _begin < kPatience) return;
    const std::uint64_t percent = done / (all / 100 + 1);
    if (done < all && percent == _shown) return;
    _shown = percent;
    std::cerr << "\r" << (done == all ? 100 : percent) << " %" << (done == all ? "\n" : "") << std::flush;
  }

 private:
  std::chrono::steady_clock::time_point _begin = std::chrono::steady_clock::now();
  std::uint64_t _shown = 0;
};

}  // namespace

int main(int count, char** arguments) {
  ProgressLine line;
  return QuorViewer::runMakeScan({arguments + 1, arguments + count}, std::cout, std::cerr,
                                 [&line](std::uint64_t done, std::uint64_t all) { line.show(done, all); });
}
