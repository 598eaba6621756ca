#include "common/ProgressLine.h"
#include "make_scan/MakeScan.h"

#include <chrono>
#include <iostream>

int main(int count, char** arguments) {
  using namespace std::chrono_literals;
  const QuorViewer::ProgressLine line("writing", 2s);
  const int status = QuorViewer::runMakeScan({arguments + 1, arguments + count}, std::cout, std::cerr,
                                             [&line](std::uint64_t done, std::uint64_t all) { line.show(done, all); });
  line.clear();
  return status;
}
