#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace QuorViewer {

/// One line on the standard error stream that overwrites itself. Nothing is written if that stream is not a terminal.
class ProgressLine {
 public:
  /// The line first appears after `delay`: a short job shows none.
  explicit ProgressLine(std::string activity, std::chrono::milliseconds delay = std::chrono::milliseconds(0));

  void show(std::uint64_t donePoints, std::uint64_t totalPoints) const;
  void clear() const;

 private:
  std::string _activity;
  std::chrono::steady_clock::time_point _earliest;
};

/// "loading 1,000 of 3,000 points (33 %)". No points at all are 100 %.
std::string progressText(const std::string& activity, std::uint64_t donePoints, std::uint64_t totalPoints);

}  // namespace QuorViewer
