#include "common/ProgressLine.h"
#include "index/RunIndex.h"

#include <iostream>

int main(int count, char** arguments) {
  const QuorViewer::ProgressLine line("indexing");
  return QuorViewer::runIndex(
      {arguments + 1, arguments + count}, std::cout, std::cerr,
      [&line](std::uint64_t done, std::uint64_t all) { done < all ? line.show(done, all) : line.clear(); });
}
