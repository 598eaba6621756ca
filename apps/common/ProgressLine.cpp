#include "common/ProgressLine.h"

#include "common/Grouped.h"
#include "scan/platform/Platform.h"

#include <iostream>
#include <utility>

namespace QuorViewer {

ProgressLine::ProgressLine(std::string activity, std::chrono::milliseconds delay)
    : _activity(std::move(activity)), _earliest(std::chrono::steady_clock::now() + delay) {}

void ProgressLine::show(std::uint64_t donePoints, std::uint64_t totalPoints) const {
  if (errorStreamIsTerminal() && std::chrono::steady_clock::now() >= _earliest) {
    std::cerr << "\r" << progressText(_activity, donePoints, totalPoints) << " " << std::flush;
  }
}

void ProgressLine::clear() const {
  if (errorStreamIsTerminal()) {
    std::cerr << "\r\033[K" << std::flush;
  }
}

std::string progressText(const std::string& activity, std::uint64_t donePoints, std::uint64_t totalPoints) {
  const std::uint64_t percent = totalPoints > 0 ? donePoints * 100 / totalPoints : 100;
  return activity + " " + grouped(donePoints) + " of " + grouped(totalPoints) + " points (" + std::to_string(percent) +
         " %)";
}

}  // namespace QuorViewer
