#pragma once

#include <cstdint>

namespace QuorViewer {

/// One line on the standard error stream that overwrites itself; nothing at all where that stream is not a terminal.
void showTerminalProgress(std::uint64_t done, std::uint64_t total);
void clearTerminalProgress();

}  // namespace QuorViewer
