#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace QuorViewer {

/// Called from time to time while an index is built, on another thread than the caller's.
using BuildProgress = std::function<void(std::uint64_t donePoints, std::uint64_t allPoints)>;

/// The program: builds the index of each scan, prints a line for each, and returns the exit status: 1 if any scan
/// could not be indexed. The others are indexed all the same.
int runIndex(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
             const BuildProgress& progress);

}  // namespace QuorViewer
