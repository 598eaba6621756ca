#pragma once

#include <cstdint>

namespace QuorViewer {

/// One line on the standard error stream that overwrites itself; nothing if that stream is not a terminal.
/// "loading 1,000 of 3,000 points (33 %)".
void showTerminalProgress(const char* doing, std::uint64_t done, std::uint64_t total);
void clearTerminalProgress();

}  // namespace QuorViewer
